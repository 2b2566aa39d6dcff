#include "trace_reader/trace_statistics.h"

#include <algorithm>

#include "trace_reader/time_argument.h"

namespace trace_reader {

namespace {

constexpr std::size_t kPausesMax = 3;

void NotePause(TraceStatistics& statistics, std::string_view from, std::int64_t milliseconds) {
    constexpr std::int64_t kPauseMin = 1000;
    if (milliseconds < kPauseMin) {
        return;
    }
    auto& pauses = statistics.Pauses;
    const auto place = std::find_if(pauses.begin(), pauses.end(), [&](const Pause& pause) {
        return pause.Milliseconds < milliseconds;
    });
    pauses.insert(place, {std::string(from), milliseconds});
    pauses.resize(std::min(pauses.size(), kPausesMax));
}

void NoteTime(TraceStatistics& statistics, const std::string& before, std::string_view time) {
    if (before.empty()) {
        statistics.First = statistics.Last = time;
        return;
    }
    if (before == time) {
        return;
    }
    statistics.StepsBack += time < before ? 1U : 0U;
    statistics.First = std::min<std::string_view>(statistics.First, time);
    statistics.Last = std::max<std::string_view>(statistics.Last, time);
    const auto from = Milliseconds(before);
    const auto to = Milliseconds(time);
    if (from && to) {
        NotePause(statistics, before, *to - *from);
    }
}

void FillTimeline(const TraceFile& file, TraceStatistics& statistics, std::size_t parts) {
    const auto first = Milliseconds(statistics.First);
    const auto last = Milliseconds(statistics.Last);
    if (!first || !last || parts == 0) {
        return;
    }
    statistics.Timeline.assign(parts, 0);
    const std::int64_t span = *last - *first + 1;
    CEntryReader entries = file.Entries();
    while (const Entry* const entry = entries.Next()) {
        const auto time = Milliseconds(entry->Header.Time);
        if (time && *time >= *first && *time <= *last) {
            const auto part = (*time - *first) * static_cast<std::int64_t>(parts) / span;
            ++statistics.Timeline[static_cast<std::size_t>(part)];
        }
    }
}

}  // namespace

double TraceStatistics::Seconds() const {
    constexpr double kPerSecond = 1000;
    const auto first = Milliseconds(First);
    const auto last = Milliseconds(Last);
    return first && last ? static_cast<double>(*last - *first) / kPerSecond : 0;
}

TraceStatistics CountEntries(const TraceFile& file, std::size_t timelineParts) {
    TraceStatistics statistics;
    std::string before;
    CEntryReader entries = file.Entries();
    while (const Entry* const entry = entries.Next()) {
        ++statistics.Entries;
        statistics.Bytes += entry->Bytes.size();
        ++statistics.Sources[std::string(entry->Header.Source)];
        ++statistics.Threads[std::string(entry->Header.Thread)];
        // The begin entry of a ring stays when everything of its time has been overwritten.
        const bool isLeftOver = file.IsRing && file.Ring.IsWrapped && file.Ring.Begin &&
                                entry->Offset == file.Ring.Begin->Offset;
        if (IsReadableTime(entry->Header.Time) && !isLeftOver) {
            NoteTime(statistics, before, entry->Header.Time);
            before = entry->Header.Time;
        }
    }
    FillTimeline(file, statistics, timelineParts);
    return statistics;
}

}  // namespace trace_reader
