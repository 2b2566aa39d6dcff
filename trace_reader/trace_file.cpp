#include "trace_reader/trace_file.h"

#include <utility>

#include "trace_reader/gzip_text.h"

namespace trace_reader {

namespace {

void Add(std::vector<Region>& regions, std::uint64_t begin, std::uint64_t end, bool isOld,
         bool isOneLine = false) {
    if (begin < end) {
        regions.push_back({begin, end, isOld, isOneLine});
    }
}

// By what it shows that the writer has come there.
void Watch(std::vector<Region>& regions, const std::optional<FoundEntry>& first,
           std::uint64_t roundBegin) {
    if (!regions.empty() && first && first->Offset >= regions.back().Begin &&
        first->Offset < regions.back().End) {
        regions.back().FirstEntry = first->Offset;
        regions.back().FirstTime = first->Time;
        regions.back().RoundBegin = roundBegin;
    }
}

}  // namespace

CEntryReader TraceFile::FrontEntries() const {
    const std::uint64_t end = IsRing && Ring.Begin ? Ring.Begin->Offset : Bytes->Size();
    return {*Bytes, {Region{0, end, false, false}}};
}

std::vector<Region> LogRegions(const LogLayout& log) {
    std::vector<Region> regions;
    Add(regions, 0, log.WrapOffset, false);
    Add(regions, log.OldBegin, log.TextEnd, true);
    Add(regions, log.NewBegin, log.NewEnd, false, log.OldBegin < log.Size);
    return regions;
}

// The begin entry is the oldest that is left. A ring that was just being made has the header only.
std::vector<Region> RingRegions(const RingLayout& ring) {
    std::vector<Region> regions;
    if (ring.Begin) {
        Add(regions, ring.Begin->Offset, ring.FirstEntry, ring.IsWrapped);
    }
    if (ring.IsWrapped) {
        Add(regions, ring.OldBegin, ring.TextEnd, true);
        Watch(regions, ring.Old, ring.FirstEntry);
    }
    // Without a marker, what an entry did not overwrite looks like further lines of it.
    Add(regions, ring.FirstEntry, ring.End, false, ring.By == RingLayout::EndedBy::kTimeDrop);
    Watch(regions, ring.First, ring.FirstEntry);
    return regions;
}

TraceFile LayOut(std::shared_ptr<const CTraceBytes> bytes) {
    TraceFile file;
    file.Bytes = std::move(bytes);
    file.IsRing = FindRingBegin(*file.Bytes).has_value() || LooksLikeRing(*file.Bytes);
    if (file.IsRing) {
        file.Ring = FindRingLayout(*file.Bytes);
        file.Regions = RingRegions(file.Ring);
    } else {
        file.Log = FindLogLayout(*file.Bytes);
        file.Regions = LogRegions(file.Log);
    }
    return file;
}

int OpenTraceFile(const std::string& path, TraceFile& file) {
    auto opened = std::make_shared<CTraceFileBytes>();
    if (const int error = opened->Open(path); error != 0) {
        return error;
    }
    const std::uint32_t mode = opened->Status().st_mode & 0777U;
    std::string text;
    std::string defect;
    opened->Read(0, 2, text);
    const bool isPacked = IsGzip(text);
    std::shared_ptr<const CTraceBytes> bytes = opened;
    if (isPacked) {
        defect = UnpackGzip(opened->Descriptor(), text);
        bytes = std::make_shared<CTraceMemory>(std::move(text));
    }
    file = LayOut(std::move(bytes));
    file.Path = path;
    file.IsPacked = isPacked;
    file.Defect = std::move(defect);
    file.Mode = mode;
    return 0;
}

}  // namespace trace_reader
