// Takes out of a captured tree what tells one machine from another of the same build.
#pragma once

#include "tools/capture/captured_tree.h"

namespace tools {

// Replaces serial numbers, asset tags, world-wide names, UUIDs and MAC addresses: in the
// attributes, in the pages of drives, in the SMBIOS table, in the names of links. The same one is
// replaced by the same everywhere in the tree, and no length changes. Names of volumes, servers and
// folders that people chose stay.
[[nodiscard]] CCapturedTree MakeAnonymous(const CCapturedTree& tree);

}  // namespace tools
