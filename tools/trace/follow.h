// The entries of traces as they are written, of files that come, go and begin anew.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/trace/output.h"
#include "trace_reader/log_follower.h"
#include "trace_reader/merge.h"
#include "trace_reader/ring_follower.h"

namespace tools {

// The named files; a folder stands for the daemon's files in it, there or not, and no name for
// those of the directory in force.
[[nodiscard]] std::vector<std::string> FollowedTraceFiles(const std::vector<std::string>& names);

// One path. What stands there may be replaced, emptied, or not be there yet.
class CFollowedFile {
public:
    struct News {
        std::vector<std::string> Entries;  // with their headers
        std::string Note;                  // what happened before them; else empty
    };

    explicit CFollowedFile(std::string path) : m_Path(std::move(path)) {}
    // Goes on behind what is there now, and lays that out; false when nothing is.
    [[nodiscard]] bool StartBehind(trace_reader::TraceFile& file);
    [[nodiscard]] News Look();
    [[nodiscard]] const std::string& Path() const { return m_Path; }
    [[nodiscard]] bool IsRing() const { return m_Ring.has_value(); }

private:
    [[nodiscard]] bool Open();
    [[nodiscard]] bool IsReplaced() const;
    void Take(News& news);
    void TakeFromRing(News& news);
    void Begin(trace_reader::CRingFollower::From from);

    std::string m_Path;
    int m_ToldError = 0;  // why it could not be opened at the last try
    std::shared_ptr<trace_reader::CTraceFileBytes> m_Bytes;
    std::optional<trace_reader::CRingFollower> m_Ring;
    std::optional<trace_reader::CLogFollower> m_Log;
};

class CTraceFollower {
public:
    using Receiver = std::function<void(const trace_reader::Entry&, const std::string& path)>;
    using NoteReceiver = std::function<void(const std::string& note, const std::string& path)>;

    explicit CTraceFollower(const std::vector<std::string>& paths);
    // What is there now; Run goes on behind it.
    [[nodiscard]] std::vector<trace_reader::TraceFile> Start();
    // Until the output is over, or it is enough.
    void Run(const Receiver& receive, const NoteReceiver& note,
             const std::function<bool()>& isEnough, CTraceOutput& output);

private:
    [[nodiscard]] std::vector<CFollowedFile::News> LookAtAll();
    [[nodiscard]] bool Round(const Receiver& receive, const NoteReceiver& note);

    std::vector<std::unique_ptr<CFollowedFile>> m_Files;
    trace_reader::CCopyFilter m_Copies;
};

}  // namespace tools
