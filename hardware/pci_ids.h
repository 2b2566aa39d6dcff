// The names of vendors, devices, subsystems and programming interfaces, from the file pci.ids.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The file's text with an index of its vendors. The format:
//     8086  Intel Corporation                a vendor
//     <TAB>1533  I210 Gigabit                a device of it
//     <TAB><TAB>103c 0003  Ethernet I210     a subsystem: its vendor, its device
//     C 01  Mass storage controller          a class; below it sub-class and interface
// Lines of other kinds, and lines below one that is no vendor and no class, count for nothing. The
// file need not be sorted; of two entries for the same number the first one counts.
class CPciIds {
public:
    // Names point into the object; a thread may read while others do. Without control characters.
    using CName = std::optional<std::string_view>;

    CPciIds() = default;
    explicit CPciIds(std::string text);
    CPciIds(const CPciIds&) = delete;
    CPciIds& operator=(const CPciIds&) = delete;

    [[nodiscard]] CName FindVendor(std::uint16_t vendor) const;
    [[nodiscard]] CName FindDevice(std::uint16_t vendor, std::uint16_t device) const;
    [[nodiscard]] CName FindSubsystem(std::uint16_t vendor, std::uint16_t device,
                                      std::uint16_t subVendor, std::uint16_t subDevice) const;
    [[nodiscard]] CName FindInterface(std::uint8_t baseClass, std::uint8_t subClass,
                                      std::uint8_t interface) const;

    // The system's file, read once in the process and never given back: a caller may change its
    // root afterwards, and names stay valid. While there is none, the object has no names, and the
    // next call looks again. From any thread.
    [[nodiscard]] static const CPciIds& System();

private:
    struct Entry {
        std::uint32_t Key;  // the vendor, or kClass and the base class
        std::uint32_t Offset;
    };
    // From the entry's own line on to the text's end.
    [[nodiscard]] std::string_view FindBlock(std::uint32_t key) const;

    std::string m_Text;
    std::vector<Entry> m_Index;  // by key, then by offset
};
