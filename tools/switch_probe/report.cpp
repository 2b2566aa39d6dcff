#include "tools/switch_probe/report.h"

#include <algorithm>

#include "base/file_io.h"

namespace switch_probe {

namespace {

void Write(std::string line) {
    std::replace(line.begin(), line.end(), '\n', ' ');
    (void)WriteFully(switch_check::kReportFd, line + '\n');  // nobody is left who could be told
}

}  // namespace

void Step(std::string_view step) {
    Write(std::string(switch_check::kStep) + switch_check::kSeparator + std::string(step));
}

void Report(switch_check::Verdict verdict, std::string_view check, const std::string& what) {
    Write(std::string(tools::Word(verdict)) + switch_check::kSeparator + std::string(check) +
          switch_check::kSeparator + what);
}

}  // namespace switch_probe
