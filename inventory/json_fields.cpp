#include "inventory/json_fields.h"

#include <cstdio>

namespace inventory {

std::string HexDigits(std::uint64_t number, int digits) {
    char text[24];
    (void)std::snprintf(text, sizeof text, "%0*llx", digits,
                        static_cast<unsigned long long>(number));
    return text;
}

std::string HexNumber(std::uint64_t number, int digits) {
    return "0x" + HexDigits(number, digits);
}

}  // namespace inventory
