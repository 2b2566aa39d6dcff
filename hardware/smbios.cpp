// CSMBios: connection, revision, structure list.
#include "hardware/smbios.h"

#include <cstdarg>
#include <cstdio>

#include "base/text_safety.h"
#include "hardware/bios_tables.h"
#include "trace/debug.h"

using smbios_tables::RevisionResult;
using smbios_tables::Structure;
using smbios_tables::WalkStep;

bool CSMBios::Connect() {
    Clear();
    if (CBiosTables::GetSmbiosData(m_Header, m_Data)) {
        Debug.Print(4, "\nCSMBios (Connect)   : SMBIOS data got from operating system (%d bytes)",
                    static_cast<int>(m_Data.Size()));
    } else if (getSmbiosDataFromBiosShadowMemory(m_Header, m_Data)) {
        Debug.Print(4, "\nCSMBios (Connect)   : Got SMBIOS data from BIOS shadow memory (%d bytes)",
                    static_cast<int>(m_Data.Size()));
    } else {
        Debug.Print(1, "\nCSMBios (Connect)   : ## ERROR! Could not find any SMBIOS data!");
    }
    return FinishConnect();
}

bool CSMBios::ConnectCopy(const CDataStream& header, const CDataStream& data) {
    Clear();
    m_Header = header;
    m_Data = data;
    return FinishConnect();
}

bool CSMBios::FinishConnect() {
    setSmbiosRevisionFromHeader();
    Debug.Print(4, "\nCSMBios (Connect)   : SMBIOS revision: %d.%d", m_Revision.Major,
                m_Revision.Minor);
    Debug.Print(4, "\nCSMBios (Connect)   : Build structure list...");
    const bool isConnected = buildStructureList();
    Debug.Print(4, "\nCSMBios (Connect)   : SMBIOS %s connected",
                isConnected ? "successfully" : "NOT");
    return isConnected;
}

void CSMBios::Disconnect() {
    Clear();
    Debug.Print(4, "\nCSMBios (Disconnect): Disconnected");
}

// The index goes before the bytes that it points into.
void CSMBios::Clear() {
    m_Structures.clear();
    m_Header.Clear();
    m_Data.Clear();
    m_StructureCount = 0;
    m_LastError.clear();
    m_Revision = {};
}

void CSMBios::SetLastError(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    (void)std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    m_LastError = text;
}

const CSMBios::StructureList& CSMBios::GetStructures(std::uint8_t type) const {
    static const StructureList kNone;
    const auto found = m_Structures.find(type);
    return found != m_Structures.end() ? found->second : kNone;
}

std::uint8_t CSMBios::GetCountOfType(std::uint8_t type) const {
    return static_cast<std::uint8_t>(GetStructures(type).size());
}

// The table from the begin of one of its structures.
CByteView CSMBios::TableFrom(const _DMI_20_HEADER* structure) const {
    const auto* const begin = reinterpret_cast<const unsigned char*>(structure);
    return m_Data.View().Part(static_cast<std::size_t>(begin - m_Data.Data()));
}

std::optional<std::uint8_t> CSMBios::FindByte(const _DMI_20_HEADER* structure,
                                              std::size_t offset) const {
    std::uint8_t value = 0;
    return TableFrom(structure).Read(offset, value) ? std::optional(value) : std::nullopt;
}

std::optional<std::string_view> CSMBios::FindString(const _DMI_20_HEADER* structure,
                                                    std::uint8_t number) const {
    Structure whole;
    (void)smbios_tables::CTableWalk(TableFrom(structure)).Take(whole);
    const std::vector<std::string_view> strings = smbios_tables::SplitStrings(whole);
    if (number == 0 || number > strings.size()) {
        return std::nullopt;
    }
    return strings[number - 1U];
}

void CSMBios::setSmbiosRevisionFromHeader() {
    switch (smbios_tables::ParseRevision(m_Header.View(), m_Revision)) {
    case RevisionResult::kFound: break;
    case RevisionResult::kNoHeader:
        Debug.Print(1,
                    "\nCSMBios::setSmbiosRevisionFromHeader() : Error # No SMBios header to "
                    "process!");
        break;
    case RevisionResult::kNoAnchor:
        Debug.Print(1,
                    "\nCSMBios::setSmbiosRevisionFromHeader() : Error # Invalid SMBios version! "
                    "(no anchor string matched)");
        break;
    }
}

