// CPciIds: one pass over the text finds the vendors; the rest is looked up in a vendor's own lines.
#include "hardware/pci_ids.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "base/critical_section.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "trace/debug.h"

namespace {

constexpr std::uint32_t kClass = 0x10000;  // above every vendor
constexpr std::size_t kFileMax = std::size_t{32} * 1024 * 1024;

// Takes a line off the text, without its newline.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t newline = text.find('\n');
    const std::string_view line = text.substr(0, newline);
    text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
    return line;
}

// Takes a hexadecimal number of exactly so many digits, and the blanks behind it. A name or another
// number must stand there.
bool TakeNumber(std::string_view& line, std::size_t digits, std::uint32_t& number) {
    constexpr int kHexadecimal = 16;
    if (line.size() <= digits || line[digits] != ' ') {
        return false;
    }
    const char* const end = line.data() + digits;
    const auto [next, error] = std::from_chars(line.data(), end, number, kHexadecimal);
    line.remove_prefix(std::min(line.find_first_not_of(' ', digits), line.size()));
    line = line.substr(0, line.find_last_not_of(' ') + 1);
    return error == std::errc() && next == end && !line.empty();
}

// The number of a line that begins a block.
std::optional<std::uint32_t> ReadHead(std::string_view& line) {
    std::uint32_t number = 0;
    if (line.starts_with("C ")) {
        line.remove_prefix(2);
        return TakeNumber(line, 2, number) ? std::optional(number | kClass) : std::nullopt;
    }
    return TakeNumber(line, 4, number) ? std::optional(number) : std::nullopt;
}

// Makes blanks of all control characters but newlines and the tabs that begin a line: they could
// end a line of the trace, or move a terminal's cursor.
void MakeHarmless(std::string& text) {
    bool isIndent = true;
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isKept = character == '\n' || (character == '\t' && isIndent);
        isIndent = isKept;
        if ((byte < ' ' && !isKept) || byte == 0x7F) {
            character = ' ';
        }
    }
}

// Finds a line of the depth `depth` (so many tabs) that `isWanted`, among the lines below the one
// in front of `block`. Leaves in `block` what is behind it.
template <typename Predicate>
CPciIds::CName FindBelow(std::string_view& block, std::size_t depth, Predicate isWanted) {
    while (!block.empty()) {
        std::string_view line = TakeLine(block);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t tabs = std::min(line.find_first_not_of('\t'), line.size());
        line.remove_prefix(tabs);
        if (tabs < depth) {
            return std::nullopt;
        }
        if (tabs == depth && isWanted(line)) {
            return line;
        }
    }
    return std::nullopt;
}

CPciIds::CName FindNumber(std::string_view& block, std::size_t depth, std::size_t digits,
                          std::uint32_t wanted) {
    return FindBelow(block, depth, [=](std::string_view& line) {
        std::uint32_t number = 0;
        return TakeNumber(line, digits, number) && number == wanted;
    });
}

std::unique_ptr<const CPciIds> ReadSystemFile() {
    for (const char* const path : {paths::kPciIds, paths::kHardwareDataPciIds}) {
        std::string text;
        if (ReadKernelFile(path, text, kFileMax) == 0) {
            text.shrink_to_fit();
            Debug.Print(3, "\nCPciIds             : names are read from %s (%zu bytes)", path,
                        text.size());
            return std::make_unique<const CPciIds>(std::move(text));
        }
    }
    Debug.Print(2, "\nCPciIds             : there is neither %s nor %s", paths::kPciIds,
                paths::kHardwareDataPciIds);
    return nullptr;
}

}  // namespace

CPciIds::CPciIds(std::string text) : m_Text(std::move(text)) {
    MakeHarmless(m_Text);
    std::string_view rest = m_Text;
    while (!rest.empty()) {
        const std::size_t offset = m_Text.size() - rest.size();
        std::string_view line = TakeLine(rest);
        const std::optional<std::uint32_t> key = ReadHead(line);
        if (key) {
            m_Index.push_back({*key, static_cast<std::uint32_t>(offset)});
        }
    }
    std::stable_sort(m_Index.begin(), m_Index.end(),
                     [](const Entry& a, const Entry& b) { return a.Key < b.Key; });
    m_Index.shrink_to_fit();
}

std::string_view CPciIds::FindBlock(std::uint32_t key) const {
    const auto found = std::lower_bound(
        m_Index.begin(), m_Index.end(), key,
        [](const Entry& entry, std::uint32_t wanted) { return entry.Key < wanted; });
    return found != m_Index.end() && found->Key == key
               ? std::string_view(m_Text).substr(found->Offset)
               : std::string_view();
}

CPciIds::CName CPciIds::FindVendor(std::uint16_t vendor) const {
    std::string_view block = FindBlock(vendor);
    std::string_view line = TakeLine(block);
    return ReadHead(line) ? CName(line) : std::nullopt;
}

CPciIds::CName CPciIds::FindDevice(std::uint16_t vendor, std::uint16_t device) const {
    std::string_view block = FindBlock(vendor);
    (void)TakeLine(block);
    return FindNumber(block, 1, 4, device);
}

CPciIds::CName CPciIds::FindSubsystem(std::uint16_t vendor, std::uint16_t device,
                                      std::uint16_t subVendor, std::uint16_t subDevice) const {
    std::string_view block = FindBlock(vendor);
    (void)TakeLine(block);
    if (!FindNumber(block, 1, 4, device)) {
        return std::nullopt;
    }
    return FindBelow(block, 2, [=](std::string_view& line) {
        std::uint32_t foundVendor = 0;
        std::uint32_t foundDevice = 0;
        return TakeNumber(line, 4, foundVendor) && TakeNumber(line, 4, foundDevice) &&
               foundVendor == subVendor && foundDevice == subDevice;
    });
}

CPciIds::CName CPciIds::FindInterface(std::uint8_t baseClass, std::uint8_t subClass,
                                      std::uint8_t interface) const {
    std::string_view block = FindBlock(kClass | baseClass);
    (void)TakeLine(block);
    return FindNumber(block, 1, 2, subClass) ? FindNumber(block, 2, 2, interface) : std::nullopt;
}

const CPciIds& CPciIds::System() {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one database per process
    static CCriticalSection& lock = *new CCriticalSection;
    static const CPciIds& none = *new CPciIds;
    static const CPciIds* names = nullptr;
    const CCriticalSectionGuard guard(lock);
    if (names == nullptr) {
        names = ReadSystemFile().release();
    }
    return names != nullptr ? *names : none;
}
