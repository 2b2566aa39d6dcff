// The system calls that the injector knows by name.
#pragma once

#include <string_view>

// -1 when no such call is known.
[[nodiscard]] long CallNumber(std::string_view name);
// The number in digits, where a call is not known.
[[nodiscard]] std::string_view CallName(long number);

// Which argument of a call is a path; -1 when none is.
[[nodiscard]] int PathArgument(long number);
