// What is told of a commit: who asked for it, what it changed, what came of it.
#pragma once

#include <libyang/libyang.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "config/config_edits.h"
#include "delivery/change.h"

namespace host {

/// Who asks for a commit.
struct Author {
  std::string user;       ///< Empty for the system itself.
  uint32_t session = 0;   ///< Of the protocol, 0 for none.
  std::string operation;  ///< As the user would call it: "edit-config".
};

struct CommitRecord {
  Author author;
  std::string changes;  ///< As ChangesText() has them; empty for none, and for a refused one.
  std::vector<ConfigEdit> edits;  ///< The same for programs.
  std::string refusal;            ///< Why it is not in force; empty when it is.
  std::chrono::milliseconds duration{0};
};

/// Whether the keys of a list are secrets.
bool IsSecretList(const lysc_node* element);

/// Told of every commit, refused ones included, when it has ended. It must not throw.
using CommitObserver = std::function<void(const CommitRecord& record)>;

/// The paths that changed, the first 16 of them, with what became of them: "set /a/b, deleted
/// /a/c{key}". Of what came and went as a whole only the top is told. Values, and the keys of
/// communities, are never in it: they are secrets.
std::string ChangesText(const std::vector<common::Change>& changes);

/// A text with paths as libyang has them, without the keys of communities.
std::string WithoutSecrets(std::string text);

/// A record in one line.
std::string RecordText(const CommitRecord& record);

}  // namespace host
