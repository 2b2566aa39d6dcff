// CPciIds: one pass over the text finds the vendors and their devices; only what is below a device
// is looked up in its own few lines.
//
// A program that is started for one look at the machine pays for that pass, 36,000 lines. So a
// name is taken apart only when it is asked for, and characters that may not stay are looked for
// sixteen at a time.
#include "hardware/pci_ids.h"

#include <algorithm>
#include <array>
#include <cstring>
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

constexpr std::uint32_t kNoDigit = 16;
constexpr unsigned kBitsPerDigit = 4;

constexpr std::uint32_t DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint32_t>(digit - '0');
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<std::uint32_t>(lower - 'a') + 10 : kNoDigit;
}

// The hexadecimal number of exactly so many digits that a line begins with. Blanks, and then a name
// or another number, must follow.
std::optional<std::uint32_t> ReadNumber(std::string_view line, std::size_t digits) {
    if (line.size() <= digits || line[digits] != ' ') {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    std::uint32_t worst = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const std::uint32_t value = DigitValue(line[i]);
        worst = std::max(worst, value);
        number = (number << kBitsPerDigit) | value;
    }
    const bool isNumber =
        worst < kNoDigit && line.find_first_not_of(' ', digits) != std::string_view::npos;
    return isNumber ? std::optional(number) : std::nullopt;
}

