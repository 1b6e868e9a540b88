#include "netconf/monitoring.h"

#include "netconf/xml.h"
#include "netconf/yang_library.h"

namespace host {

namespace {

std::string CapabilitiesXml(const std::vector<std::string>& capabilities) {
  std::string list;
  for (const std::string& capability : capabilities) {
    list += Element("capability", EscapeXml(capability));
  }
  return Element("capabilities", list);
}

std::string DatastoreXml(const Datastores& datastores, Datastore datastore, const char* name) {
  const SessionId holder = datastores.LockedBy(datastore);
  std::string locks;
  if (holder != 0) {
    locks = Element(
        "locks", Element("global-lock",
                         Element("locked-by-session", holder) +
                             Element("locked-time", TimeText(datastores.LockedSince(datastore)))));
  }
  return Element("datastore", Element("name", name) + locks);
}

std::string SchemasXml(const ly_ctx* context) {
  std::string list;
  for (const lys_module* module : ToldModels(context)) {
    list += Element(
        "schema",
        Element("identifier", module->name) +
            Element("version", module->revision == nullptr ? "" : module->revision) +
            R"(<format xmlns:m="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">m:yang</format>)" +
            Element("namespace", EscapeXml(module->ns)) + Element("location", "NETCONF"));
  }
  return Element("schemas", list);
}

std::string CountersXml(uint64_t requests, uint64_t bad, uint64_t errors, uint64_t notifications) {
  return Element("in-rpcs", requests) + Element("in-bad-rpcs", bad) +
         Element("out-rpc-errors", errors) + Element("out-notifications", notifications);
}

std::string SessionXml(const SessionFacts& session) {
  return Element("session",
                 Element("session-id", session.id) +
                     R"(<transport xmlns:m="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">)"
                     "m:netconf-ssh</transport>" +
                     Element("username", EscapeXml(session.user)) +
                     Element("login-time", TimeText(session.begin)) +
                     CountersXml(session.requests, session.bad_requests, session.errors,
                                 session.notifications));
}

std::string StatisticsXml(const SessionTotals& all) {
  return Element("statistics",
                 Element("netconf-start-time", TimeText(all.begin)) +
                     Element("in-bad-hellos", all.bad_hellos) +
                     Element("in-sessions", all.sessions) +
                     Element("dropped-sessions", all.dropped) +
                     CountersXml(all.requests, all.bad_requests, all.errors, all.notifications));
}

}  // namespace

Tree MonitoringState(const Datastores& datastores, const std::vector<std::string>& capabilities,
                     const std::vector<SessionFacts>& sessions, const SessionTotals& ended) {
  ly_ctx* context = datastores.Models().Context();
  std::string session_list;
  SessionTotals all = ended;
  for (const SessionFacts& session : sessions) {
    session_list += SessionXml(session);
    all.Add(session);
  }
  const std::string xml =
      R"(<netconf-state xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">)" +
      CapabilitiesXml(capabilities) +
      Element("datastores", DatastoreXml(datastores, Datastore::kRunning, "running") +
                                DatastoreXml(datastores, Datastore::kCandidate, "candidate") +
                                DatastoreXml(datastores, Datastore::kStartup, "startup")) +
      SchemasXml(context) + Element("sessions", session_list) + StatisticsXml(all) +
      "</netconf-state>";
  Tree state = ParseState(context, xml);
  InsertAll(&state, YangLibrary(context, {"running", "candidate", "startup"}));
  return state;
}

}  // namespace host
