// What the kernel writes about processes: names, status figures, numbers of directories.
//
// Input: a key of the status file on a line, then the file.
#include <cstdlib>
#include <sstream>
#include <string>

#include "fuzz/input.h"
#include "os/proc_text.h"
#include "trace/entry_format.h"

namespace {

// The line that begins with the key, without its newline; found the slow way.
bool FindLine(std::string_view status, std::string_view key, std::string& line) {
    std::istringstream lines{std::string(status)};
    while (std::getline(lines, line)) {
        if (line.starts_with(key)) {
            return true;
        }
    }
    return false;
}

void CheckFigure(std::string_view status, std::string_view key) {
    constexpr std::uint64_t kUntouched = 0x5A5A5A5A;
    std::uint64_t bytes = kUntouched;
    const bool isFound = os::ParseStatusFigure(status, key, bytes);
    fuzz::Require(isFound || bytes == kUntouched, "a missing figure changes nothing");
    std::string line;
    const bool hasLine = FindLine(status, key, line);
    fuzz::Require(hasLine || !isFound, "a figure comes from a line of its key");
    if (isFound) {
        std::uint64_t number = std::strtoull(line.c_str() + key.size(), nullptr, 10);
        fuzz::Require(bytes == number || bytes == number << 10U || bytes == number << 20U ||
                          bytes == number << 30U,
                      "a figure is its number in one of the units");
    }
}

// The trace facility reads the resident size on its own. Where the line is as the kernel writes it,
// both see the same number.
void CheckResident(std::string_view status) {
    std::uint64_t bytes = 0;
    std::string line;
    if (!os::ParseStatusFigure(status, "VmRSS:", bytes) || !FindLine(status, "VmRSS:", line)) {
        return;
    }
    char digits[17];
    int length = 0;
    if (std::sscanf(line.c_str(), "VmRSS:%*[ \t]%16[0-9] kB%n", digits, &length) == 1 &&
        length == static_cast<int>(line.size()) &&
        line.find_first_of("\v\f\r") == std::string::npos) {
        fuzz::Require(trace::ParseResidentKilobytes(status) << 10U == bytes,
                      "two readers of the resident size agree");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view status = fuzz::Text(data, size);
    const std::string_view key = fuzz::TakeLine(status);
    CheckFigure(status, key);
    CheckResident(status);
    const std::string_view name = os::FirstLine(status);
    fuzz::Require(fuzz::IsInside(name, status), "a name points into its file");
    fuzz::Require(name.find('\n') == std::string_view::npos, "a name is one line");
    const int number = os::ParseProcessNumber(key);
    fuzz::Require(number >= 0, "a process has a number above 0");
    fuzz::Require(number == 0 || key.find_first_not_of("0123456789") == std::string_view::npos,
                  "a number is digits and nothing else");
    return 0;
}
