#include "vkconfd/cdb_session.h"

#include <stdexcept>

#include "fake_device.h"

VkConfdCdbSessionBase::VkConfdCdbSessionBase(VkConfdInterface* confd_interface,
                                             cdb_db_type database, bool /*flag*/) {
  if (confd_interface == nullptr) throw std::runtime_error("no connection to ConfD");
  socket_ = fake::Device::Instance().confd.OpenSession(database);
}

VkConfdCdbSessionBase::~VkConfdCdbSessionBase() {
  fake::Device::Instance().confd.CloseSession(socket_);
}
