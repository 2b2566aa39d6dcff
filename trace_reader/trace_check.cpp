#include "trace_reader/trace_check.h"

#include <optional>

#include "trace_reader/header_settings.h"

namespace trace_reader {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20U;

class CFindings {
public:
    void Damage(std::uint64_t offset, std::string what) {
        m_Findings.push_back({true, offset, std::move(what)});
    }
    void Note(std::uint64_t offset, std::string what) {
        m_Findings.push_back({false, offset, std::move(what)});
    }
    [[nodiscard]] std::vector<Finding> Take() { return std::move(m_Findings); }

private:
    std::vector<Finding> m_Findings;
};

// Reports runs of zero bytes, the first ones each by itself.
class CHoles {
public:
    explicit CHoles(CFindings& findings) : m_Findings(findings) {}

    void Add(std::uint64_t length) { m_Length += length; }
    // The run, if there is one, ends in front of `offset`.
    void End(std::uint64_t offset) {
        constexpr std::uint64_t kHole = 64;
        constexpr std::uint64_t kShownMax = 10;
        if (m_Length >= kHole && ++m_Count <= kShownMax) {
            m_Findings.Damage(offset - m_Length, std::to_string(m_Length) + " zero bytes");
        }
        if (m_Length >= kHole && m_Count == kShownMax + 1) {
            m_Findings.Damage(offset - m_Length, "zero bytes here and at more places");
        }
        m_Length = 0;
    }

private:
    CFindings& m_Findings;
    std::uint64_t m_Length = 0;
    std::uint64_t m_Count = 0;
};

// What a file system leaves of bytes that never reached the disk.
void CheckHoles(const TraceFile& file, CFindings& findings) {
    CHoles holes(findings);
    std::string block;
    std::uint64_t base = 0;
    do {
        file.Bytes->Read(base, kBlock, block);
        std::size_t at = 0;
        while (at < block.size()) {
            const std::size_t end = std::min(block.find_first_not_of('\0', at), block.size());
            holes.Add(end - at);
            if (end < block.size()) {
                holes.End(base + end);
            }
            at = std::min(block.find('\0', end), block.size());
        }
        base += block.size();
    } while (block.size() == kBlock);
    holes.End(base);
}

// A wide mode lets others read what the modules trace.
void CheckMode(const TraceFile& file, CFindings& findings) {
    constexpr std::uint32_t kOthersOfRing = 077;
    constexpr std::uint32_t kOthersOfLog = 027;
    if ((file.Mode & (file.IsRing ? kOthersOfRing : kOthersOfLog)) != 0) {
        std::string mode = "0000";
        for (std::size_t digit = 1; digit < mode.size(); ++digit) {
            mode[digit] = static_cast<char>('0' + (file.Mode >> (3 * (3 - digit)) & 7U));
        }
        findings.Note(0, "mode " + mode + " lets others at what is traced");
    }
}

std::optional<std::uint32_t> RecordedSize(const TraceFile& file) {
    for (const HeaderSection& section : ReadHeaderSettings(file)) {
        for (const auto& [name, value] : section.Settings) {
            if (name == "Ring Buffer Size") {
                return RingSizeOf(value);
            }
        }
    }
    return std::nullopt;
}

void CheckRing(const TraceFile& file, CFindings& findings) {
    const RingLayout& ring = file.Ring;
    if (!ring.Begin) {
        findings.Damage(0, "the entry at the ring's begin is missing");
    }
    const auto size = RecordedSize(file);
    if (!size) {
        findings.Damage(0, "the log header is not complete");
    } else if (*size != static_cast<std::uint32_t>(ring.Size)) {
        findings.Damage(ring.Size, "the file has " + std::to_string(ring.Size) +
                                       " bytes, but its header says " + std::to_string(*size));
    }
    if (ring.By == RingLayout::EndedBy::kFill) {
        findings.Note(ring.End, "the writer ended while it began a new round");
    } else if (ring.By != RingLayout::EndedBy::kMarker) {
        findings.Damage(ring.End, "there is no end marker; the newest entry may be cut");
    } else {
        std::string rest;
        file.Bytes->Read(ring.OldBegin, kEndMarker.size(), rest);
        if (rest.starts_with(':') && rest.find(" [") == 7) {
            findings.Note(ring.End, "an entry was not finished: its writer ended");
        }
    }
    std::string tail;
    file.Bytes->Read(ring.TextEnd, kBlock, tail);
    if (const std::size_t other = tail.find_first_not_of('.'); other != std::string::npos) {
        findings.Damage(ring.TextEnd + other, "the file ends in the middle of a line");
    }
}

void CheckLog(const TraceFile& file, CFindings& findings) {
    const LogLayout& log = file.Log;
    std::string text;
    file.Bytes->Read(0, kBlock, text);
    if (!text.empty() && FindEntry(text, 0) != 0 && log.WrapOffset != 0) {
        findings.Damage(0, "the file does not begin with an entry");
    }
    if (log.Wrap && log.Wrap->InitEnd != log.WrapOffset) {
        findings.Damage(log.WrapOffset,
                        "the wrap line belongs to offset " + std::to_string(log.Wrap->InitEnd));
    }
    const std::uint64_t end = FindTextEnd(*file.Bytes, 0, log.Size);
    if (end != log.Size) {
        findings.Damage(end, "the last line is cut");
    }
}

// Lines without a header between entries are lines of the entry before; before the first one of a
// region there is only what a wrap cut.
void CheckTimes(const TraceFile& file, CFindings& findings) {
    constexpr std::uint64_t kShownMax = 10;
    std::string before;
    std::uint64_t steps = 0;
    CEntryReader entries = file.Entries();
    while (const Entry* const entry = entries.Next()) {
        if (!IsReadableTime(entry->Header.Time)) {
            continue;
        }
        if (entry->Header.Time < before && ++steps <= kShownMax) {
            findings.Note(entry->Offset, "the time goes back from " + before + " to " +
                                             std::string(entry->Header.Time));
        }
        before = entry->Header.Time;
    }
    if (steps > kShownMax) {
        findings.Note(0, "the time goes back " + std::to_string(steps) + " times");
    }
}

}  // namespace

std::vector<Finding> CheckTraceFile(const TraceFile& file) {
    CFindings findings;
    if (!file.Defect.empty()) {
        findings.Damage(file.Bytes->Size(), file.Defect);
    }
    CheckMode(file, findings);
    if (file.IsRing) {
        CheckRing(file, findings);
    } else {
        CheckLog(file, findings);
    }
    CheckHoles(file, findings);
    CheckTimes(file, findings);
    return findings.Take();
}

}  // namespace trace_reader
