// Declarations of what the program uses of ConfD's data provider API: the context of a transaction
// that a callback is called for.
#pragma once

extern "C" {

/// What a daemon has registered with ConfD.
struct confd_daemon_ctx {
  void* d_opaque;  ///< The framework's `VkConfdInterface*` that is attached to the transaction.
};

/// One transaction; valid during the callback.
struct confd_trans_ctx {
  confd_daemon_ctx* dx;
  int thandle;  ///< For the maapi_ calls.
};

/// How a find-next request relates to the keys that it gives.
enum confd_find_next_type { CONFD_FIND_NEXT = 0, CONFD_FIND_SAME_OR_NEXT = 1 };

}  // extern "C"
