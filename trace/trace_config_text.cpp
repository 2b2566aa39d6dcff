#include "trace/trace_config_text.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "base/bounded_text.h"

namespace trace {

namespace {

constexpr std::string_view kEndSection = "EndOfFile";
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
constexpr std::size_t kNumberLimit = 64;

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace

std::optional<std::string_view> CutAtEndSection(std::string_view file) {
    const std::size_t close = file.rfind(']');
    if (close == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t open = file.rfind('[', close);
    if (open == std::string_view::npos ||
        !EqualsIgnoringCase(file.substr(open + 1, close - open - 1), kEndSection)) {
        return std::nullopt;
    }
    return file.substr(0, open);
}

std::optional<std::string_view> FindSection(std::string_view file, std::string_view name) {
    const auto text = CutAtEndSection(file);
    if (!text) {
        return std::nullopt;
    }
    std::size_t open = text->find('[');
    while (open != std::string_view::npos) {
        const std::size_t close = text->find(']', open);
        if (close == std::string_view::npos) {
            return std::nullopt;
        }
        const std::size_t next = text->find('[', close);
        if (EqualsIgnoringCase(text->substr(open + 1, close - open - 1), name)) {
            const std::size_t end = std::min(next, text->size());
            return text->substr(close + 1, end - close - 1);
        }
        open = next;
    }
    return std::nullopt;
}

std::optional<std::string_view> FindValue(std::string_view section, std::string_view key,
                                          std::size_t limit) {
    const std::size_t found = section.find(key);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t equals = section.find('=', found + key.size());
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t begin =
        std::min(section.find_first_not_of(kWhiteSpace, equals + 1), section.size());
    std::string_view value = section.substr(begin, section.find('\n', begin) - begin);
    if (value.ends_with('\r')) {
        value.remove_suffix(1);  // the line ended in CR LF
    }
    return value.substr(0, limit);
}

std::optional<std::uint32_t> FindNumber(std::string_view section, std::string_view key) {
    const auto value = FindValue(section, key, kNumberLimit);
    if (!value) {
        return std::nullopt;
    }
    std::array<char, kNumberLimit + 1> text{};
    CopyText(text.data(), text.size(), *value);
    return static_cast<std::uint32_t>(std::strtoul(text.data(), nullptr, 0));
}

}  // namespace trace
