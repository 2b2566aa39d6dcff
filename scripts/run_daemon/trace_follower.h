// Shows the daemon's log file and rings as they grow.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/file_mapping.h"
#include "base/unique_fd.h"
#include "scripts/run_daemon/ring_reader.h"

// One file that another process writes, also through a mapping of its own. Opens the file when it
// appears and holds on to it when its name goes.
class CFileView {
public:
    explicit CFileView(std::string path) : m_Path(std::move(path)) {}

    // The whole file as it is now; empty while there is none. The bytes change under the view as
    // the file does, which must not be cut short: true of a log and of a ring, once they are there.
    // Valid until the next call.
    [[nodiscard]] std::string_view Look();

private:
    std::string m_Path;
    CUniqueFd m_File;
    CFileMapping m_Mapping;
};

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
