// The tag hashes of the device's compiled schema.
#pragma once

#include "confd/tag_table.h"

namespace fake {

/// The process's tag table, with the hashes that the program compares defined in it.
common::TagTable& Tags();

}  // namespace fake
