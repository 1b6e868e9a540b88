// What a callpoint does unless it says otherwise.
#include "vkconfd/data_handler.h"

namespace vkconfd {

using Callpoint = DataHandler::Callpoint;

int Callpoint::ExistsOptionalCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::GetNextCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/,
                               long /*next*/) {
  return CONFD_OK;
}

int Callpoint::GetElemCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::SetElemCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/,
                               confd_value_t* /*newval*/) {
  return CONFD_OK;
}

int Callpoint::CreateCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::RemoveCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::NumInstancesCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::GetObjectCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

int Callpoint::GetNextObjectCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/,
                                     long /*next*/) {
  return CONFD_OK;
}

int Callpoint::FindNextObjectCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/,
                                      confd_find_next_type /*type*/, confd_value_t* /*keys*/,
                                      int /*n*/) {
  return CONFD_OK;
}

int Callpoint::WriteAllCallback(confd_trans_ctx* /*tctx*/, confd_hkeypath_t* /*keypath*/) {
  return CONFD_OK;
}

}  // namespace vkconfd
