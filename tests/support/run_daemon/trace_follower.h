// Shows the daemon's log file and rings as they grow.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/support/run_daemon/file_view.h"
#include "tests/support/run_daemon/ring_reader.h"

// Complete lines that are new at each look, with "log  | " or "ring | " before each. What is
// always printed stands in both. To be made before the daemon starts. The ring of the start-up is
// shown to its end before the one that takes its place. A log that has wrapped is followed no
// further: every line of it is in the ring too.
class CTraceFollower {
public:
    [[nodiscard]] std::string TakeNewLines();

private:
    [[nodiscard]] std::string_view TakeLogLines();

    CFileView m_Log{"/var/log/quorvat/log.zentd"};
    CFileView m_StartUpRing{"/var/log/quorvat/log.zentd_i"};
    CFileView m_ActiveRing{"/var/log/quorvat/log.zentd_a"};
    std::size_t m_LogPosition = 0;
    CRingReader m_StartUpReader;
    CRingReader m_ActiveReader;
};
