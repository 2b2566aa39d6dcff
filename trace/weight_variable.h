// The name of the variable that sets one application's ring weight.
#pragma once

#include "trace/debug.h"

namespace trace {

// "HX_LOG_RINGBUF_WEIGHT_" and the application's name in upper case, cut at 47 characters.
struct WeightVariable {
    explicit WeightVariable(const char* applName) {
        CDebug::BuildAppVarName(static_cast<char*>(Name), sizeof Name, applName);
    }
    char Name[48] = "HX_LOG_RINGBUF_WEIGHT";
};

}  // namespace trace
