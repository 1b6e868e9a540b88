// Configurations that come as files of operators.
#pragma once

#include <libyang/libyang.h>

#include <string>

#include "config/refusal.h"
#include "config/yang_data.h"

namespace host {

/// A configuration in JSON without what a system wrote into it on its own; it is not validated yet
/// and has no defaults. Throws std::runtime_error with path and reason when the file cannot be
/// read, Refusal that begins with the path when the models do not have what is in it.
Tree ReadInput(ly_ctx* context, const std::string& path);

/// Calls `step`, and has its refusals begin with the path of the file that they are about.
template <typename Step>
void TellingFile(const std::string& path, Step step) {
  try {
    step();
  } catch (const Refusal& refusal) {
    throw Refusal(refusal.Tag(), refusal.Path(), path + ": " + refusal.what(), refusal.AppTag());
  }
}

}  // namespace host
