// What a section of a trace configuration file says beside what its author meant (pure).
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "trace/trace_settings.h"

namespace doctor {

struct SectionProblem {
    std::string What;
    std::string Cure;
};

// `names`: the keys that are looked for in this section. The problems are those of the reading
// rules: a key is found anywhere, an empty value takes the next line, long values are cut, what is
// no number reads as one all the same, and other names are read by nobody.
[[nodiscard]] std::vector<SectionProblem> FindSectionProblems(
    std::string_view section, std::span<const trace::SettingName> names);

// "FileDebugLevel=3, RingBufferSizeFactor=1": what the section's keys are read as.
[[nodiscard]] std::string ShowSettings(std::string_view section,
                                       std::span<const trace::SettingName> names);

}  // namespace doctor
