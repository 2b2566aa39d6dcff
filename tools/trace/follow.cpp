#include "tools/trace/follow.h"

#include <cerrno>

#include "base/error_text.h"
#include "tools/command.h"
#include "tools/trace/end_request.h"
#include "tools/trace/sources.h"
#include "trace_reader/trace_directory.h"

namespace tools {

using trace_reader::CLogFollower;
using trace_reader::CRingFollower;
using trace_reader::CTraceFileBytes;
using trace_reader::Entry;
using trace_reader::TraceFile;

namespace {

constexpr int kLastRounds = 20;   // to the newest entry, where a writer never pauses
constexpr int kLookEveryMs = 50;  // what is written through a mapping raises no event

// Offsets do not live on in a copy; everything else does.
Entry EntryOf(std::string_view bytes) {
    Entry entry;
    entry.Bytes = bytes;
    entry.Header = trace_reader::ParseEntryHeader(bytes).value_or(trace_reader::EntryHeader());
    return entry;
}

// The file with the oldest entry, of those from `next` on.
std::optional<std::size_t> FileOfOldest(const std::vector<CFollowedFile::News>& news,
                                        const std::vector<std::size_t>& next) {
    std::optional<std::size_t> oldest;
    std::string_view time;
    for (std::size_t i = 0; i < news.size(); ++i) {
        if (next[i] < news[i].Entries.size()) {
            const std::string_view own =
                std::string_view(news[i].Entries[next[i]]).substr(0, trace_reader::kTimeLength);
            if (!oldest || own < time) {
                oldest = i;
                time = own;
            }
        }
    }
    return oldest;
}

}  // namespace

std::vector<std::string> FollowedTraceFiles(const std::vector<std::string>& names) {
    std::vector<std::string> searched = names;
    if (searched.empty()) {
        searched.push_back(trace_reader::FindTraceDirectory(kTracedApplication));
    }
    std::vector<std::string> paths;
    for (const std::string& name : searched) {
        struct stat status {};
        const bool isThere = stat(name.c_str(), &status) == 0;
        if ((isThere && S_ISDIR(status.st_mode)) || names.empty()) {
            const auto found = trace_reader::PathsIn(name, kTracedApplication);
            paths.insert(paths.end(), {found.StartUpRing, found.ActiveRing, found.Log});
        } else {
            paths.push_back(name);
        }
    }
    return paths;
}

bool CFollowedFile::Open() {
    m_Ring.reset();
    m_Log.reset();
    m_Bytes = std::make_shared<CTraceFileBytes>();
    const int error = m_Bytes->Open(m_Path);
    if (error != 0) {
        m_Bytes.reset();
    }
    // One that is not there yet is waited for in silence; of another it is said once.
    if (error != 0 && error != ENOENT && error != m_ToldError) {
        Warn("waiting for " + m_Path + ": " + CErrorText(error).Get());
    }
    m_ToldError = error;
    return error == 0;
}

bool CFollowedFile::IsReplaced() const {
    struct stat now {};
    const struct stat open = m_Bytes->Status();
    return stat(m_Path.c_str(), &now) != 0 || now.st_ino != open.st_ino ||
           now.st_dev != open.st_dev;
}

void CFollowedFile::Begin(CRingFollower::From from) {
    if (m_Bytes->Size() == 0) {
        return;  // nothing yet tells what it will be
    }
    if (trace_reader::LooksLikeRing(*m_Bytes)) {
        m_Ring.emplace(*m_Bytes, from);
    } else {
        m_Log.emplace(*m_Bytes);
    }
}

bool CFollowedFile::StartBehind(TraceFile& file) {
    if (!Open()) {
        return false;
    }
    Begin(CRingFollower::From::kNewest);
    if (m_Ring) {
        file.IsRing = true;
        bool isStarted = false;
        constexpr int kTries = 20;  // a writer is in the middle of something for a moment only
        for (int i = 0; i < kTries && !isStarted; ++i) {
            isStarted = m_Ring->Start(&file.Ring);
        }
        file.Regions = isStarted ? RingRegions(file.Ring) : std::vector<trace_reader::Region>();
    } else if (m_Log) {
        file.Log = trace_reader::FindLogLayout(*m_Bytes);
        file.Regions = LogRegions(file.Log);
        file.Bytes = m_Bytes;
        m_Log->StartBehind(file);
    }
    file.Bytes = m_Bytes;
    file.Path = m_Path;
    return true;
}

void CFollowedFile::TakeFromRing(News& news) {
    const auto keep = [&news](const Entry& entry) {
        news.Entries.emplace_back(entry.Bytes);
    };
    switch (m_Ring->Look(keep)) {
    case CRingFollower::Result::kLost:
        news.Note = "at least " + std::to_string((m_Ring->LostBytes() + 1023) / 1024) +
                    " KB lost: overwritten before they could be read";
        break;
    case CRingFollower::Result::kOtherRing: news.Note = "begun anew"; break;
    case CRingFollower::Result::kEntries:
    case CRingFollower::Result::kNothing: break;
    }
}

void CFollowedFile::Take(News& news) {
    if (m_Ring) {
        TakeFromRing(news);
    } else if (m_Log) {
        const auto keep = [&news](const Entry& entry) {
            news.Entries.emplace_back(entry.Bytes);
        };
        if (m_Log->Look(keep) == CLogFollower::Result::kLost) {
            news.Note = "begun anew, or overwritten before it could be read";
        }
    }
}

CFollowedFile::News CFollowedFile::Look() {
    News news;
    if (m_Bytes == nullptr && !Open()) {
        return news;
    }
    if (!m_Ring && !m_Log) {
        Begin(CRingFollower::From::kOldest);
    }
    const bool isReplaced = IsReplaced();
    Take(news);
    if (isReplaced && news.Entries.empty() && news.Note.empty()) {
        m_Bytes.reset();  // read to its end
        m_Ring.reset();
        m_Log.reset();
    }
    return news;
}

CTraceFollower::CTraceFollower(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        m_Files.push_back(std::make_unique<CFollowedFile>(path));
    }
}

