#include "snmp/read_access.h"

#include <string_view>
#include <utility>

#include "snmp/netsnmp.h"

namespace host {

namespace {

using Communities = std::set<std::string, std::less<>>;

constexpr int kQuestions[] = {SNMPD_CALLBACK_ACM_CHECK, SNMPD_CALLBACK_ACM_CHECK_INITIAL,
                              SNMPD_CALLBACK_ACM_CHECK_SUBTREE};

bool IsRead(const netsnmp_pdu& request) {
  return request.command == SNMP_MSG_GET || request.command == SNMP_MSG_GETNEXT ||
         request.command == SNMP_MSG_GETBULK;
}

bool IsKnown(const Communities& communities, const netsnmp_pdu& request) {
  const std::string_view community(reinterpret_cast<const char*>(request.community),
                                   request.community_len);
  return communities.find(community) != communities.end();
}

// A stranger is ignored as a whole; what a known one may not do is refused object by object.
int Decide(const Communities& communities, int question, const netsnmp_pdu& request) {
  const bool is_initial = question == SNMPD_CALLBACK_ACM_CHECK_INITIAL;
  if (!IsKnown(communities, request)) {
    if (is_initial) {
      snmp_increment_statistic(STAT_SNMPINBADCOMMUNITYNAMES);
    }
    return VACM_NOSECNAME;
  }
  return is_initial || IsRead(request) ? VACM_SUCCESS : VACM_NOTINVIEW;
}

int Answer(int /*major*/, int question, void* server_argument, void* client_argument) {
  auto* view = static_cast<view_parameters*>(server_argument);
  view->errorcode = Decide(*static_cast<Communities*>(client_argument), question, *view->pdu);
  return SNMPERR_SUCCESS;
}

}  // namespace

ReadAccess::ReadAccess() {
  for (const int question : kQuestions) {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, question, Answer, &communities_);
  }
}

ReadAccess::~ReadAccess() {
  for (const int question : kQuestions) {
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, question, Answer, &communities_, 1);
  }
}

void ReadAccess::SetCommunities(Communities communities) {
  communities_ = std::move(communities);
  communities_.erase("");
}

}  // namespace host
