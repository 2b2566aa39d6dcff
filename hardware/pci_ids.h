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
    // A vendor or a base class, or one entry of the next level below it.
    struct Entry {
        std::uint32_t Key;     // the number; of a base class with kClass
        std::uint32_t Offset;  // of its line in the text
    };
    struct Block {
        Entry Head;
        std::uint32_t FirstBelow;  // its entries in m_Below
        std::uint32_t CountBelow;
    };
    using Entries = std::vector<Entry>;

    void ReadBlocks();
    void SortBlocks();
    [[nodiscard]] const Block* FindBlock(std::uint32_t key) const;
    // The text from the line on that an entry below stands in; empty when there is none.
    [[nodiscard]] std::string_view FindBelow(std::uint32_t blockKey, std::uint32_t key) const;

    std::string m_Text;
    std::vector<Block> m_Blocks;  // by key, then by offset
    Entries m_Below;              // of each block by key, then by offset
};
