#include "netconf/base_events.h"

#include <cstring>
#include <exception>
#include <string>

#include "netconf/rpc_error.h"
#include "netconf/xml.h"
#include "runtime/log.h"

namespace host {

namespace {

constexpr char kModule[] = "ietf-netconf-notifications";

template <typename Content>
void Publish(EventLog* events, const char* name, const Content& content) noexcept {
  if (events == nullptr) return;
  try {
    events->Publish(kModule, name,
                    "<" + std::string(name) + " xmlns=\"urn:ietf:params:xml:ns:yang:" + kModule +
                        "\">" + content() + "</" + name + ">");
  } catch (const std::exception& error) {
    HOST_LOG(kNotice, "Notification %s: %s", name, error.what());
  }
}

std::string WhoXml(const std::string& user, SessionId session) {
  return Element("username", EscapeXml(user)) + Element("session-id", session);
}

std::string AuthorXml(const Author& author) {
  return author.user.empty() ? "<server/>" : WhoXml(author.user, author.session);
}

std::string EditXml(const ly_ctx* context, const ConfigEdit& edit) {
  return Element("edit", PathElement(context, edit.path, "target") +
                             Element("operation", std::string(edit.operation)));
}

const char* ReasonText(SessionEnd end) {
  switch (end) {
    case SessionEnd::kClosed:
      return "closed";
    case SessionEnd::kKilled:
      return "killed";
    case SessionEnd::kDropped:
      return "dropped";
    case SessionEnd::kTimeout:
      return "timeout";
    case SessionEnd::kBadHello:
      return "bad-hello";
    default:
      return "other";
  }
}

}  // namespace

void PublishConfigChange(EventLog* events, const ly_ctx* context,
                         const CommitRecord& record) noexcept {
  if (!record.refusal.empty() || record.changes.empty()) return;
  Publish(events, "netconf-config-change", [&] {
    std::string content =
        Element("changed-by", AuthorXml(record.author)) + "<datastore>running</datastore>";
    for (const ConfigEdit& edit : record.edits) content += EditXml(context, edit);
    return content;
  });
}

void PublishSessionStart(EventLog* events, const SessionFacts& session) noexcept {
  Publish(events, "netconf-session-start", [&] { return WhoXml(session.user, session.id); });
}

void PublishSessionEnd(EventLog* events, const SessionFacts& session, SessionId killer) noexcept {
  Publish(events, "netconf-session-end", [&] {
    const bool is_killed = session.end == SessionEnd::kKilled;
    return WhoXml(session.user, session.id) + (is_killed ? Element("killed-by", killer) : "") +
           Element("termination-reason", std::string(ReasonText(session.end)));
  });
}

void PublishConfirmedCommit(EventLog* events, const ConfirmEvent& event) noexcept {
  Publish(events, "netconf-confirmed-commit", [&] {
    const bool is_timeout = strcmp(event.what, "timeout") == 0;
    const bool has_limit = event.timeout.count() > 0;
    return (is_timeout ? "" : WhoXml(event.author.user, event.author.session)) +
           Element("confirm-event", std::string(event.what)) +
           (has_limit ? Element("timeout", static_cast<uint64_t>(event.timeout.count())) : "");
  });
}

}  // namespace host
