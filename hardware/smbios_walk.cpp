#include "hardware/smbios_walk.h"

#include "hardware/dmi_records.h"

namespace smbios_tables {

WalkStep CTableWalk::Take(Structure& structure) {
    constexpr std::string_view kSetEnd("\0\0", 2);
    const CByteView rest = m_Table.Part(m_Position);
    structure = Structure();
    structure.Offset = m_Position;
    structure.Type = rest.ReadOrZero<std::uint8_t>(offsetof(_DMI_20_HEADER, Type));
    if (!rest.Read(offsetof(_DMI_20_HEADER, Length), structure.Length)) {
        return WalkStep::kNoHead;
    }
    structure.Handle = rest.ReadOrZero<std::uint16_t>(offsetof(_DMI_20_HEADER, Handle));
    structure.HasWholeHead = rest.Holds(0, sizeof(_DMI_20_HEADER));
    structure.Formatted = rest.Part(0, structure.Length);
    if (!rest.Holds(0, structure.Length)) {
        return WalkStep::kNoFormattedArea;
    }
    structure.StringSet = rest.Part(structure.Length);
    const std::size_t setEnd = structure.StringSet.Text().find(kSetEnd);
    if (setEnd == std::string_view::npos) {
        return WalkStep::kNoStringEnd;
    }
    structure.StringSet = structure.StringSet.Part(0, setEnd + 1);
    m_Position += structure.Length + setEnd + kSetEnd.size();
    if (m_Position == m_Table.Size()) {
        return WalkStep::kTableEnd;
    }
    ++m_Index;
    return structure.Type == kDmiEndOfTable ? WalkStep::kEndOfTable : WalkStep::kNext;
}

std::vector<std::string_view> SplitStrings(const Structure& structure) {
    std::vector<std::string_view> strings;
    std::string_view set = structure.StringSet.Text();
    if (set.starts_with('\0') && set.size() == 1) {
        return strings;
    }
    for (;;) {
        const std::size_t end = set.find('\0');
        if (end == std::string_view::npos) {
            return strings;
        }
        strings.push_back(set.substr(0, end));
        set.remove_prefix(end + 1);
    }
}

}  // namespace smbios_tables
