#include "tools/trace/show.h"

#include <cstdlib>
#include <ctime>

#include "base/error_text.h"
#include "base/text_safety.h"
#include "tools/command.h"
#include "tools/trace/end_request.h"
#include "tools/trace/follow.h"
#include "tools/trace/output.h"
#include "tools/trace/selection.h"
#include "tools/trace/sources.h"
#include "tools/trace/text.h"
#include "trace_reader/header_settings.h"
#include "trace_reader/merge.h"
#include "trace_reader/time_argument.h"

namespace tools {

using trace_reader::CEntryReader;
using trace_reader::CMerge;
using trace_reader::Entry;
using trace_reader::TimeArgument;
using trace_reader::TraceFile;

namespace {

constexpr std::size_t kLastWhenFollowing = 10;

// When the program was started that wrote the newest of these: a log file is emptied at every
// start, and the start-up ring made anew.
std::string StartOf(const std::vector<TraceFile>& files) {
    std::string start;
    for (const TraceFile& file : files) {
        CEntryReader entries = file.Entries();
        const Entry* const first = entries.Next();
        const bool isOfStart = !file.IsRing || file.Path.find("_i") != std::string::npos;
        if (first != nullptr && (isOfStart || start.empty())) {
            start = std::max<std::string>(start, std::string(first->Header.Time));
        }
    }
    return start;
}

int CheckTime(const std::string& option, const std::string& text) {
    if (text.empty() || trace_reader::ParseTimeArgument(text, std::time(nullptr))) {
        return kSuccess;
    }
    return Fail(kUsage, option + ": \"" + text +
                            "\" is no time, such as \"2024-03-07 14:05\", 14:05, \"10 min ago\", "
                            "today, boot, start");
}

// The limit of a time that was checked; empty without one.
std::string ResolveTime(const std::string& text, const std::vector<TraceFile>& files) {
    const auto time = trace_reader::ParseTimeArgument(text, std::time(nullptr));
    if (!time) {
        return {};
    }
    switch (time->What) {
    case TimeArgument::Kind::kBoot: return trace_reader::LocalTimeText(trace_reader::BootTime());
    case TimeArgument::Kind::kStart: return StartOf(files);
    case TimeArgument::Kind::kTime: break;
    }
    return time->Text;
}

// Everything but the times, which are only checked. 0, else the exit code of wrong usage.
int Select(const TraceShowArguments& arguments, CTraceSelection& selection) {
    for (const std::string& thread : arguments.Threads) {
        selection.Threads.push_back(ThreadText(thread));
        if (selection.Threads.back().empty()) {
            return Fail(kUsage, "--thread: \"" + thread + "\" is no hexadecimal number");
        }
    }
    selection.Sources = arguments.Sources;
    if (!arguments.Pattern.empty()) {
        if (const std::string why = selection.Pattern.Compile(arguments.Pattern); !why.empty()) {
            return Fail(kUsage, "--grep: " + why);
        }
    }
    const int code = CheckTime("--since", arguments.Since);
    return code != kSuccess ? code : CheckTime("--until", arguments.Until);
}

void SelectTimes(const TraceShowArguments& arguments, const std::vector<TraceFile>& files,
                 CTraceSelection& selection) {
    selection.Since = ResolveTime(arguments.Since, files);
    selection.Until = ResolveTime(arguments.Until, files);
}

TraceStyle StyleFor(const TraceShowArguments& arguments, bool isTerminal) {
    // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    // NOLINTEND(concurrency-mt-unsafe)
    const bool isPlain = (noColour != nullptr && *noColour != '\0') ||
                         (terminal != nullptr && std::string(terminal) == "dumb");
    TraceStyle style;
    style.AsJson = arguments.AsJson;
    style.IsRaw = arguments.IsRaw;
    style.IsColoured =
        arguments.Colour == "always" || (arguments.Colour == "auto" && isTerminal && !isPlain);
    return style;
}

// Where to read a file from, if only the last entries of all are wanted: far enough back for a ring
// to hold whatever a log file has copied of it.
CEntryReader::Place FirstPlace(const TraceFile& file, const CTraceSelection& selection,
                               std::size_t last, std::size_t context) {
    if (last == 0) {
        return {};
    }
    std::size_t matches = 0;
    std::size_t neighbours = 0;
    std::int64_t oldestMatch = 0;
    return trace_reader::FindPlaceBack(*file.Bytes, file.Regions, [&](const Entry& entry) {
        const bool isInRange = selection.IsInRange(entry);
        const auto time = trace_reader::Milliseconds(entry.Header.Time);
        if (matches >= last) {
            neighbours += isInRange ? 1U : 0U;
        } else if (isInRange && selection.IsMatch(entry)) {
            ++matches;
            oldestMatch = time.value_or(0);
        }
        return matches >= last && neighbours >= context &&
               time.value_or(0) < oldestMatch - trace_reader::kCopyMilliseconds;
    });
}

void PrintEntries(const TraceShowArguments& arguments, const std::vector<TraceFile>& files,
                  const CTraceSelection& selection, const TraceStyle& style, CTraceOutput& output) {
    CMerge merge;
    for (const TraceFile& file : files) {
        merge.Add(CEntryReader(*file.Bytes, file.Regions,
                               FirstPlace(file, selection, arguments.Last, arguments.Context)),
                  file.IsRing);
    }
    CContext context(arguments.Context, arguments.Last,
                     [&output](const std::string& text) { output.Write(text); });
    for (auto item = merge.Next(); item.Record != nullptr && !output.IsOver();
         item = merge.Next()) {
        if (!selection.IsInRange(*item.Record)) {
            continue;
        }
        const bool isMatch = selection.IsMatch(*item.Record);
        if (isMatch || arguments.Context > 0) {
            context.Add(FormatTraceEntry(*item.Record, files[item.Source].Path, style), isMatch);
        }
    }
    context.Finish();
    for (std::size_t number = 0; number < files.size(); ++number) {
        if (const std::uint64_t lost = merge.LostBytes(number); lost != 0) {
            Warn(files[number].Path + ": " + std::to_string((lost + 1023) / 1024) +
                 " KB were overwritten while they were read");
        }
    }
}

using Sections = std::vector<trace_reader::HeaderSection>;

void PrintHeader(const std::string& path, const Sections& sections) {
    constexpr std::size_t kNameWidth = 32;
    PrintLine(path + (sections.empty() ? ": no log header" : ""));
    for (const auto& section : sections) {
        PrintLine("  " + section.Title);
        for (const auto& [name, value] : section.Settings) {
            std::string line = "    " + name;
            line.resize(std::max(kNameWidth, line.size() + 1), ' ');
            PrintLine(line + value);
        }
    }
}

void PrintHeaderJson(const std::string& path, const Sections& sections) {
    json_text::Json json;
    SetTraceText(json, "file", path);
    for (const auto& section : sections) {
        json_text::Json settings = json_text::Json::object();
        for (const auto& [name, value] : section.Settings) {
            SetTraceText(settings, text::ReplaceMalformed(name), value);
        }
        json[section.Title] = std::move(settings);
    }
    PrintLine(json.dump(-1, ' ', true));
}

int ShowFiles(const TraceShowArguments& arguments, CTraceSelection& selection,
              const std::vector<std::string>& paths) {
    std::vector<TraceFile> files;
    const int opened = OpenTraceFiles(paths, files);
    if (files.empty()) {
        return opened;
    }
    SelectTimes(arguments, files, selection);
    if (arguments.WantsHeader) {
        for (const TraceFile& file : files) {
            (arguments.AsJson ? PrintHeaderJson : PrintHeader)(
                file.Path, trace_reader::ReadHeaderSettings(file));
        }
        return TellReadErrors(files, opened);
    }
    CTraceOutput output;
    const TraceStyle style = StyleFor(arguments, output.IsTerminal());
    if (!arguments.HasNoPager) {
        output.StartPager();
    }
    PrintEntries(arguments, files, selection, style, output);
    output.Flush();
    for (const TraceFile& file : files) {
        if (file.Entries().Next() == nullptr) {
            Warn(file.Path + ": no entry in it; is it a trace?");
        }
    }
    const int code = TellReadErrors(files, opened);
    return output.Error() == 0 ? code
                               : Fail(kFailure, std::string("cannot write the entries: ") +
                                                    CErrorText(output.Error()).Get());
}

// Whether no entry that is still to come is wanted.
bool HasPassed(const std::string& until) {
    return !until.empty() && trace_reader::LocalTimeText(std::time(nullptr)) > until;
}

// The files may still be to come.
int FollowFiles(const TraceShowArguments& arguments, CTraceSelection& selection,
                const std::vector<std::string>& paths) {
    CTraceOutput output;
    const TraceStyle style = StyleFor(arguments, output.IsTerminal());
    TakeEndRequests();
    CTraceFollower follower(paths);
    const std::vector<TraceFile> files = follower.Start();
    SelectTimes(arguments, files, selection);
    TraceShowArguments first = arguments;
    const std::size_t lastByDefault = arguments.Since.empty() ? kLastWhenFollowing : 0;
    first.Last = arguments.Last != 0 ? arguments.Last : lastByDefault;
    PrintEntries(first, files, selection, style, output);
    CContext context(arguments.Context, 0,
                     [&output](const std::string& text) { output.Write(text); });
    follower.Run(
        [&](const Entry& entry, const std::string& path) {
            if (selection.IsInRange(entry)) {
                const bool isMatch = selection.IsMatch(entry);
                if (isMatch || arguments.Context > 0) {
                    context.Add(FormatTraceEntry(entry, path, style), isMatch);
                }
            }
        },
        [&](const std::string& note, const std::string& path) {
            output.Write(FormatTraceNote(note, path, style));
        },
        [&selection] { return IsEndRequested() || HasPassed(selection.Until); }, output);
    return output.Error() == 0 ? kSuccess : kFailure;
}

}  // namespace

int ShowTrace(const TraceShowArguments& arguments) {
    CTraceSelection selection;
    if (const int code = Select(arguments, selection); code != kSuccess) {
        return code;
    }
    if (arguments.IsFollowing) {
        return FollowFiles(arguments, selection, FollowedTraceFiles(arguments.Files));
    }
    std::vector<std::string> paths;
    const int code = FindTraceFiles(arguments.Files, paths);
    return code != kSuccess ? code : ShowFiles(arguments, selection, paths);
}

}  // namespace tools