bool CSMBios::buildStructureList() {
    m_Structures.clear();
    if (m_Data.IsEmpty()) {
        Debug.Print(1, "\nBuildStructureList  : ## ERROR! SMBIOS structures are not set");
        return false;
    }
    smbios_tables::CTableWalk walk(m_Data.View());
    Structure structure;
    WalkStep step = WalkStep::kNext;
    while (step == WalkStep::kNext) {
        const std::size_t index = walk.Index();
        step = walk.Take(structure);
        if (step != WalkStep::kNoHead) {
            AddStructure(structure, index);
        }
        if (step == WalkStep::kNoHead || step == WalkStep::kNoFormattedArea) {
            return RefuseTable(step, structure, index);
        }
        TraceStrings(structure);
        if (step == WalkStep::kNoStringEnd) {
            return RefuseTable(step, structure, index);
        }
    }
    if (step == WalkStep::kTableEnd) {
        Debug.Print(4, "\nBuildStructureList  :   end of BIOS structures!");
    }
    CheckCount(walk.Index());
    return true;
}

void CSMBios::AddStructure(const Structure& structure, std::size_t index) {
    if (Debug.IsLevelActive(5)) {
        std::string dump;
        CDataStream::DumpHex(dump, structure.Formatted.Data(), structure.Formatted.Size(), false,
                             true, 16, 1, nullptr);
        Debug.Print(5, "\n%s", dump.c_str());
    }
    Debug.Print(4, "\nBuildStructureList  : - found struct type %d (handle=%d, len=%d)",
                structure.Type, structure.Handle, structure.Length);
    if (!structure.HasWholeHead) {
        Debug.Print(1,
                    "\nBuildStructureList  : ## ERROR! The table ends in the header of "
                    "struct[%u], type=0x%02X; it is skipped",
                    static_cast<unsigned int>(index), structure.Type);
        return;
    }
    m_Structures[structure.Type].push_back(
        reinterpret_cast<const _DMI_20_HEADER*>(m_Data.Data() + structure.Offset));
}

void CSMBios::TraceStrings(const Structure& structure) const {
    if (!Debug.IsLevelActive(6)) {
        return;
    }
    for (const std::string_view string : smbios_tables::SplitStrings(structure)) {
        Debug.Print(6, "\nBuildStructureList  :    -> found string \"%s\"",
                    text::EscapeControls(string).c_str());
    }
}

// Always false.
bool CSMBios::RefuseTable(WalkStep step, const Structure& structure, std::size_t index) {
    const auto number = static_cast<int>(index);
    const auto offset = static_cast<unsigned int>(structure.Offset);
    if (step == WalkStep::kNoHead) {
        SetLastError(
            "## FATAL ERROR! SMBIOS structure pointer exceeds structure table end while reading "
            "struct header!\n   struct[%d], type=0x%02X, handle=%d",
            number, structure.Type, structure.Handle);
    } else if (step == WalkStep::kNoFormattedArea) {
        SetLastError(
            "## FATAL ERROR! SMBIOS structure pointer exceeds structure table end while going to "
            "struct end!\n   struct[%d], last type=0x%02X, last handle=%d\n   struct Offset 0x%04X",
            number, structure.Type, structure.Handle, offset);
    } else {
        SetLastError(
            "## FATAL ERROR! SMBIOS structure pointer exceeds structure table end while when "
            "string table end found!\n   struct[%d], type=0x%02X, handle=%d\n   struct Offset "
            "0x%04X",
            number, structure.Type, structure.Handle, offset);
    }
    constexpr std::size_t kRuleLength = 116;
    const std::string rule(kRuleLength, '-');
    const auto table = reinterpret_cast<std::uintptr_t>(m_Data.Data());
    Debug.Print(3, "\n%s", rule.c_str());
    Debug.Print(3, "\n%s", m_LastError.c_str());
    Debug.Print(3, "\n   p = 0x%08X, table end = 0x%08X ",
                static_cast<unsigned int>(table + structure.Offset),
                static_cast<unsigned int>(table + m_Data.Size()));
    Debug.Print(3, "\n%s", rule.c_str());
    return false;
}

void CSMBios::CheckCount(std::size_t index) {
    // Deliberate: with type 127 before the table's end the index stands behind that structure
    // already, so that one more is found than there is.
    const std::uint64_t found = index + 1;
    if (m_StructureCount == 0) {
        m_StructureCount = found;
    } else if (m_StructureCount != found) {
        // Deliberate: the index is written, not the number found, and the table is taken.
        Debug.Print(1,
                    "\n\nBuildStructureList  : ## ERROR! Number of SMBIOS structures found (%d) "
                    "does not match to number in header (%d)!\n",
                    static_cast<int>(index), static_cast<int>(m_StructureCount));
    }
    Debug.Print(4, "\nBuildStructureList  : %d SMBIOS structures found", static_cast<int>(found));
}
