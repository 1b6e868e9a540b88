#include "framework/cdb_reads.h"

#include <stdexcept>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "delivery/change.h"

namespace host {

int Checked(int result) {
  if (result == CONFD_ERR) throw std::runtime_error(confd_lasterr());
  return result;
}

std::string ReadLeaf(int cdb_socket, const std::string& path) {
  confd_value_t value;
  const int result = cdb_get(cdb_socket, &value, "%s", path.c_str());
  if (result != CONFD_OK && confd_errno == CONFD_ERR_NOEXISTS) return "";
  Checked(result);
  return common::ValueText(common::OwnedValue(value).Value());
}

int CountEntries(int cdb_socket, const char* list) {
  return Checked(cdb_num_instances(cdb_socket, "%s", list));
}

std::string EntryAt(const char* list, int position) {
  return std::string(list) + "[" + std::to_string(position) + "]/";
}

}  // namespace host
