// A CDB read session that lasts as long as the object.
#pragma once

#include "confd_cdb.h"
#include "vkconfd/base_handler.h"

class VkConfdCdbSessionBase {
 public:
  /// Opens a data session on `database`. The meaning of `flag` is the platform's; the program
  /// passes true. Throws std::exception when the session cannot be opened, which is so for
  /// CDB_PRE_COMMIT_RUNNING outside the delivery of a commit and for a null `confd_interface`.
  VkConfdCdbSessionBase(VkConfdInterface* confd_interface, cdb_db_type database, bool flag);
  virtual ~VkConfdCdbSessionBase();

  VkConfdCdbSessionBase(const VkConfdCdbSessionBase&) = delete;
  VkConfdCdbSessionBase& operator=(const VkConfdCdbSessionBase&) = delete;

  /// For the cdb_ reads, until the object is gone.
  int Socket() const { return socket_; }

 private:
  int socket_;
};

class VkConfdCdbSession : public VkConfdCdbSessionBase {
 public:
  using VkConfdCdbSessionBase::VkConfdCdbSessionBase;
};
