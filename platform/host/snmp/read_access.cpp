#include "snmp/read_access.h"

#include "snmp/netsnmp.h"

namespace host {

namespace {

constexpr int kQuestions[] = {SNMPD_CALLBACK_ACM_CHECK, SNMPD_CALLBACK_ACM_CHECK_INITIAL,
                              SNMPD_CALLBACK_ACM_CHECK_SUBTREE};

bool IsRead(const netsnmp_pdu& request) {
  return request.command == SNMP_MSG_GET || request.command == SNMP_MSG_GETNEXT ||
         request.command == SNMP_MSG_GETBULK;
}

}  // namespace

bool ReadAccess::IsKnown(std::string_view community) const {
  return communities_.find(community) != communities_.end() || (lets_own_in_ && community == own_);
}

/// A stranger is ignored as a whole; what a known one may not do is refused object by object.
int ReadAccess::Answer(int /*major*/, int question, void* server_argument, void* client_argument) {
  auto& access = *static_cast<ReadAccess*>(client_argument);
  auto& view = *static_cast<view_parameters*>(server_argument);
  const bool is_initial = question == SNMPD_CALLBACK_ACM_CHECK_INITIAL;
  const std::string_view community(reinterpret_cast<const char*>(view.pdu->community),
                                   view.pdu->community_len);
  if (access.IsKnown(community)) {
    view.errorcode = is_initial || IsRead(*view.pdu) ? VACM_SUCCESS : VACM_NOTINVIEW;
    return SNMPERR_SUCCESS;
  }
  if (is_initial && community != access.own_) {
    snmp_increment_statistic(STAT_SNMPINBADCOMMUNITYNAMES);
    ++access.strangers_;
  }
  view.errorcode = VACM_NOSECNAME;
  return SNMPERR_SUCCESS;
}

ReadAccess::ReadAccess() {
  for (const int question : kQuestions) {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, question, Answer, this);
  }
}

ReadAccess::~ReadAccess() {
  for (const int question : kQuestions) {
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, question, Answer, this, 1);
  }
}

void ReadAccess::SetCommunities(std::set<std::string, std::less<>> communities) {
  communities_ = std::move(communities);
  communities_.erase("");
}

}  // namespace host
