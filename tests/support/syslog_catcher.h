// Catches what a test, or a program that it starts, writes to the system log.
#pragma once

#include <string>
#include <vector>

#include "base/unique_fd.h"

// The receiving end of /dev/log in a private root, for as long as it lives. Create it before the
// first message: the C library keeps a connection that it has. Used by one thread.
class CSyslogCatcher {
public:
    CSyslogCatcher();
    ~CSyslogCatcher();
    CSyslogCatcher(const CSyslogCatcher&) = delete;
    CSyslogCatcher& operator=(const CSyslogCatcher&) = delete;

    // The messages so far, as the C library sends them: "<27>Mar  7 14:05:09 zentd[12]: text".
    [[nodiscard]] const std::vector<std::string>& Lines();
    // Waits until a message contains `text`.
    [[nodiscard]] bool WaitForLine(const std::string& text);

private:
    CUniqueFd m_Socket;
    std::vector<std::string> m_Lines;
};
