// The elements of the models whose content not everybody may know.
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "config/schema.h"

namespace host {

/// Those of kSecretPaths that the models have.
std::vector<const lysc_node*> SecretElements(const Schema& models);

/// The path of an element as libyang has it, without keys.
std::string ElementPath(const lysc_node* element);

}  // namespace host
