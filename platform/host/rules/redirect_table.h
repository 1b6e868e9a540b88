// The messages that make the table "inet snmp-app" and change its elements.
#pragma once

#include <vector>

#include "rules/nftables.h"
#include "rules/redirect_elements.h"

namespace host {

/// Adds the table with empty sets, its chains and their rules. It is refused (EEXIST, EPERM) when
/// there is one of that name. Throws std::bad_alloc.
void MakeRedirectTable(NftBatch& batch);

/// Adds changes of the table's elements. Throws std::bad_alloc.
void ChangeElements(NftBatch& batch, const std::vector<ElementChange>& changes);

}  // namespace host
