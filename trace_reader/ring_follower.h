// Follows a ring that another process writes, without a lock and without its help.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "trace_reader/entry_reader.h"
#include "trace_reader/ring_layout.h"

namespace trace_reader {

class CRingFollower {
public:
    enum class Result {
        kNothing,    // nothing new, or the writer is just in the middle of something
        kEntries,    // entries were handed over; there may be more
        kLost,       // overtaken: LostBytes says how much, the next look goes on behind it
        kOtherRing,  // the file holds another ring than before: begin anew
    };
    using Receiver = std::function<void(const Entry&)>;

    // From the newest entry on, or from the oldest. The bytes outlive the follower.
    enum class From { kOldest, kNewest };
    CRingFollower(const CTraceBytes& bytes, From from) : m_Bytes(bytes), m_From(from) {}

    // Takes its place; the first look does it too. False when there is no ring yet, or the writer
    // is in the middle of something. The layout, when it is wanted, is the one that the place is
    // from: entries up to its end are not handed over.
    [[nodiscard]] bool Start(RingLayout* used = nullptr);

    // Hands over what is new, some hundred kilobytes at most. An entry's views are valid during its
    // call.
    [[nodiscard]] Result Look(const Receiver& receive);

    // Of the last kLost. Whole rounds that were missed leave no trace: then it is more than that.
    [[nodiscard]] std::uint64_t LostBytes() const { return m_Lost; }

private:
    // An entry's place and the begin of its header, which tells it from all others.
    struct Witness {
        std::uint64_t Offset = 0;
        std::string Bytes;
    };

    [[nodiscard]] bool Stands(const Witness& witness) const;
    [[nodiscard]] Witness WitnessAt(std::uint64_t offset) const;
    [[nodiscard]] static Witness MakeWitness(const Entry& entry);
    [[nodiscard]] std::string ReadHeaderLine() const;
    [[nodiscard]] bool IsRoundBegun(const std::string& headerLine, std::uint64_t restart,
                                    std::uint64_t end) const;
    [[nodiscard]] bool FindSafeEnd();
    [[nodiscard]] bool FindEndOfRound(const std::string& headerLine);
    [[nodiscard]] Result Take(const Receiver& receive);
    [[nodiscard]] Result Resume();
    void GoRound();

    const CTraceBytes& m_Bytes;
    From m_From;
    RingBegin m_Begin;
    Witness m_BeginEntry;          // empty before the start; never overwritten in a ring's life
    Witness m_Last;                // the entry that was handed over last, or the next one
    std::uint64_t m_Next = 0;      // where the next entry begins
    std::uint64_t m_SafeEnd = 0;   // entries from m_Next to here are whole; m_Next: unknown
    bool m_IsBehind = false;       // the place is yet to be found: see Resume
    bool m_IsRoundEnd = false;     // behind m_SafeEnd the ring begins its next round
    std::string m_HeaderLine;      // the log header's first line in this round; empty: unknown
    std::uint64_t m_Doubtful = 0;  // the end marker of the look before, if it was not sure
    std::uint64_t m_Lost = 0;
    std::string m_Buffer;
};

}  // namespace trace_reader
