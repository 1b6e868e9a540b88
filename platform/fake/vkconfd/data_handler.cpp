#include "vkconfd/data_handler.h"

#include <string>

#include "fake_device.h"

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

DataHandler::DataHandler(bool flag1, bool flag2, bool flag3, bool flag4, bool flag5, bool flag6,
                         bool flag7) {
  std::string flags;
  for (const bool flag : {flag1, flag2, flag3, flag4, flag5, flag6, flag7}) {
    flags += flag ? '1' : '0';
  }
  fake::Device::Instance().Note("data handler new " + flags);
}

int DataHandler::TransactionInit(confd_trans_ctx* /*tctx*/) {
  fake::Device::Instance().Note("transaction init");
  return CONFD_OK;
}

int DataHandler::TransactionFinish(confd_trans_ctx* /*tctx*/) {
  fake::Device::Instance().Note("transaction finish");
  return CONFD_OK;
}

}  // namespace vkconfd