// What stands behind a number of so many digits, without the blanks around it.
std::string_view BehindNumber(std::string_view line, std::size_t digits) {
    line.remove_prefix(std::min(line.find_first_not_of(' ', digits), line.size()));
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

// A line that begins a block is a vendor's or, with this in front, a base class's.
constexpr std::string_view kClassMark = "C ";
constexpr std::size_t kVendorDigits = 4;
constexpr std::size_t kClassDigits = 2;

std::optional<std::uint32_t> ReadHead(std::string_view line) {
    if (!line.starts_with(kClassMark)) {
        return ReadNumber(line, kVendorDigits);
    }
    const auto number = ReadNumber(line.substr(kClassMark.size()), kClassDigits);
    return number ? std::optional(*number | kClass) : std::nullopt;
}

std::size_t DigitsBelow(std::uint32_t key) {
    return key >= kClass ? kClassDigits : kVendorDigits;
}

// Whether a control character stands where none belongs: any but a newline, and a tab behind a
// newline or another tab. `Value` is one character, or several beside those before them.
template <typename Value>
auto IsStray(Value now, Value before) {
    const auto isLost = (now == '\t') & (before != '\n') & (before != '\t');
    return isLost | ((now < 0x20U) & (now != '\n') & (now != '\t')) | (now == 0x7FU);
}

using Byte = std::uint8_t;
using Bytes [[gnu::vector_size(16)]] = Byte;

// Whether there is one among the sixteen characters at `text`, which has one more in front.
bool HasStray(const char* text) {
    Bytes now;
    Bytes before;
    std::memcpy(&now, text, sizeof now);
    std::memcpy(&before, text - 1, sizeof before);
    const auto found = IsStray(now, before);
    std::array<std::uint64_t, 2> bits{};
    static_assert(sizeof bits == sizeof found);
    std::memcpy(bits.data(), &found, sizeof bits);
    return (bits[0] | bits[1]) != 0;
}

// Makes blanks of them: they could end a line of the trace, or move a terminal's cursor.
void MakeHarmless(std::string& text) {
    std::size_t i = 0;
    Byte before = '\n';
    while (i < text.size()) {
        const bool isBlock = i > 0 && text.size() - i >= sizeof(Bytes);
        if (isBlock && !HasStray(&text[i])) {
            i += sizeof(Bytes);
            before = static_cast<Byte>(text[i - 1]);
            continue;
        }
        if (IsStray(static_cast<Byte>(text[i]), before) != 0) {
            text[i] = ' ';
        }
        before = static_cast<Byte>(text[i++]);
    }
}

// Finds a subsystem, or an interface, that `isWanted` among the lines below the device, or
// sub-class, that `block` begins with.
template <typename Predicate>
CPciIds::CName FindLowest(std::string_view block, Predicate isWanted) {
    constexpr std::size_t kDepth = 2;
    (void)TakeLine(block);
    while (!block.empty()) {
        std::string_view line = TakeLine(block);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t tabs = std::min(line.find_first_not_of('\t'), line.size());
        line.remove_prefix(tabs);
        if (tabs < kDepth) {
            return std::nullopt;
        }
        if (tabs == kDepth && isWanted(line)) {
            return line;
        }
    }
    return std::nullopt;
}

std::unique_ptr<const CPciIds> ReadSystemFile() {
    for (const char* const path : {paths::kPciIds, paths::kHardwareDataPciIds}) {
        std::string text;
        if (ReadKernelFile(path, text, kFileMax) == 0) {
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
    ReadBlocks();
    SortBlocks();
}

void CPciIds::ReadBlocks() {
    constexpr std::size_t kTypicalLine = 40;
    m_Below.reserve(m_Text.size() / kTypicalLine);
    Block* block = nullptr;  // null: below a line that is none
    std::string_view rest = m_Text;
    while (!rest.empty()) {
        const auto offset = static_cast<std::uint32_t>(m_Text.size() - rest.size());
        std::string_view line = TakeLine(rest);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() != '\t') {
            const auto key = ReadHead(line);
            const auto firstBelow = static_cast<std::uint32_t>(m_Below.size());
            block = key ? &m_Blocks.emplace_back(Block{{*key, offset}, firstBelow, 0}) : nullptr;
        } else if (block != nullptr && line.size() > 1 && line[1] != '\t') {
            const auto key = ReadNumber(line.substr(1), DigitsBelow(block->Head.Key));
            if (key) {
                m_Below.push_back({*key, offset});
                ++block->CountBelow;
            }
        }
    }
    m_Blocks.shrink_to_fit();
    m_Below.shrink_to_fit();
}

void CPciIds::SortBlocks() {
    const auto isLess = [](const Entry& a, const Entry& b) {
        return a.Key < b.Key;
    };
    const auto isBlockLess = [&](const Block& a, const Block& b) {
        return isLess(a.Head, b.Head);
    };
    std::stable_sort(m_Blocks.begin(), m_Blocks.end(), isBlockLess);
    for (const Block& block : m_Blocks) {
        const auto first = m_Below.begin() + block.FirstBelow;
        const auto last = first + block.CountBelow;
        if (!std::is_sorted(first, last, isLess)) {
            std::stable_sort(first, last, isLess);
        }
    }
}

const CPciIds::Block* CPciIds::FindBlock(std::uint32_t key) const {
    const auto found = std::lower_bound(
        m_Blocks.begin(), m_Blocks.end(), key,
        [](const Block& block, std::uint32_t wanted) { return block.Head.Key < wanted; });
    return found != m_Blocks.end() && found->Head.Key == key ? &*found : nullptr;
}

std::string_view CPciIds::FindBelow(std::uint32_t blockKey, std::uint32_t key) const {
    const Block* const block = FindBlock(blockKey);
    if (block == nullptr) {
        return {};
    }
    const auto first = m_Below.begin() + block->FirstBelow;
    const auto last = first + block->CountBelow;
    const auto found = std::lower_bound(
        first, last, key,
        [](const Entry& entry, std::uint32_t wanted) { return entry.Key < wanted; });
    return found != last && found->Key == key ? std::string_view(m_Text).substr(found->Offset)
                                              : std::string_view();
}

CPciIds::CName CPciIds::FindVendor(std::uint16_t vendor) const {
    const Block* const block = FindBlock(vendor);
    if (block == nullptr) {
        return std::nullopt;
    }
    std::string_view text = std::string_view(m_Text).substr(block->Head.Offset);
    return BehindNumber(TakeLine(text), kVendorDigits);
}

CPciIds::CName CPciIds::FindDevice(std::uint16_t vendor, std::uint16_t device) const {
    std::string_view block = FindBelow(vendor, device);
    return block.empty() ? std::nullopt
                         : CName(BehindNumber(TakeLine(block).substr(1), kVendorDigits));
}

CPciIds::CName CPciIds::FindSubsystem(std::uint16_t vendor, std::uint16_t device,
                                      std::uint16_t subVendor, std::uint16_t subDevice) const {
    return FindLowest(FindBelow(vendor, device), [=](std::string_view& line) {
        if (ReadNumber(line, kVendorDigits) != subVendor) {
            return false;
        }
        line = BehindNumber(line, kVendorDigits);
        if (ReadNumber(line, kVendorDigits) != subDevice) {
            return false;
        }
        line = BehindNumber(line, kVendorDigits);
        return true;
    });
}

CPciIds::CName CPciIds::FindInterface(std::uint8_t baseClass, std::uint8_t subClass,
                                      std::uint8_t interface) const {
    return FindLowest(FindBelow(kClass | baseClass, subClass), [=](std::string_view& line) {
        if (ReadNumber(line, kClassDigits) != interface) {
            return false;
        }
        line = BehindNumber(line, kClassDigits);
        return true;
    });
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
