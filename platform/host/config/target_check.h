// What the models cannot say of notification targets in linear time, or at all.
#pragma once

#include <libyang/libyang.h>

namespace host {

/// Checks that every /snmp/target has a row in SNMP-TARGET-MIB's address table with its address and
/// port, that every row has a target, and that targets with one address and port are in one VRF.
/// Throws Refusal with the data path and the reason. A configuration whose models have
/// neither of them passes.
void CheckTargets(const lyd_node* tree);

}  // namespace host
