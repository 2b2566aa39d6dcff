// What environment and files come to: overrides, level, ring.
#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/error_text.h"
#include "tools/doctor/judge.h"
#include "trace/entry_format.h"
#include "trace/trace_settings.h"
#include "trace/weight_variable.h"

namespace doctor {

namespace {

constexpr char kWithoutEffect[] = "HX_LOG_FILE_DIR";
constexpr std::string_view kPrefix = "HX_LOG_";

bool IsWholeDecimal(std::string_view text) {
    std::uint32_t number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    return error == std::errc() && end == last;
}

struct Override {
    const char* Variable;
    const char* Key;  // "" for none
    bool IsNumber;
};

std::vector<Override> Overrides(const trace::WeightVariable& weight) {
    std::vector<Override> list{{trace::kDynamicUpdate.Variable, trace::kDynamicUpdate.Key, true},
                               {trace::kLogFileLimit.Variable, trace::kLogFileLimit.Key, true}};
    for (const trace::SettingName& name : trace::kApplicationSettings) {
        if (*name.Variable != '\0') {
            list.push_back({name.Variable, name.Key, name.Key != trace::kDirectory.Key});
        }
    }
    list.push_back({static_cast<const char*>(weight.Name), trace::kSizeWeight.Key, true});
    return list;
}

void JudgeOverride(const Override& variable, const std::string& value, CFindings& findings) {
    const std::string setting = std::string(variable.Variable) + "=" + value;
    if (variable.IsNumber && !IsWholeDecimal(value)) {
        findings.Warning("environment",
                         setting + " is no decimal number and reads as " +
                             std::to_string(static_cast<std::uint32_t>(
                                 std::strtoul(value.c_str(), nullptr, 10))),
                         "write a decimal number, or unset it");
    } else {
        findings.Ok("environment",
                    setting + (*variable.Key != '\0' ? std::string(" overrides ") + variable.Key
                                                     : std::string(" limits the log file")));
    }
}

// Of the variables that look like ours and are read by nobody.
void JudgeUnknown(const EnvironmentFacts& environment, const std::vector<Override>& known,
                  CFindings& findings) {
    for (const auto& [name, value] : environment.Variables) {
        const auto isIt = [&name = name](const Override& row) {
            return name == row.Variable;
        };
        if (name == kWithoutEffect) {
            findings.Warning("environment", name + " has no effect",
                             std::string("set ") + trace::kDirectory.Variable);
        } else if (name.starts_with(kPrefix) && std::none_of(known.begin(), known.end(), isIt) &&
                   !name.starts_with(trace::kSizeWeight.Variable)) {
            findings.Warning("environment", name + " is no variable of the trace",
                             "check its spelling in morla-trace.conf(5)");
        }
    }
}

std::string Megabytes(std::uint64_t bytes) {
    constexpr std::uint64_t kTenth = 1U << 20U;
    const std::uint64_t tenths = bytes * 10 / kTenth;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

}  // namespace

void JudgeEnvironment(const EnvironmentFacts& environment, const TracePlan& plan,
                      CFindings& findings) {
    findings.Ok("environment", "judged from " + environment.Source);
    if (!plan.IsEnvironmentRead) {
        findings.Warning("environment", "no trace variable is read, see trace-files",
                         "put a file into the configuration directory, or remove it");
        return;
    }
    const trace::WeightVariable weight("zentd");
    const std::vector<Override> known = Overrides(weight);
    for (const Override& variable : known) {
        if (const char* const value = environment.Find(variable.Variable)) {
            JudgeOverride(variable, value, findings);
        }
    }
    JudgeUnknown(environment, known, findings);
}

void JudgeLevel(const TracePlan& plan, CFindings& findings) {
    const std::string column = plan.HasMemoryColumn ? ", with the memory column" : "";
    if (plan.Level == 0) {
        findings.Ok("level", "0: tracing is off, what is always written goes to the log file");
    } else if (plan.Factor == 0 || plan.Weight == 0) {
        findings.Warning("level",
                         std::to_string(plan.Level) + ", but without a ring size nothing is traced",
                         std::string("set ") + trace::kSizeFactor.Key + " and " +
                             trace::kSizeWeight.Key + " to 1 or more");
    } else {
        findings.Ok("level", std::to_string(plan.Level) + column);
    }
}

void JudgeRing(const RingFacts& ring, const TracePlan& plan, CFindings& findings) {
    const std::uint32_t factor = std::min(plan.Factor, trace::kLargestRingFactor);
    const std::uint64_t size = trace::RingSize(ring.PageSize, factor, plan.Weight);
    const std::string directory = plan.Directory.empty() ? "/" : plan.Directory;
    if (plan.Level == 0 || size == 0) {
        findings.Ok("ring", "none is made");
        return;
    }
    if (factor != plan.Factor) {
        findings.Warning("ring",
                         "the size factor " + std::to_string(plan.Factor) + " is limited to 2",
                         "raise the weight instead");
    }
    // Both rings are there at the end of initialisation, until the first is compressed.
    const std::uint64_t needed = size * (trace::kInitRingFactor + 1);
    const std::string what = Megabytes(size) + " in " + directory + ", the start-up ring " +
                             Megabytes(size * trace::kInitRingFactor);
    if (ring.Error != 0) {
        findings.Warning("ring", what + "; free space unknown: " + CErrorText(ring.Error).Get(),
                         "see the trace directory above");
    } else if (ring.FreeBytes + ring.PresentBytes < needed) {
        findings.Error("ring", what + ", but only " + Megabytes(ring.FreeBytes) + " are free",
                       "make room, or lower the weight");
    } else {
        findings.Ok("ring", what + ", " + Megabytes(ring.FreeBytes) + " free");
    }
}

}  // namespace doctor
