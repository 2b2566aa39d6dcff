// Where the entries of a trace are printed: a file, a pipe, a terminal, or a pager in front of one.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace tools {

// Writes blocks, not lines: Flush where somebody waits. A reader that goes away is no error, it
// only ends the output.
class CTraceOutput {
public:
    CTraceOutput();
    // Flushes, and waits for the pager's end.
    ~CTraceOutput();
    CTraceOutput(const CTraceOutput&) = delete;
    CTraceOutput& operator=(const CTraceOutput&) = delete;

    [[nodiscard]] bool IsTerminal() const { return m_IsTerminal; }
    // On a terminal, what follows goes through $PAGER, else "pager", "less -R" or "more"; without
    // one of them, directly.
    void StartPager();

    void Write(std::string_view text);
    void Flush();
    // Nobody reads any more, or writing failed: then Error is not 0.
    [[nodiscard]] bool IsOver() const { return m_IsOver; }
    [[nodiscard]] int Error() const { return m_Error; }
    // Waits; ends early when the reader has gone.
    void Wait(int milliseconds);

private:
    std::string m_Pending;
    CUniqueFd m_Pager;  // the pipe to it
    pid_t m_PagerPid = 0;
    bool m_IsTerminal;
    bool m_IsOver = false;
    int m_Error = 0;
};

}  // namespace tools
