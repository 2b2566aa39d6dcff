// A compressed start-up ring, unpacked into memory within a limit.
#pragma once

#include <string>
#include <string_view>

namespace trace_reader {

[[nodiscard]] inline bool IsGzip(std::string_view front) {
    return front.starts_with("\x1F\x8B");
}

// Unpacks what `fd` holds from its present position on, at most as much as the ring's own header
// says that the ring has (64 MiB when it says nothing), and never more than 1 GiB. Returns an empty
// text, or what is wrong; what came before that is then in `text`.
[[nodiscard]] std::string UnpackGzip(int fd, std::string& text);

}  // namespace trace_reader
