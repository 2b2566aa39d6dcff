// Shows the daemon's log file and rings as they grow.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "trace_reader/ring_follower.h"

// One ring, from its first entry on. Opens the file when it appears and holds on to it when its
// name goes.
class CFollowedRing {
public:
    explicit CFollowedRing(std::string path) : m_Path(std::move(path)) {}
    // The entries that are new, a line or several each; a note in the place of lost ones.
    [[nodiscard]] std::string TakeNewLines();

private:
    std::string m_Path;
    trace_reader::CTraceFileBytes m_File;
    std::optional<trace_reader::CRingFollower> m_Follower;
};

// Complete lines that are new at each look, with "log  | " or "ring | " before each. What is
// always printed stands in both. To be made before the daemon starts. The ring of the start-up is
// shown to its end before the one that takes its place. A log that has wrapped is followed no
// further: every line of it is in the ring too.
class CTraceFollower {
public:
    [[nodiscard]] std::string TakeNewLines();

private:
    [[nodiscard]] std::string TakeLogLines();

    trace_reader::CTraceFileBytes m_Log;
    CFollowedRing m_StartUpRing{"/var/log/quorvat/log.zentd_i"};
    CFollowedRing m_ActiveRing{"/var/log/quorvat/log.zentd_a"};
    std::uint64_t m_LogPosition = 0;
};
