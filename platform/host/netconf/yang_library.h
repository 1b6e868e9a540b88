// Which models the server tells that it has (RFC 7950, section 5.6.4; RFC 8525).
#pragma once

#include <libyang/libyang.h>

#include <string>
#include <vector>

#include "config/tree.h"

namespace host {

/// All models that anyone may know of, implemented or only imported.
std::vector<const lys_module*> ToldModels(const ly_ctx* context);

/// The features of a model that are on, with commas between them.
std::string FeaturesOf(const lys_module* module);

/// The same for the same models with the same features, of all runs and machines, and else another
/// one (RFC 8525, section 3).
std::string ContentId(const ly_ctx* context);

/// The state data of ietf-yang-library: the models, and the datastores, all of which have them all.
/// `datastores` are names of RFC 8342, such as "running". Throws Refusal when the models lack it.
Tree YangLibrary(ly_ctx* context, const std::vector<std::string>& datastores);

}  // namespace host
