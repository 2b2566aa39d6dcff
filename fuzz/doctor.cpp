// What morlactl doctor reads of other programs' files: the loader's cache, lists of mappings and
// locks, environments, and sections of trace configurations.
//
// Input: such a text; each of the readers gets all of it.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "tools/doctor/library_search.h"
#include "tools/doctor/process_text.h"
#include "tools/doctor/trace_section.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // On the heap and without a terminator: a read behind the end is seen.
    const std::vector<char> exact(data, data + size);
    const std::string_view text(exact.data(), exact.size());

    const auto cached = doctor::FindInLoaderCache(text, "libswitch.so");
    fuzz::Require(!cached || text.find(*cached) != std::string_view::npos,
                  "a path of the cache stands in it");
    const std::string mapped = doctor::FindMapped(text, "libswitch.so");
    fuzz::Require(
        mapped.empty() || (mapped.front() == '/' && text.find(mapped) != std::string_view::npos),
        "a mapped path stands in the list");
    const auto folders = doctor::SearchFolders(text);
    fuzz::Require(text.empty()
                      ? folders.empty()
                      : folders.size() == 1 + static_cast<std::size_t>(std::count_if(
                                                  text.begin(), text.end(),
                                                  [](char c) { return c == ':' || c == ';'; })),
                  "each separator parts two folders");
    (void)doctor::LibraryProblem(text);
    (void)doctor::IsFlocked(text, 0x801, 12);
    (void)doctor::HoldsFlock(text);
    for (const auto& [name, value] : doctor::ParseEnvironment(text)) {
        fuzz::Require(text.find(name + "=" + value) != std::string_view::npos,
                      "a variable stands in the environment");
    }
    for (const auto& [name, value] : doctor::ParseEnvironmentFile(text)) {
        fuzz::Require(!name.empty() && (name + value).find('\n') == std::string::npos,
                      "a variable is of one line and has a name");
    }
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    const auto problems = doctor::FindSectionProblems(text, trace::kApplicationSettings);
    fuzz::Require(problems.size() <= lines + 2 * trace::kApplicationSettings.size(),
                  "a key has two problems at most, a line one");
    (void)doctor::ShowSettings(text, trace::kApplicationSettings);
    return 0;
}
