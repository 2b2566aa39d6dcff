// How the dynamic loader finds a library by its name, on text and bytes alone.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace doctor {

// The directories that a value of LD_LIBRARY_PATH names, in their order. An empty one stands for
// the working directory, which is "/" for the daemon.
[[nodiscard]] std::vector<std::string> SearchFolders(std::string_view libraryPath);

// The path that the loader's cache (the bytes of ld.so.cache) holds for an x86-64 library of that
// name. Nothing when it has none, or when the bytes are no cache of the present layout.
[[nodiscard]] std::optional<std::string> FindInLoaderCache(std::string_view cache,
                                                           std::string_view name);

// Why the loader would not take a file that begins with these bytes; null: it would.
[[nodiscard]] const char* LibraryProblem(std::string_view head);

// The file that a process has mapped whose last part is `name`, from its maps file; with
// " (deleted)" behind it when it is gone. Empty when there is none.
[[nodiscard]] std::string FindMapped(std::string_view maps, std::string_view name);

}  // namespace doctor