std::vector<TraceFile> CTraceFollower::Start() {
    std::vector<TraceFile> files;
    for (const auto& followed : m_Files) {
        TraceFile file;
        if (followed->StartBehind(file)) {
            files.push_back(std::move(file));
        }
    }
    return files;
}

// Log files are looked at first: the ring then has the originals of what they copy.
std::vector<CFollowedFile::News> CTraceFollower::LookAtAll() {
    std::vector<CFollowedFile::News> news(m_Files.size());
    std::vector<bool> isDone(m_Files.size(), false);
    for (const bool isRing : {false, true}) {
        for (std::size_t i = 0; i < m_Files.size(); ++i) {
            if (!isDone[i] && m_Files[i]->IsRing() == isRing) {
                news[i] = m_Files[i]->Look();
                isDone[i] = true;
            }
        }
    }
    return news;
}

// False when there was nothing new.
bool CTraceFollower::Round(const Receiver& receive, const NoteReceiver& note) {
    const std::vector<CFollowedFile::News> news = LookAtAll();
    bool isNew = false;
    for (std::size_t i = 0; i < news.size(); ++i) {
        if (!news[i].Note.empty()) {
            note(news[i].Note, m_Files[i]->Path());
            isNew = true;
        }
    }
    std::vector<std::size_t> next(m_Files.size(), 0);
    for (auto file = FileOfOldest(news, next); file; file = FileOfOldest(news, next)) {
        isNew = true;
        const Entry entry = EntryOf(news[*file].Entries[next[*file]++]);
        if (m_Files[*file]->IsRing()) {
            m_Copies.AddFromRing(entry);
        } else if (m_Copies.IsCopy(entry)) {
            continue;
        }
        receive(entry, m_Files[*file]->Path());
    }
    return isNew;
}

void CTraceFollower::Run(const Receiver& receive, const NoteReceiver& note,
                         const std::function<bool()>& isEnough, CTraceOutput& output) {
    int lastRounds = kLastRounds;
    while (!output.IsOver() && lastRounds > 0) {
        // Asked first: what was written until then is shown.
        const bool isLast = isEnough();
        const bool isNew = Round(receive, note);
        {
            const CEndableWrite write;
            output.Flush();
        }
        lastRounds = isLast ? (isNew ? lastRounds - 1 : 0) : lastRounds;
        output.Wait(isNew || isLast ? 0 : kLookEveryMs);
    }
}

}  // namespace tools
