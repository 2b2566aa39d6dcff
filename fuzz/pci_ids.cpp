// Names of pci.ids against a plain second implementation, which walks the whole file each time.
//
// Input: vendor, device, subsystem vendor and device in hexadecimal in one line; then the file.
#include "hardware/pci_ids.h"

#include <cctype>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "fuzz/input.h"

namespace {

// "0a1B name": the number of so many digits, and what is behind it.
bool Split(const std::string& line, std::size_t digits, std::uint32_t& number, std::string& rest) {
    for (std::size_t i = 0; i < digits; ++i) {
        if (i >= line.size() || std::isxdigit(static_cast<unsigned char>(line[i])) == 0) {
            return false;
        }
    }
    number = static_cast<std::uint32_t>(std::strtoul(line.substr(0, digits).c_str(), nullptr, 16));
    rest = line.substr(digits);
    if (rest.empty() || rest.front() != ' ') {
        return false;
    }
    const std::size_t begin = rest.find_first_not_of(' ');
    rest = begin == std::string::npos ? ""
                                      : rest.substr(begin, rest.find_last_not_of(' ') - begin + 1);
    return !rest.empty();
}

std::string Clean(const std::string& line, std::size_t& tabs) {
    tabs = std::min(line.find_first_not_of('\t'), line.size());
    std::string text = line.substr(tabs);
    for (char& character : text) {
        if (std::iscntrl(static_cast<unsigned char>(character)) != 0) {
            character = ' ';
        }
    }
    return text;
}

struct Wanted {
    std::uint32_t Head = 0;  // the vendor, or the base class when `IsClass`
    bool IsClass = false;
    std::uint32_t Middle = 0;
    std::uint32_t Last = 0;
    std::uint32_t LastDevice = 0;
};
struct Names {
    std::optional<std::string> Head;
    std::optional<std::string> Middle;
    std::optional<std::string> Last;
};

// The first block with that head, the first entry in it, the first one below that.
Names Walk(const std::string& file, const Wanted& wanted) {
    Names names;
    std::istringstream lines(file);
    std::string raw;
    bool isInMiddle = false;
    while (std::getline(lines, raw)) {
        std::size_t tabs = 0;
        std::string line = Clean(raw, tabs);
        std::uint32_t number = 0;
        std::uint32_t second = 0;
        std::string rest;
        if (raw.empty() || raw.front() == '#') {
            continue;
        }
        if (tabs == 0 && names.Head) {
            break;
        }
        if (tabs == 0) {
            const bool isClass = line.starts_with("C ");
            line = isClass ? line.substr(2) : line;
            if (isClass == wanted.IsClass && Split(line, isClass ? 2 : 4, number, rest) &&
                number == wanted.Head) {
                names.Head = rest;
            }
        } else if (names.Head && tabs == 1) {
            if (names.Middle) {
                isInMiddle = false;
            } else if (Split(line, wanted.IsClass ? 2 : 4, number, rest) &&
                       number == wanted.Middle) {
                names.Middle = rest;
                isInMiddle = true;
            }
        } else if (isInMiddle && tabs == 2 && !names.Last) {
            bool isHit = Split(line, wanted.IsClass ? 2 : 4, number, rest) && number == wanted.Last;
            if (isHit && !wanted.IsClass) {
                isHit = Split(std::string(rest), 4, second, rest) && second == wanted.LastDevice;
            }
            if (isHit) {
                names.Last = rest;
            }
        }
    }
    return names;
}

bool IsSame(const CPciIds::CName& name, const std::optional<std::string>& expected) {
    return name.has_value() == expected.has_value() && (!name || *name == *expected);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = fuzz::Text(data, size);
    std::istringstream numbers{std::string(fuzz::TakeLine(input))};
    std::uint16_t wanted[4] = {};
    for (std::uint16_t& number : wanted) {
        numbers >> std::hex >> number;
    }
    const std::string file(input);
    const CPciIds ids{std::string(file)};
    const auto [vendor, device, subVendor, subDevice] = wanted;
    const Names byDevice = Walk(file, {vendor, false, device, subVendor, subDevice});
    fuzz::Require(IsSame(ids.FindVendor(vendor), byDevice.Head), "the vendor is right");
    fuzz::Require(IsSame(ids.FindDevice(vendor, device), byDevice.Middle), "the device is right");
    fuzz::Require(IsSame(ids.FindSubsystem(vendor, device, subVendor, subDevice), byDevice.Last),
                  "the subsystem is right");
    const auto baseClass = static_cast<std::uint8_t>(vendor);
    const auto subClass = static_cast<std::uint8_t>(device);
    const auto interface = static_cast<std::uint8_t>(subVendor);
    fuzz::Require(IsSame(ids.FindInterface(baseClass, subClass, interface),
                         Walk(file, {baseClass, true, subClass, interface, 0}).Last),
                  "the programming interface is right");
    return 0;
}
