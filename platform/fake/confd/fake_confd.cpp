#include "confd/fake_confd.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "confd/error.h"
#include "confd/fake_differences.h"
#include "fake_device.h"

namespace fake {

namespace {

constexpr int kFirstCdbSocket = 101;

}  // namespace

void Confd::RefuseNext(const std::string& call, int code, const std::string& text) {
  refusals_.push_back({call, code, text});
}

bool Confd::Accept(const std::string& call) {
  Device::Instance().Note(call);
  const auto refusal =
      std::find_if(refusals_.begin(), refusals_.end(), [&call](const Refusal& candidate) {
        return call.compare(0, candidate.call.size(), candidate.call) == 0;
      });
  if (refusal == refusals_.end()) return true;
  common::Fail(refusal->code, refusal->text);
  refusals_.erase(refusal);
  return false;
}

int Confd::OpenSession(cdb_db_type database) {
  if (!Accept("session open " + std::to_string(database))) {
    throw std::runtime_error(confd_lasterr());
  }
  if (database == CDB_PRE_COMMIT_RUNNING && !pre_commit) {
    throw std::runtime_error("no commit is being delivered");
  }
  const int socket = kFirstCdbSocket + opened_sessions++;
  sessions_[socket] = database;
  return socket;
}

void Confd::CloseSession(int socket) {
  Device::Instance().Note("session close");
  closed_sessions += static_cast<int>(sessions_.erase(socket));
}

Transaction& Confd::BeginTransaction() {
  transaction = std::make_unique<Transaction>(running.Copy());
  transaction->attached = &interface;
  return *transaction;
}

Database* Confd::Candidate(int socket, int handle) const {
  if (socket == ConfdInterface::kMaapiSocket && transaction && handle == Transaction::kHandle) {
    return &transaction->candidate;
  }
  common::Fail(CONFD_ERR_NOSESSION,
               "no transaction " + std::to_string(handle) + " on socket " + std::to_string(socket));
  return nullptr;
}

void Confd::NoteWrite(const std::string& path, confd_iter_op op) const {
  std::vector<common::Change> change = ChangeAt(transaction->candidate, path, op);
  if (!change.empty()) transaction->writes.push_back(std::move(change));
}

const Database* Confd::SessionDatabase(int socket) const {
  const auto session = sessions_.find(socket);
  if (session == sessions_.end()) {
    common::Fail(CONFD_ERR_NOSESSION, "no session on socket " + std::to_string(socket));
    return nullptr;
  }
  if (session->second == CDB_RUNNING) return &running;
  return pre_commit ? &*pre_commit : nullptr;
}

}  // namespace fake
