// Values that the models give, in what is read and in edits (RFC 6243).
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <string>

#include "config/tree.h"

namespace host {

/// Which of these values are told (RFC 6243, section 3).
enum class DefaultsMode { kExplicit, kTrim, kReportAll, kReportAllTagged };

/// The mode of that name; "explicit", the basic mode, for any other text.
DefaultsMode ParseDefaultsMode(const std::string& name);

/// Takes from `*data`, which has all defaults, the values that a mode does not tell, and gives
/// others the attribute. This comes before filters (RFC 6243, 4.5.1). Linear.
void KeepReported(DefaultsMode mode, Tree* data);

/// As LYD_PRINT_WD_..., for what KeepReported() has left.
uint32_t PrintOption(DefaultsMode mode);

/// An edit's element has the attribute: its value is to be the models' again. Throws RpcError:
/// unknown-attribute when it is no leaf; invalid-value when `sets_value` is false, as that of a
/// deletion, or when the model gives another value or none (RFC 6243, 4.5.2).
void RequireDefault(const lyd_node* edit, bool sets_value);

}  // namespace host
