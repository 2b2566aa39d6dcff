#include "tests/support/private_root/programs.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "tests/support/private_root/mounts.h"
#include "tests/support/private_root/refusal.h"

namespace {

// A shell and what scripts in tests use. Nothing that the product itself calls (gzip, systemctl,
// runlevel): each test names those that it wants to exist.
constexpr const char* kUsualPrograms[] = {
    "bash", "cat",   "chmod", "cp",   "cut",  "dash",  "date", "dd",   "echo",  "env",
    "expr", "false", "grep",  "head", "id",   "kill",  "ln",   "ls",   "mkdir", "mkfifo",
    "mv",   "od",    "ps",    "pwd",  "rm",   "rmdir", "sed",  "seq",  "sh",    "sleep",
    "sort", "stat",  "tail",  "tee",  "test", "touch", "tr",   "true", "uname", "wc",
};

// The file that `path` names in the end, as it is reached inside the private root; empty when
// there is none. Links through /etc/alternatives would lead nowhere inside.
std::string ResolveForInside(const std::string& path) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (real == nullptr) {
        return {};
    }
    const std::string target = real.get();
    const bool hidden = target.starts_with("/usr/bin/") || target.starts_with("/usr/sbin/");
    return hidden ? kHiddenPrograms + target.substr(sizeof "/usr" - 1) : target;
}

}  // namespace

std::vector<ProgramLink> ResolvePrograms(const std::vector<std::string>& wanted) {
    std::vector<ProgramLink> links;
    for (const std::string& path : wanted) {
        links.push_back({path, ResolveForInside(path)});
        if (links.back().Target.empty()) {
            Refuse(path, ENOENT);
        }
    }
    for (const char* name : kUsualPrograms) {
        const std::string path = std::string("/usr/bin/") + name;
        const std::string target = ResolveForInside(path);
        if (!target.empty()) {
            links.push_back({path, target});
        }
    }
    return links;
}

void LinkPrograms(const std::vector<ProgramLink>& links) {
    for (const ProgramLink& link : links) {
        MakeLink(link.Target, link.Path);
    }
}
