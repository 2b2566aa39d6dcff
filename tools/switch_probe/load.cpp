#include "tools/switch_probe/load.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include "base/kernel_file.h"
#include "tools/switch_check/elf_library.h"
#include "tools/switch_probe/report.h"

namespace switch_probe {

namespace {

using switch_check::Verdict;

constexpr std::size_t kFileLimit = 1U << 30U;
constexpr std::size_t kMostNames = 50;  // of missing symbols that are listed
constexpr std::string_view kOrigin[] = {"$ORIGIN", "${ORIGIN}"};

std::string LoaderError() {
    const char* const text = dlerror();  // NOLINT(concurrency-mt-unsafe): of this thread
    return text != nullptr ? text : "no reason given";
}

// --- A library that was loaded ---

std::string PathOf(void* handle) {
    link_map* map = nullptr;
    return handle != nullptr && dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "?";
}

void ReportNeeded(const elf::Library& library) {
    for (const std::string_view needed : library.Needed) {
        void* const handle = dlopen(std::string(needed).c_str(), RTLD_LAZY | RTLD_NOLOAD);
        Report(Verdict::kOk, "needs", std::string(needed) + " (" + PathOf(handle) + ")");
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
}

// --- A library that could not be loaded: why ---

std::string Folder(const std::string& file) {
    return file.substr(0, file.rfind('/'));
}

// The folders of the library's own search path.
std::vector<std::string> SearchFolders(std::string_view runPath, const std::string& file) {
    std::vector<std::string> folders;
    while (!runPath.empty()) {
        const std::size_t end = std::min(runPath.find(':'), runPath.size());
        std::string folder(runPath.substr(0, end));
        for (const std::string_view origin : kOrigin) {
            if (const std::size_t at = folder.find(origin); at != std::string::npos) {
                folder.replace(at, origin.size(), Folder(file));
            }
        }
        folders.push_back(folder);
        runPath.remove_prefix(std::min(end + 1, runPath.size()));
    }
    return folders;
}

void* LoadFrom(const std::vector<std::string>& folders, const std::string& name) {
    for (std::string path : folders) {
        path += '/';
        path += name;
        if (void* const handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_GLOBAL); handle != nullptr) {
            return handle;
        }
    }
    return dlopen(name.c_str(), RTLD_LAZY | RTLD_GLOBAL);
}

void LoadNeeded(const elf::Library& library, const std::string& file) {
    const std::vector<std::string> folders = SearchFolders(library.RunPath, file);
    for (const std::string_view needed : library.Needed) {
        if (LoadFrom(folders, std::string(needed)) == nullptr) {
            Report(Verdict::kError, "needs", LoaderError());
        }
    }
}

std::string Readable(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? symbol + " (" + text.get() + ")" : symbol;
}

// What the loader would have bound at once (RTLD_NOW), but for the versions of symbols: those are
// in the loader's own words.
void ReportMissingSymbols(const elf::Library& library) {
    std::size_t missing = 0;
    for (const std::string_view expected : library.Expected) {
        const std::string name(expected);
        (void)dlerror();  // NOLINT(concurrency-mt-unsafe): of this thread
        if (dlsym(RTLD_DEFAULT, name.c_str()) == nullptr && ++missing <= kMostNames) {
            Report(Verdict::kError, "symbol", Readable(name) + " is missing");
        }
    }
    if (missing > kMostNames) {
        Report(Verdict::kError, "symbol",
               std::to_string(missing - kMostNames) + " more are missing");
    }
}

}  // namespace

void* Load(const std::string& file) {
    std::string bytes;
    (void)ReadKernelFile(file.c_str(), bytes, kFileLimit);  // without it there are no names
    const elf::Library library = elf::Parse(CByteView(bytes));
    Step("its static constructors");
    // An exception that leaves a static constructor ends this process, as it ends the daemon.
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle != nullptr) {
        Report(Verdict::kOk, "load", "loaded");
        ReportNeeded(library);
        return handle;
    }
    Report(Verdict::kError, "load", LoaderError());
    Step("the static constructors of a library that it needs");
    LoadNeeded(library, file);
    ReportMissingSymbols(library);
    return nullptr;
}

}  // namespace switch_probe
