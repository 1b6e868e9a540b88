// A transaction that callpoints are called for: reads and writes of the candidate configuration.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "confd_lib.h"
#include "config/call_refused.h"
#include "config/model_path.h"
#include "config/reader.h"
#include "config/schema.h"
#include "config/tree.h"
#include "delivery/change.h"

namespace host {

/// What is written is read at once, and is in force only when the engine commits what Take() gives.
class Transaction {
 public:
  using Keys = std::vector<common::OwnedValue>;

  /// `schema` is the candidate's and outlives the transaction; `handle` is what the maapi_ calls
  /// name it by.
  Transaction(const Schema& schema, int handle, Tree candidate);

  int Handle() const { return handle_; }

  /// As Reader's; paths with keys are read in constant time, those with positions are not.
  Reader Read() const;

  /// The keys of every entry of the list at a path, in order.
  std::vector<Keys> EntryKeys(const std::string& path) const;

  // Writes. What they add is marked as the system's. All throw std::invalid_argument for a text
  // that is no path of the schema or not of such an element, and CallRefused.

  /// Creates an entry or presence container and what is missing above it. CONFD_ERR_ALREADY_EXISTS;
  /// CONFD_ERR_BADTYPE for a key that its type does not have.
  void Create(const std::string& path);

  /// Takes an element away with all below it. CONFD_ERR_NOEXISTS.
  void Delete(const std::string& path);

  /// Sets a leaf. `text` is the value as the model's type has it.
  /// CONFD_ERR_NOEXISTS when what it stands in is not there, CONFD_ERR_BADTYPE for a text that the
  /// type does not have.
  void Set(const std::string& path, const std::string& text);

  /// Whether something was written so far.
  bool HasWritten() const { return has_written_; }

  /// Takes the oldest write below a callpoint that was not taken yet, as the one change that it is.
  /// False when there is none.
  bool TakeWrite(std::vector<common::Change>* change);

  /// Ends the transaction and hands out the candidate.
  Tree Take() { return std::move(candidate_); }

 private:
  lyd_node* Add(const ModelPath& path, const char* text);
  void Note(const lyd_node* node, confd_iter_op op);

  const Schema& schema_;
  int handle_;
  Tree candidate_;
  bool has_written_ = false;
  std::deque<std::vector<common::Change>> writes_;
};

}  // namespace host
