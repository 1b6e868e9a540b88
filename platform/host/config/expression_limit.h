// How long expressions in data may be.
#pragma once

#include <libyang/libyang.h>

#include <cstddef>

namespace host {

/// In bytes. libyang 2.1.30 counts the tokens of an expression in 16 bits, and its parser never
/// comes back from more than 65,535.
constexpr size_t kLongestExpression = 16384;

/// The beginning of the reason that a longer one is refused with.
constexpr char kExpressionTooLong[] = "An expression has at most";

/// Has the types of all models of `context` that are expressions or paths refuse values that are
/// longer, wherever they stand: in leafs and attributes, of requests and of files. Called when all
/// models are loaded.
void LimitExpressions(const ly_ctx* context);

}  // namespace host
