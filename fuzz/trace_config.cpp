// The reading rules of the trace configuration files.
//
// Input: section, key and longest value, a line each; then the file.
#include <cstdlib>
#include <string>

#include "fuzz/input.h"
#include "trace/trace_config_text.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view file = fuzz::Text(data, size);
    const std::string_view name = fuzz::TakeLine(file);
    const std::string_view key = fuzz::TakeLine(file);
    const std::size_t limit = std::strtoul(std::string(fuzz::TakeLine(file)).c_str(), nullptr, 10);

    const auto section = trace::FindSection(file, name);
    if (!section) {
        return 0;
    }
    fuzz::Require(fuzz::IsInside(*section, file), "a section points into its file");
    fuzz::Require(section->find('[') == std::string_view::npos, "a section ends at the next");
    const auto value = trace::FindValue(*section, key, limit);
    const auto number = trace::FindNumber(*section, key);
    fuzz::Require(value.has_value() == number.has_value(), "a value and its number come together");
    if (value) {
        fuzz::Require(fuzz::IsInside(*value, *section), "a value points into its section");
        fuzz::Require(value->size() <= limit, "a value is bounded");
        fuzz::Require(value->find('\n') == std::string_view::npos, "a value is one line");
    }
    return 0;
}
