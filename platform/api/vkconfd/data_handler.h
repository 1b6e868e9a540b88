// A handler that takes part in transactions.
#pragma once

#include <vector>

#include "confd_dp.h"
#include "confd_lib.h"
#include "vkconfd/base_handler.h"

namespace vkconfd {

class DataHandler : public BaseHandler {
 public:
  /// Serves one callpoint of the models. The callbacks are called within a transaction, for each
  /// change below the list that carries the callpoint: removed entries, then created entries and
  /// their leaves that are set, then leaves set in other entries. Writes into the transaction that
  /// fall under a callpoint are changes as well, also those of the value that is there; they are
  /// told in their order, right behind the call that made the first of them. Every callback
  /// returns CONFD_OK, or CONFD_ERR to refuse the transaction; nothing more is told then, and so it
  /// is when one throws. Arguments are valid during the call.
  class Callpoint {
   public:
    Callpoint() = default;
    virtual ~Callpoint() = default;
    Callpoint(const Callpoint&) = delete;
    Callpoint& operator=(const Callpoint&) = delete;

    /// Reads of what lies below the callpoint; the platform's own answers serve.
    virtual int ExistsOptionalCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);
    virtual int GetNextCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath, long next);
    virtual int GetElemCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);

    /// The leaf at `keypath` was set to `newval`.
    virtual int SetElemCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath,
                                confd_value_t* newval);

    /// The list entry at `keypath` was created.
    virtual int CreateCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);

    /// The list entry at `keypath` was removed.
    virtual int RemoveCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);

    virtual int NumInstancesCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);
    virtual int GetObjectCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);
    virtual int GetNextObjectCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath, long next);
    virtual int FindNextObjectCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath,
                                       confd_find_next_type type, confd_value_t* keys, int n);
    virtual int WriteAllCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath);

    /// The name that the models give the callpoint; constant text.
    virtual const char* GetCallpointName() = 0;
  };

  /// The meaning of the flags is the platform's.
  DataHandler(bool flag1, bool flag2, bool flag3, bool flag4, bool flag5, bool flag6, bool flag7);

  /// A transaction with changes below a callpoint begins (ends). Between them the MAAPI socket of
  /// the handler's connection is attached to it. CONFD_ERR refuses its beginning; handlers that it
  /// had begun for are told of the end.
  virtual int TransactionInit(confd_trans_ctx* tctx);
  virtual int TransactionFinish(confd_trans_ctx* tctx);

  /// The callpoints to register; they stay the handler's.
  virtual std::vector<Callpoint*>& GetCallpoints() = 0;
};

}  // namespace vkconfd
