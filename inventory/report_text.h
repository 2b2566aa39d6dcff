// Fields of a described inventory as short texts, for tables and trees.
#pragma once

#include <string>

#include "inventory/json_fields.h"

namespace inventory {

// A text as it is, a number in decimal; empty for null and for a field that is not there.
[[nodiscard]] std::string Show(const Json& object, const char* field);
// Bytes as "256.0 GiB"; empty for null.
[[nodiscard]] std::string ShowSize(const Json& object, const char* field);
// "8 GT/s x4 of 16 GT/s x8" of an adapter; empty when nothing is known.
[[nodiscard]] std::string ShowLink(const Json& adapter);
// The texts that are not empty, with the separator between.
[[nodiscard]] std::string Join(const std::vector<std::string>& texts, const char* separator);
// The paths at which a volume can be seen, with blanks between.
[[nodiscard]] std::string ShowMountPoints(const Json& volume);
// What the list calls it: "name" or "address" of each.
[[nodiscard]] std::string ShowList(const Json& list);

}  // namespace inventory
