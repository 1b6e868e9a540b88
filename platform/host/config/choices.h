// The cases of choices, one of which a configuration has (RFC 7950, section 7.9).
#pragma once

#include <libyang/libyang.h>

namespace host {

/// Whether an element stands in a case of a choice.
bool IsInCase(const lysc_node* element);

/// Whether two elements stand in different cases of one choice.
bool AreInTwoCases(const lysc_node* a, const lysc_node* b);

}  // namespace host
