// ConfD's management agent API: writes into a transaction.

#include <arpa/inet.h>

#include "confd/fake_access.h"
#include "confd/value_text.h"
#include "confd_maapi.h"

namespace {

/// True for what a 16-bit number may be written as.
bool IsPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 &&
         text.find_first_not_of("0123456789") == std::string::npos && std::stoi(text) <= 65535;
}

bool IsAddress(const std::string& text) {
  in6_addr address = {};
  return inet_pton(AF_INET, text.c_str(), &address) == 1 ||
         inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

/// False for an entry of the one leaf-list that is no address and port.
bool IsOfItsType(const std::string& path) {
  const common::PathStep step = common::ParsePath(path).back();
  if (step.name != "extraIpPorts" || step.keys.empty()) return true;
  const std::string& entry = step.keys[0];
  const size_t colon = entry.rfind(':');
  return colon != std::string::npos && IsAddress(entry.substr(0, colon)) &&
         IsPort(entry.substr(colon + 1));
}

void Note(const std::string& path, confd_iter_op op) {
  fake::Device::Instance().confd.NoteWrite(path, op);
}

int Create(fake::Database& candidate, const std::string& path) {
  if (!IsOfItsType(path)) {
    return common::Fail(CONFD_ERR_BADTYPE, path + " is no address and port");
  }
  if (!candidate.Create(path)) {
    return common::Fail(CONFD_ERR_ALREADY_EXISTS, path + " is there already");
  }
  Note(path, MOP_CREATED);
  return CONFD_OK;
}

int Delete(fake::Database& candidate, const std::string& path) {
  if (candidate.Find(path) != nullptr) Note(path, MOP_DELETED);
  if (candidate.Remove(path)) return CONFD_OK;
  return common::Fail(CONFD_ERR_NOEXISTS, path + " is not there");
}

/// The value of a leaf that is given as text. A leaf that has none yet becomes a number if it can.
int SetText(fake::Database& candidate, const std::string& path, const std::string& text) {
  const std::string entry = path.substr(0, path.rfind('/'));
  if (candidate.Find(entry) == nullptr) {
    return common::Fail(CONFD_ERR_NOEXISTS, entry + " is not there");
  }
  const fake::Node* leaf = candidate.Find(path);
  const bool is_number = leaf != nullptr && leaf->value.Value().type == C_UINT16;
  if (is_number && !IsPort(text)) {
    return common::Fail(CONFD_ERR_BADTYPE, "\"" + text + "\" is no value of " + path);
  }
  const bool is_text = leaf != nullptr && !is_number;
  candidate.Set(path, is_text || !IsPort(text)
                          ? common::MakeBuf(text)
                          : common::MakeUint16(static_cast<uint16_t>(std::stoi(text))));
  Note(path, MOP_VALUE_SET);
  return CONFD_OK;
}

}  // namespace

int maapi_create(int sock, int thandle, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = fake::RunInTransaction("maapi_create", sock, thandle, fmt, arguments, Create);
  va_end(arguments);
  return result;
}

int maapi_delete(int sock, int thandle, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = fake::RunInTransaction("maapi_delete", sock, thandle, fmt, arguments, Delete);
  va_end(arguments);
  return result;
}

int maapi_set_elem2(int sock, int thandle, const char* strval, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int result = fake::RunInTransaction(
      std::string("maapi_set_elem2 ") + strval, sock, thandle, fmt, arguments,
      [strval](fake::Database& candidate, const std::string& path) {
        return SetText(candidate, path, strval);
      });
  va_end(arguments);
  return result;
}
