// The trace configuration files: which are read, which are not, and why.
#include <array>
#include <cerrno>
#include <optional>
#include <span>
#include <string_view>

#include "base/error_text.h"
#include "base/paths.h"
#include "tools/doctor/judge.h"
#include "tools/doctor/trace_section.h"
#include "trace/trace_config_text.h"
#include "trace/trace_settings.h"
#include "trace/weight_variable.h"

namespace doctor {

namespace {

constexpr char kCheck[] = "trace-files";
constexpr char kApplication[] = "zentd";
constexpr std::uint32_t kDefaultLogFileLimit = 51200;
constexpr std::array kGlobalSettings{trace::kDynamicUpdate};

// The section that the daemon takes from this file, if any.
std::optional<std::string_view> SectionOf(const TraceFileFacts& file, const char* section) {
    return file.Error == 0 ? trace::FindSection(file.Text, section) : std::nullopt;
}

const TraceFileFacts* FindApplicationFile(const TraceConfigFacts& config) {
    for (const TraceFileFacts& file : config.Files) {
        if (SectionOf(file, kApplication)) {
            return &file;
        }
    }
    return nullptr;
}

const TraceFileFacts* FindGlobalFile(const TraceConfigFacts& config) {
    for (const TraceFileFacts& file : config.Files) {
        if (file.Name == trace::kGlobalFile) {
            return &file;
        }
    }
    return nullptr;
}

void JudgeSection(const TraceFileFacts& file, const char* name,
                  std::span<const trace::SettingName> settings, CFindings& findings) {
    const std::string_view section = SectionOf(file, name).value_or(std::string_view());
    findings.Ok(kCheck, file.Name + " [" + name + "] is read: " + ShowSettings(section, settings));
    for (const SectionProblem& problem : FindSectionProblems(section, settings)) {
        findings.Warning(kCheck, file.Name + ": " + problem.What, problem.Cure);
    }
}

// Why a file is not read at all; empty: it is one, with an end.
std::string Unreadable(const TraceFileFacts& file) {
    if (file.Error != 0) {
        return CErrorText(file.Error).Get();
    }
    return trace::CutAtEndSection(file.Text) ? "" : "[EndOfFile] is not its last section";
}

void JudgeFile(const TraceFileFacts& file, const TraceFileFacts* application, CFindings& findings) {
    const std::string path = std::string(paths::kTraceConfigDirectory) + "/" + file.Name;
    if (const std::string writers = WritersBesideRoot(file.Status);
        file.Status.IsThere() && !writers.empty()) {
        findings.Error(kCheck, file.Name + " " + writers,
                       "chown root " + path + "; chmod go-w " + path);
    }
    const bool isGlobal = file.Name == trace::kGlobalFile;
    if (const std::string why = Unreadable(file); !why.empty()) {
        findings.Warning(kCheck, file.Name + " is ignored: " + why,
                         file.Error != 0 ? "make it readable for root, or remove it"
                                         : "add the line [EndOfFile] at its end");
        return;
    }
    if (isGlobal && SectionOf(file, trace::kGlobalSection)) {
        JudgeSection(file, trace::kGlobalSection, kGlobalSettings, findings);
    } else if (isGlobal && &file != application) {
        findings.Warning(
            kCheck, file.Name + " is ignored: it has no section [" + trace::kGlobalSection + "]",
            "add the section, or remove the file");
    }
    if (&file == application) {
        JudgeSection(file, kApplication, trace::kApplicationSettings, findings);
    } else if (SectionOf(file, kApplication)) {
        findings.Warning(
            kCheck,
            file.Name + " is ignored: the section [zentd] of " + application->Name + " comes first",
            "remove one of the two sections");
    }
}

trace::FileSettings ReadFileSettings(const TraceConfigFacts& config) {
    trace::FileSettings settings;
    if (const TraceFileFacts* const file = FindGlobalFile(config)) {
        if (const auto section = SectionOf(*file, trace::kGlobalSection)) {
            settings.DynamicUpdate = trace::FindNumber(*section, trace::kDynamicUpdate.Key)
                                         .value_or(trace::kSettingUnset);
        }
    }
    const TraceFileFacts* const file = FindApplicationFile(config);
    if (file == nullptr) {
        return settings;
    }
    const std::string_view section = *SectionOf(*file, kApplication);
    const auto number = [section](const trace::SettingName& name) {
        return trace::FindNumber(section, name.Key).value_or(trace::kSettingUnset);
    };
    settings.Level = number(trace::kDebugLevel);
    settings.Factor = number(trace::kSizeFactor);
    settings.Weight = number(trace::kSizeWeight);
    settings.NoHeader = number(trace::kNoHeader);
    settings.Directory =
        trace::FindValue(section, trace::kDirectory.Key, trace::kDirectoryLimit - 1)
            .value_or(std::string_view());
    return settings;
}

bool ReadMemoryColumn(const TraceConfigFacts& config) {
    const TraceFileFacts* const file = FindApplicationFile(config);
    return file == nullptr ||
           trace::FindNumber(*SectionOf(*file, kApplication), trace::kMemoryColumn.Key) != 0U;
}

}  // namespace

TracePlan PlanTrace(const Facts& facts) {
    TracePlan plan;
    if (facts.TraceConfig.Error == 0 && facts.TraceConfig.Files.empty()) {
        plan.IsEnvironmentRead = false;
        plan.HasMemoryColumn = false;
        plan.LogFileLimit = kDefaultLogFileLimit;
        return plan;
    }
    const auto find = [&facts](const char* name) {
        return facts.Environment.Find(name);
    };
    const trace::Settings settings =
        trace::SettingsInForce(ReadFileSettings(facts.TraceConfig), kDefaultLogFileLimit, find);
    plan.HasMemoryColumn = ReadMemoryColumn(facts.TraceConfig);
    plan.DynamicUpdate = settings.DynamicUpdate;
    plan.LogFileLimit = settings.LogFileLimit;
    plan.Level = settings.Level;
    plan.Factor = settings.Factor;
    plan.Weight =
        trace::VariableOr(find, trace::WeightVariable(kApplication).Name, settings.Weight);
    plan.Directory = settings.Directory;
    return plan;
}

void JudgeTraceConfig(const TraceConfigFacts& config, std::int64_t daemonStart,
                      CFindings& findings) {
    if (config.Error == ENOENT) {
        findings.Ok(kCheck, "no configuration files: defaults and environment variables hold");
        return;
    }
    if (config.Error != 0) {
        findings.Warning(
            kCheck,
            std::string(paths::kTraceConfigDirectory) + ": " + CErrorText(config.Error).Get(),
            "run it as root");
        return;
    }
    if (config.Files.empty()) {
        findings.Warning(kCheck,
                         std::string(paths::kTraceConfigDirectory) +
                             " holds no .ini file: environment variables are ignored too, and the "
                             "log file is /log.zentd",
                         "put a file there, or remove the directory");
        return;
    }
    const TraceFileFacts* const application = FindApplicationFile(config);
    for (const TraceFileFacts& file : config.Files) {
        JudgeFile(file, application, findings);
        if (daemonStart != 0 && file.Status.Modified > daemonStart) {
            findings.Warning(kCheck,
                             file.Name +
                                 " was changed after the daemon's start: what stands here "
                                 "is for the next one, save what DynamicUpdate reads again",
                             "restart the daemon");
        }
    }
    if (application == nullptr) {
        findings.Warning(kCheck,
                         "no file has a section [zentd]: only defaults and environment hold",
                         "add the section to a file, and [EndOfFile] behind it");
    }
}

}  // namespace doctor
