// Entries of a trace file, oldest first, or counted back from the newest.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trace_reader/entry_header.h"
#include "trace_reader/trace_bytes.h"

namespace trace_reader {

// An entry as it stands in its file. The views are valid until its reader goes on.
struct Entry {
    std::uint64_t Offset = 0;
    bool IsOld = false;      // written before the last wrap
    std::string_view Bytes;  // header and text, with the newline
    EntryHeader Header;

    // Without the newline at the end; it may hold further ones.
    [[nodiscard]] std::string_view Text() const {
        const std::string_view text = Bytes.substr(Header.Length);
        return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
    }
};

// A part of a file whose entries follow each other in time.
struct Region {
    std::uint64_t Begin = 0;
    std::uint64_t End = 0;
    bool IsOld = false;
    bool IsOneLine = false;  // only the first line of the last entry is its own
    // The time of its first entry, by which a writer shows that it has come there since. Empty:
    // none.
    std::uint64_t FirstEntry = 0;
    std::string FirstTime = {};
    std::uint64_t RoundBegin = 0;  // where that writer begins each round
};

// Takes the entries of a text apart. The text begins and ends with lines; what stands before its
// first header belongs to no entry.
class CEntrySplitter {
public:
    CEntrySplitter(std::string_view text, std::uint64_t offset, bool isOld)
        : m_Text(text), m_Offset(offset), m_IsOld(isOld), m_Next(FindEntry(text, 0)) {}
    // False at the end.
    [[nodiscard]] bool Next(Entry& entry);

private:
    std::string_view m_Text;
    std::uint64_t m_Offset;
    bool m_IsOld;
    std::size_t m_Next;
};

// Reads forward. Its file may be written meanwhile: after each read the header of the first entry
// that was read is looked at again. A writer that overwrites entries goes through them in their
// order and destroys a header first, so one that is still there vouches for all that follows it.
// Before the first read the header of the region's first entry does so.
class CEntryReader {
public:
    struct Place {
        std::size_t Region = 0;
        std::uint64_t Offset = 0;  // of an entry; 0: the region's begin
    };

    CEntryReader(const CTraceBytes& bytes, std::vector<Region> regions, Place from);
    CEntryReader(const CTraceBytes& bytes, std::vector<Region> regions)
        : CEntryReader(bytes, std::move(regions), Place{}) {}

    // The next entry, or null behind the last one. Valid until the next call.
    [[nodiscard]] const Entry* Next();
    // Bytes that were overwritten before they could be read.
    [[nodiscard]] std::uint64_t LostBytes() const { return m_Lost; }

private:
    void SkipText();
    bool TakeEntry();
    void TakeEntry(std::size_t end, bool isLast);
    bool Fill();
    void EnterRegion(std::size_t region, std::uint64_t offset);
    void DropOverwritten(std::uint64_t base);
    [[nodiscard]] bool IsRegionAsFound() const;
    void GoBehindWriter(std::uint64_t from);

    const CTraceBytes& m_Bytes;
    std::vector<Region> m_Regions;
    std::size_t m_Region = 0;
    std::uint64_t m_Read = 0;  // offset behind what is in the buffer
    std::string m_Buffer;      // of the region, up to m_Read
    std::size_t m_Next = 0;    // in the buffer: the next entry, or the begin of a line
    int m_RegionTries = 0;     // left to find it as it was laid out; 0: it was
    std::uint64_t m_Lost = 0;
    Entry m_Entry;
};

// Goes back from the newest entry until `isEnough` says so, and returns where to read forward from;
// the oldest entry's place when it never does.
[[nodiscard]] CEntryReader::Place FindPlaceBack(const CTraceBytes& bytes,
                                                const std::vector<Region>& regions,
                                                const std::function<bool(const Entry&)>& isEnough);

}  // namespace trace_reader
