// The start-up datastore (RFC 6241, section 8.7).
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "config/store.h"
#include "config/yang_data.h"

namespace host {

/// The file that a first start and a reload read, which operators may write as well. What a system
/// wrote on its own is not in it.
class StartupFile {
 public:
  explicit StartupFile(const std::string& path) : store_(path) {}

  /// Its content with defaults, not validated; nothing but these when there is no file. Throws as
  /// ReadInput().
  Tree Read(ly_ctx* context) const;

  /// Replaces it, as Store::Save() does and throws.
  void Write(Tree content) const;

  /// As Store::Remove().
  void Remove() const { store_.Remove(); }

 private:
  Store store_;
};

}  // namespace host
