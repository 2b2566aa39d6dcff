// Expands the environment variables in an expandable registry text.
#pragma once

#include <string>
#include <string_view>

// "%NAME%" becomes the variable's value, or nothing when it is not set; "%%" becomes "%". A "%"
// without a closing one stays as it is, with what follows. Throws std::bad_alloc.
std::string ExpandRegistryText(std::string_view text);
