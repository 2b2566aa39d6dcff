// Opens, reads and edits the file behind the profile operations: the only part that does I/O.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/unique_fd.h"
#include "os/ini_editor.h"

namespace ini {

// Opens a regular file with the given open flags, close-on-exec. Returns 0 or an errno number:
// EISDIR for a directory, EINVAL for a FIFO, a device or a socket. Never waits for a FIFO's other
// end. To write, a link that another user made is not followed (EACCES; see base/own_file.h).
[[nodiscard]] int OpenRegularFile(const char* path, int flags, CUniqueFd& file);

// Reads a file from its current position line by line (os/ini_scanner says what a line is), with
// one buffer of fixed size, however large the file and its lines are.
class CLineReader {
public:
    // The descriptor stays the caller's.
    explicit CLineReader(int file) : m_File(file) {}

    // The next line, valid until the next call; empty at the end of the file and after a read
    // that failed.
    std::string_view Next();
    [[nodiscard]] bool HasFailed() const { return m_HasFailed; }

private:
    void Refill();

    int m_File;
    bool m_IsAtEnd = false;
    bool m_HasFailed = false;
    std::string_view m_Rest;  // of m_Buffer: read, and not yet handed out
    char m_Buffer[16384];     // far above kLineMax
};

// Whether the file can be measured and is not larger than 2 GiB, the limit of an edit.
[[nodiscard]] bool IsEditable(int file);

// Carries out a kReplace edit in place: everything from `tailFrom` on moves behind what is written
// at `writeAt` (a newline when `blankFirst`, then the change's setting), and the file ends there.
// False when the file cannot be measured, read, written or cut, or is larger than 2 GiB; what was
// overwritten is then put back as far as the file takes it. docs/services.md says what can be lost.
[[nodiscard]] bool WriteLines(int file, std::uint64_t writeAt, std::uint64_t tailFrom,
                              const Change& change, bool blankFirst);

// Carries out a kAppendSection edit: reopens the file for appending, or makes it (with the
// permissions 0644 when `isNew`). Returns 0 or an errno number; the file then keeps its old length.
[[nodiscard]] int AppendSection(const char* path, const Change& change, bool isNew);

}  // namespace ini
