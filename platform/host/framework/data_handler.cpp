// What a data handler does unless it says otherwise.
#include "vkconfd/data_handler.h"

namespace vkconfd {

DataHandler::DataHandler(bool /*flag1*/, bool /*flag2*/, bool /*flag3*/, bool /*flag4*/,
                         bool /*flag5*/, bool /*flag6*/, bool /*flag7*/) {}

int DataHandler::TransactionInit(confd_trans_ctx* /*tctx*/) { return CONFD_OK; }

int DataHandler::TransactionFinish(confd_trans_ctx* /*tctx*/) { return CONFD_OK; }

}  // namespace vkconfd
