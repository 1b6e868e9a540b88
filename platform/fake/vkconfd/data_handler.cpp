#include "vkconfd/data_handler.h"

#include <string>

#include "fake_device.h"

namespace vkconfd {

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
