#include "os/registry_expand.h"

#include <cstdlib>

std::string ExpandRegistryText(std::string_view text) {
    std::string expanded;
    for (;;) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == std::string_view::npos ? open : text.find('%', open + 1);
        if (close == std::string_view::npos) {
            return expanded.append(text);
        }
        expanded.append(text.substr(0, open));
        const std::string name(text.substr(open + 1, close - open - 1));
        if (name.empty()) {
            expanded += '%';
        } else if (const char* value = std::getenv(name.c_str())) {
            expanded += value;
        }
        text.remove_prefix(close + 1);
    }
}
