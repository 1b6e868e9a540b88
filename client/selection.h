// What of the state is asked for, and whether it is there and in force.
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

namespace show {

/// Something that can be asked for by name: a list of the state.
struct Kind {
  const char* word;                   ///< What operators call it.
  const char* list;                   ///< Its path in the state.
  const char* key;                    ///< Has the name.
  const char* in_force;               ///< The boolean that tells whether the system does it.
  const char* needed_with = nullptr;  ///< An entry without this leaf does not need that.
  bool needs_agent = false;           ///< A disabled agent does not need that.
};

extern const Kind kListener;
extern const Kind kInterface;
extern const Kind kTarget;

/// The kind of that word, null for another word.
const Kind* FindKind(const std::string& word);

struct Selection {
  const Kind* kind = nullptr;      ///< Null for everything.
  std::vector<std::string> names;  ///< Empty for all of the kind.
};

/// The content of a subtree filter (RFC 6241, section 6) that selects it.
std::string FilterOf(const Selection& selection);

/// The first node of a path below `parent`, null when there is none.
const lyd_node* FindBelow(const lyd_node* parent, const std::string& path);

/// The value of the leaf at a path below `parent`, empty when there is none.
std::string TextBelow(const lyd_node* parent, const std::string& path);

/// Whether an entry of a kind wants what its boolean tells of; its "false" is no fault otherwise.
/// `state` is the container at the top.
bool IsNeeded(const lyd_node* state, const lyd_node* entry, const Kind& kind);

/// A line for each thing asked for by kind or name that is not there, or is needed and not in
/// force; none when all is well, and when everything was asked for.
std::vector<std::string> Missing(const lyd_node* state, const Selection& selection);

}  // namespace show
