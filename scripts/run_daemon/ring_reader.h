// Reads the entries of a trace ring in the order in which they are written, while they are.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Keeps its place between looks at one ring file. The entries end where the end marker stands; an
// entry is there when the marker behind it is. When the ring wraps, its end is filled with dots and
// the entries go on behind the entry "### Begin of RingBuffer. ###", where they have begun.
class CRingReader {
public:
    // The lines that are new in `ring`, the present bytes of the whole file; complete ones, each
    // with its newline. The log header is left out, and so is all that nobody has written yet. A
    // note takes the place of entries that were overwritten before this look.
    [[nodiscard]] std::string TakeNewLines(std::string_view ring);

private:
    [[nodiscard]] bool FindBegin(std::string_view ring);
    void MoveTo(std::string_view ring, std::size_t position);

    bool m_IsStarted = false;
    std::size_t m_Restart = 0;   // where the first entry of each cycle stands
    std::size_t m_Position = 0;  // behind what has been taken
    std::string m_Before;  // the bytes before the position, to see whether they are still there
};
