#include "tools/trace/report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/text_safety.h"
#include "tools/command.h"
#include "tools/trace/text.h"
#include "trace_reader/time_argument.h"
#include "trace_reader/trace_check.h"
#include "trace_reader/trace_statistics.h"

namespace tools {

using json_text::Json;
using trace_reader::Finding;
using trace_reader::TraceFile;
using trace_reader::TraceStatistics;

namespace {

constexpr std::size_t kTimelineParts = 20;
constexpr std::size_t kNamesShown = 12;
using Counts = std::vector<std::pair<std::string, std::uint64_t>>;

std::string Fixed(double number, int decimals) {
    char text[64];
    (void)std::snprintf(static_cast<char*>(text), sizeof text, "%.*f", decimals, number);
    return static_cast<char*>(text);
}

std::string KindOf(const TraceFile& file) {
    return std::string(file.IsPacked ? "packed " : "") + (file.IsRing ? "ring" : "log file");
}

// The most frequent first.
Counts Sorted(const std::map<std::string, std::uint64_t>& counts) {
    Counts sorted(counts.begin(), counts.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
        return left.second > right.second;
    });
    return sorted;
}

void PrintCounts(const std::string& what, const std::map<std::string, std::uint64_t>& counts) {
    const Counts sorted = Sorted(counts);
    PrintLine("  " + what + ": " + std::to_string(sorted.size()));
    for (std::size_t i = 0; i < std::min(sorted.size(), kNamesShown); ++i) {
        std::string number = std::to_string(sorted[i].second);
        number.insert(0, number.size() < 12 ? 12 - number.size() : 0, ' ');
        PrintLine(number + "  " + (sorted[i].first.empty() ? "(none)" : sorted[i].first));
    }
    if (sorted.size() > kNamesShown) {
        PrintLine("              and " + std::to_string(sorted.size() - kNamesShown) + " more");
    }
}

std::string WrapText(const TraceFile& file) {
    if (!file.IsRing) {
        return file.Log.Wrap ? std::to_string(file.Log.Wrap->Cycle) : "0";
    }
    return file.Ring.IsWrapped ? "at least 1" : "0";
}

// The time of day, with milliseconds where rows are less than a second apart.
std::string ClockText(std::int64_t milliseconds, bool isFine) {
    constexpr std::int64_t kDay = 86'400'000;
    const auto time = static_cast<int>(milliseconds % kDay);
    char text[32];
    (void)std::snprintf(static_cast<char*>(text), sizeof text, "%02d:%02d:%02d.%03d",
                        time / 3'600'000, time / 60'000 % 60, time / 1000 % 60, time % 1000);
    return {static_cast<char*>(text), isFine ? 12U : 8U};
}

void PrintTimeline(const TraceStatistics& statistics) {
    constexpr std::uint64_t kBarWidth = 50;
    const std::uint64_t most =
        *std::max_element(statistics.Timeline.begin(), statistics.Timeline.end());
    const auto first = trace_reader::Milliseconds(statistics.First).value_or(0);
    const double row = statistics.Seconds() / static_cast<double>(statistics.Timeline.size());
    PrintLine("  entries over time (a row is " + Fixed(row, 3) + " s)");
    for (std::size_t i = 0; i < statistics.Timeline.size(); ++i) {
        const std::uint64_t count = statistics.Timeline[i];
        const std::size_t width = most == 0 ? 0 : (count * kBarWidth + most - 1) / most;
        std::string number = std::to_string(count);
        number.insert(0, number.size() < 9 ? 9 - number.size() : 0, ' ');
        const auto begin = static_cast<std::int64_t>(row * 1000 * static_cast<double>(i));
        PrintLine("  " + ClockText(first + begin, row < 1) + number + (width != 0 ? " " : "") +
                  std::string(width, '#'));
    }
}

void PrintStatistics(const TraceFile& file, const TraceStatistics& statistics, bool withChart) {
    const double seconds = statistics.Seconds();
    PrintLine(file.Path + ": " + KindOf(file) + ", " + std::to_string(file.Bytes->Size()) +
              " bytes");
    PrintLine("  entries: " + std::to_string(statistics.Entries) + ", " +
              std::to_string(statistics.Bytes) + " bytes; wraps: " + WrapText(file));
    if (statistics.First.empty()) {
        return;
    }
    PrintLine("  from " + statistics.First + " to " + statistics.Last + ", " + Fixed(seconds, 3) +
              " s" +
              (seconds > 0 ? "; " + Fixed(static_cast<double>(statistics.Entries) / seconds, 1) +
                                 " entries a second"
                           : ""));
    for (const auto& pause : statistics.Pauses) {
        PrintLine("  nothing for " + Fixed(static_cast<double>(pause.Milliseconds) / 1000, 3) +
                  " s from " + pause.From);
    }
    if (statistics.StepsBack != 0) {
        PrintLine("  the time goes back " + std::to_string(statistics.StepsBack) + " times");
    }
    PrintCounts("sources", statistics.Sources);
    PrintCounts("threads", statistics.Threads);
    if (withChart && seconds > 0 && !statistics.Timeline.empty()) {
        PrintTimeline(statistics);
    }
}

Json CountsJson(const std::map<std::string, std::uint64_t>& counts) {
    Json list = Json::array();
    for (const auto& [name, count] : Sorted(counts)) {
        Json item;
        SetTraceText(item, "name", name);
        item["entries"] = count;
        list.push_back(std::move(item));
    }
    return list;
}

Json StatisticsJson(const TraceFile& file, const TraceStatistics& statistics) {
    Json json;
    SetTraceText(json, "file", file.Path);
    json["kind"] = KindOf(file);
    json["size"] = file.Bytes->Size();
    json["entries"] = statistics.Entries;
    json["bytes"] = statistics.Bytes;
    json["first"] = statistics.First.empty() ? Json() : Json(statistics.First);
    json["last"] = statistics.Last.empty() ? Json() : Json(statistics.Last);
    json["seconds"] = statistics.Seconds();
    if (file.IsRing) {
        json["has_wrapped"] = file.Ring.IsWrapped;  // how often is nowhere
    } else {
        json["wraps"] = file.Log.Wrap ? file.Log.Wrap->Cycle : 0;
    }
    json["steps_back"] = statistics.StepsBack;
    json["pauses"] = Json::array();
    for (const auto& pause : statistics.Pauses) {
        json["pauses"].push_back({{"from", pause.From}, {"milliseconds", pause.Milliseconds}});
    }
    json["sources"] = CountsJson(statistics.Sources);
    json["threads"] = CountsJson(statistics.Threads);
    json["timeline"] = statistics.Timeline;
    return json;
}

std::string KindOf(const Finding& finding) {
    return finding.IsDamage ? "damage" : "note";
}

void PrintDamage(const TraceFile& file, const std::vector<Finding>& findings, bool isDamaged) {
    for (const Finding& finding : findings) {
        PrintLine(file.Path + ": " + KindOf(finding) + " at offset " +
                  std::to_string(finding.Offset) + ": " + finding.What);
    }
    PrintLine(file.Path + ": " + KindOf(file) + (isDamaged ? ", damaged" : ", intact"));
}

void PrintDamageJson(const TraceFile& file, const std::vector<Finding>& findings, bool isDamaged) {
    Json json;
    SetTraceText(json, "file", file.Path);
    json["findings"] = Json::array();
    for (const Finding& finding : findings) {
        json["findings"].push_back({{"kind", KindOf(finding)},
                                    {"offset", finding.Offset},
                                    {"what", text::ReplaceMalformed(finding.What)}});
    }
    json["intact"] = !isDamaged;
    PrintLine(json.dump(-1, ' ', true));
}

}  // namespace

int ReportTraceStatistics(const std::vector<TraceFile>& files, bool asJson) {
    const bool withChart = isatty(STDOUT_FILENO) != 0;
    for (const TraceFile& file : files) {
        const TraceStatistics statistics = trace_reader::CountEntries(file, kTimelineParts);
        if (statistics.Entries == 0) {
            Warn(file.Path + ": no entry in it; is it a trace?");
        }
        if (asJson) {
            PrintLine(StatisticsJson(file, statistics).dump(-1, ' ', true));
        } else {
            PrintStatistics(file, statistics, withChart);
        }
    }
    return kSuccess;
}

int ReportTraceDamage(const std::vector<TraceFile>& files, bool asJson) {
    int code = kSuccess;
    for (const TraceFile& file : files) {
        const auto findings = trace_reader::CheckTraceFile(file);
        const bool isDamaged = std::any_of(findings.begin(), findings.end(),
                                           [](const auto& finding) { return finding.IsDamage; });
        (asJson ? PrintDamageJson : PrintDamage)(file, findings, isDamaged);
        code = isDamaged ? static_cast<int>(kFailure) : code;
    }
    return code == kSuccess ? code : Fail(kFailure, "damage was found");
}

}  // namespace tools
