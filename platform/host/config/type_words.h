// What values the models want, in words.
#pragma once

#include <libyang/libyang.h>

#include <string>

namespace host {

/// How a value was written.
enum class Notation { kXml, kJson };

/// What a value of a type is, such as "true or false" or "1 to 65535"; where JSON is easily got
/// wrong, with its quotes. From the type alone: its base, ranges, names, and the IETF's typedefs.
std::string WordsOf(const lysc_type* type, Notation notation);

/// Why a leaf or leaf-list does not take a value: what the model itself says of it, else "expected
/// " and the words of its type. `told` is libyang's message, null for none; it counts as the
/// model's own when it is one of the type's error messages.
std::string WhyNotTaken(const lysc_node* leaf, const char* told, Notation notation);

/// The type of a leaf or leaf-list.
const lysc_type* TypeOf(const lysc_node* leaf);

}  // namespace host
