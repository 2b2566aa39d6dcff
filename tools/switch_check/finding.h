// What the check of a switch library found out, one record for each thing that it looked at.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/verdict.h"

namespace switch_check {

using tools::Verdict;

struct Finding {
    std::string Check;  // one word: "file", "needs", "symbol", ...
    Verdict Judgement = Verdict::kOk;
    std::string What;  // one line; may hold bytes of the library as they are
};
using Findings = std::vector<Finding>;

// --- What the probe, which loads the library, tells the process that judges it: lines ---

// The descriptor that the probe writes to.
inline constexpr int kReportFd = 3;
// What the probe is about to do stands behind this word; what ends it meanwhile is known by that.
inline constexpr std::string_view kStep = "step";
// The last step, after which the probe ends by itself with status 0.
inline constexpr std::string_view kLastStep = "the end of the process";
// Between the parts of a line: the judgement, the check and what was found, or kStep and the step.
inline constexpr char kSeparator = '\t';

}  // namespace switch_check
