// ConfD's management agent API: a walk over the entries of a list.

#include <vector>

#include "confd/fake_access.h"
#include "confd_maapi.h"

namespace {

/// What a cursor holds: the keys of all entries from the start of the walk.
struct Walk {
  std::vector<std::vector<common::OwnedValue>> entries;
  size_t next = 0;
};

}  // namespace

int maapi_init_cursor(int sock, int thandle, maapi_cursor* cursor, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  auto* walk = new Walk;
  ++fake::Device::Instance().confd.open_cursors;
  cursor->n = 0;
  cursor->position = walk;
  const int result =
      fake::RunInTransaction("maapi_init_cursor", sock, thandle, fmt, arguments,
                             [walk](const fake::Database& candidate, const std::string& path) {
                               for (const fake::Node* entry : candidate.Entries(path)) {
                                 walk->entries.push_back(fake::KeyValues(*entry));
                               }
                               return static_cast<int>(CONFD_OK);
                             });
  va_end(arguments);
  if (result == CONFD_OK) return result;
  delete walk;
  cursor->position = nullptr;
  return result;
}

int maapi_get_next(maapi_cursor* cursor) {
  auto* walk = static_cast<Walk*>(cursor->position);
  cursor->n = 0;
  if (walk == nullptr) return common::Fail(CONFD_ERR_NOSESSION, "the cursor is at no list");
  if (!fake::Device::Instance().confd.Accept("maapi_get_next")) return CONFD_ERR;
  if (walk->next == walk->entries.size()) return CONFD_OK;
  for (const common::OwnedValue& key : walk->entries[walk->next]) {
    cursor->keys[cursor->n++] = key.Value();
  }
  ++walk->next;
  return CONFD_OK;
}

void maapi_destroy_cursor(maapi_cursor* cursor) {
  fake::Device::Instance().Note("maapi_destroy_cursor");
  --fake::Device::Instance().confd.open_cursors;
  delete static_cast<Walk*>(cursor->position);
  cursor->position = nullptr;
  cursor->n = 0;
}
