#include "tools/switch_check/check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <string_view>

#include "base/error_text.h"
#include "base/file_mapping.h"
#include "base/paths.h"
#include "base/trusted_path.h"
#include "base/unique_fd.h"
#include "morla/switch.h"
#include "tools/switch_check/child.h"
#include "tools/switch_check/elf_library.h"

namespace switch_check {

namespace {

// The program that loads the library; it lies beside this one, in the build folder as where it is
// installed.
constexpr char kProbe[] = "/../lib/morla/switch_probe";
constexpr char kModuleEntryPoint[] = "morla_module_create";

void Add(Findings& findings, Verdict verdict, const char* check, const std::string& what) {
    findings.push_back({check, verdict, what});
}

// --- The file ---

int Map(const std::string& path, CFileMapping& mapping) {
    const CUniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!fd.IsValid() || fstat(fd.Get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        return 0;
    }
    mapping = CFileMapping(mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd.Get(), 0), size);
    return mapping.Data() != nullptr ? 0 : errno;
}

const char* KindProblem(const elf::Library& library) {
    switch (library.FileKind) {
    case elf::Kind::kNotElf: return "is no ELF file";
    case elf::Kind::kOtherClass: return "is not of 64 bits and little-endian";
    case elf::Kind::kOtherMachine: return "is not for x86-64";
    case elf::Kind::kNotShared:
        return library.IsProgram ? "is a program, not a shared library" : "is no shared library";
    case elf::Kind::kLibrary: break;
    }
    return nullptr;
}

// False when there is no sense in loading it.
bool CheckFile(const std::string& path, Findings& findings) {
    CFileMapping mapping;
    const int error = Map(path, mapping);
    if (error != 0) {
        const CErrorText text(error);
        Add(findings, Verdict::kError, "file",
            path + ": " + (error == EINVAL ? "not a regular file" : text.Get()));
        return false;
    }
    const elf::Library library =
        elf::Parse(CByteView(std::string_view(mapping.Data(), mapping.Size())));
    if (const char* const problem = KindProblem(library); problem != nullptr) {
        Add(findings, Verdict::kError, "file", path + " " + problem);
        return false;
    }
    Add(findings, Verdict::kOk, "file", path + " is an x86-64 shared library");
    if (elf::Defines(library, kModuleEntryPoint) &&
        !elf::Defines(library, MORLA_SWITCH_QUERY_INTERFACE)) {
        Add(findings, Verdict::kError, "kind",
            std::string("is a module, not a switch; its place is ") + paths::kModuleDirectory);
        return false;
    }
    return true;
}

// --- Who may write it ---

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

void AddPlaces(const std::vector<std::string>& places, Verdict verdict, const char* what,
               Findings& findings) {
    for (const std::string& place : places) {
        const auto isSame = [&](const Finding& known) {
            return known.What == place + what;
        };
        if (std::none_of(findings.begin(), findings.end(), isSame)) {
            Add(findings, verdict, "owner", place + what);
        }
    }
}

// The daemon does not look at this: whoever may write here is root with its next start.
void CheckOwners(const std::string& path, Findings& findings) {
    const std::size_t before = findings.size();
    // A link to the library can be put elsewhere by those who may write the link's folder.
    for (const std::string& place : {path, FolderOf(path)}) {
        PathProblems problems;
        const int error = FindPathProblems(place, problems);
        if (error != 0) {
            Add(findings, Verdict::kWarning, "owner", place + ": " + CErrorText(error).Get());
        }
        AddPlaces(problems.WritableByOthers, Verdict::kError, " can be written by group or others",
                  findings);
        AddPlaces(problems.OtherOwner, Verdict::kWarning, " does not belong to root", findings);
    }
    if (findings.size() == before) {
        Add(findings, Verdict::kOk, "owner", "only root can change it");
    }
}

// --- What it does when it is loaded ---

std::string FindProbe() {
    char self[PATH_MAX];
    const ssize_t length = readlink(paths::kProcSelfExe, self, sizeof self);
    return length <= 0 ? kProbe
                       : FolderOf(std::string(self, static_cast<std::size_t>(length))) + kProbe;
}

// Takes the part of `line` in front of the next separator off it.
std::string_view TakePart(std::string_view& line) {
    const std::size_t end = std::min(line.find(kSeparator), line.size());
    const std::string_view part = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return part;
}

// Takes the findings over and returns the last step.
std::string ReadReport(std::string_view report, Findings& findings) {
    std::string step = "the start of the process";
    for (std::size_t end = report.find('\n'); end != std::string_view::npos;
         end = report.find('\n')) {
        std::string_view line = report.substr(0, end);
        report.remove_prefix(end + 1);
        const std::string_view word = TakePart(line);
        if (word == kStep) {
            step = line;
            continue;
        }
        for (const Verdict verdict : {Verdict::kOk, Verdict::kWarning, Verdict::kError}) {
            if (word == Word(verdict)) {
                const std::string check(TakePart(line));
                findings.push_back({check, verdict, std::string(line)});
            }
        }
    }
    return step;
}

std::string HowItEnded(const ChildResult& result, std::chrono::milliseconds limit) {
    if (result.IsTimedOut) {
        return "hangs (no end after " + std::to_string(limit.count()) + " ms)";
    }
    if (WIFSIGNALED(result.WaitStatus)) {
        const int signal = WTERMSIG(result.WaitStatus);
        const char* const name = sigabbrev_np(signal);
        return std::string("crashes (") +
               (name != nullptr ? "SIG" + std::string(name) : std::to_string(signal)) + ")";
    }
    return "ends the process (status " + std::to_string(WEXITSTATUS(result.WaitStatus)) + ")";
}

void CheckLife(const std::string& path, const Options& options, Findings& findings) {
    // With a slash in it, or the loader would search for it.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    const std::string probe = FindProbe();
    std::vector<std::string> command{probe, file};
    if (options.LoadsModules) {
        command.emplace_back("--load-modules");
    }
    const ChildResult result = RunChild(command, options.Timeout);
    if (result.Error != 0) {
        Add(findings, Verdict::kError, "probe",
            "cannot run " + probe + ": " + CErrorText(result.Error).Get());
        return;
    }
    const std::string step = ReadReport(result.Report, findings);
    const bool isWhole = !result.IsTimedOut && WIFEXITED(result.WaitStatus) &&
                         WEXITSTATUS(result.WaitStatus) == 0 && step == kLastStep;
    if (!isWhole) {
        Add(findings, Verdict::kError, "life", HowItEnded(result, options.Timeout) + " in " + step);
    }
}

}  // namespace

Findings Check(const std::string& path, const Options& options) {
    Findings findings;
    if (CheckFile(path, findings)) {
        CheckOwners(path, findings);
        if (geteuid() == 0 && !IsFit(findings)) {
            Add(findings, Verdict::kWarning, "load",
                "not tried: as root it would run what others can have written");
        } else {
            CheckLife(path, options, findings);
        }
    }
    return findings;
}

bool IsFit(const Findings& findings) {
    return std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.Judgement == Verdict::kError;
    });
}

}  // namespace switch_check
