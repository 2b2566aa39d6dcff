// Pure walk over an SMBIOS structure table: one structure after the other, with checked bounds.
//
// The rules, for a structure at p of a table that ends at `end`:
// - Its formatted area is Length bytes long, and must not go beyond end. No Length is too short: a
//   zero byte there puts the strings on the structure's own head.
// - The strings end at the first NUL that another NUL follows; both must stand before end.
// - The next structure begins behind that pair. When that is end, the table is complete; otherwise
//   it is complete behind a structure of type 127, and what follows is not looked at.
// Every step goes on by at least two bytes, so that every table has an end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/byte_view.h"

namespace smbios_tables {

struct Structure {
    std::size_t Offset = 0;     // in the table, bytes
    std::uint8_t Type = 0;      // these three as far as their bytes exist, else 0
    std::uint8_t Length = 0;    //
    std::uint16_t Handle = 0;   //
    bool HasWholeHead = false;  // all 4 bytes of type, length and handle exist
    CByteView Formatted;        // with the head; cut where the table ends
    CByteView StringSet;        // from behind the formatted area to the first NUL of the pair, or,
                                // when there is no pair, to the end of the table
};

enum class WalkStep {
    kNext,             // a structure; another one follows
    kTableEnd,         // the last structure: it ends where the table ends
    kEndOfTable,       // the last structure: type 127, bytes follow
    kNoHead,           // no structure: the table ends before the length of the next one
    kNoFormattedArea,  // the table ends inside the formatted area
    kNoStringEnd       // the table ends before the two NULs
};

// The table must live as long as the walk and what it gives. Belongs to one thread at a time.
class CTableWalk {
public:
    explicit CTableWalk(CByteView table) : m_Table(table) {}

    // Takes the next structure. Not to be called again after anything else than kNext.
    [[nodiscard]] WalkStep Take(Structure& structure);

    // The number of structures behind which another byte stands. Deliberate: that counts the last
    // one too when the table goes on behind type 127, but not when it ends there.
    [[nodiscard]] std::size_t Index() const { return m_Index; }

private:
    CByteView m_Table;
    std::size_t m_Position = 0;
    std::size_t m_Index = 0;
};

// The strings of a structure's set, which may be empty ones. One without its NUL, because the table
// ends in it, is left out.
[[nodiscard]] std::vector<std::string_view> SplitStrings(const Structure& structure);

}  // namespace smbios_tables
