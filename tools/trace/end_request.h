// SIGINT and SIGTERM end a command in order that would go on for ever.
#pragma once

namespace tools {

// From here on they are only remembered; the second one ends the process, and so does the first
// while a CEndableWrite lives: a reader of the output that takes nothing must not hold it up.
void TakeEndRequests();
[[nodiscard]] bool IsEndRequested();

class CEndableWrite {
public:
    CEndableWrite();
    ~CEndableWrite();
    CEndableWrite(const CEndableWrite&) = delete;
    CEndableWrite& operator=(const CEndableWrite&) = delete;
};

}  // namespace tools
