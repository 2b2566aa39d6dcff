// The three judgements of what morlactl checks, and their words.
#pragma once

#include <cstdint>

namespace tools {

enum class Verdict : std::uint8_t { kOk, kWarning, kError };

[[nodiscard]] inline const char* Word(Verdict verdict) {
    switch (verdict) {
    case Verdict::kOk: return "ok";
    case Verdict::kWarning: return "warning";
    case Verdict::kError: break;
    }
    return "error";
}

}  // namespace tools
