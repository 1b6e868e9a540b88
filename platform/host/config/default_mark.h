// The attribute that tells in NETCONF that a value is the models' own one (RFC 6243, section 6).
#pragma once

#include <libyang/libyang.h>

namespace host {

/// The attribute's namespace, which no published model has.
constexpr char kDefaultNamespace[] = "urn:ietf:params:xml:ns:netconf:default:1.0";

/// Has libyang know the attribute in trees of `context`, by a model of this process's own. To be
/// called once. Throws Refusal when libyang cannot.
void DefineDefaultMark(ly_ctx* context);

/// Whether a model is that one, which is nobody else's to know of.
bool IsDefaultMarkModel(const lys_module* module);

/// Adds the attribute to a leaf, whose context must have it. Throws Refusal when libyang cannot.
void MarkAsDefault(lyd_node* leaf);

/// Whether an element has the attribute, and not as false.
bool IsMarkedAsDefault(const lyd_node* node);

}  // namespace host
