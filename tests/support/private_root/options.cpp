#include "tests/support/private_root/options.h"

#include <string_view>

namespace {

constexpr std::string_view kProgram = "--program=";
constexpr std::string_view kTmpfs = "--tmpfs=";

bool ParseTmpfs(std::string_view value, TmpfsMount& mount) {
    const std::size_t colon = value.rfind(':');
    if (colon == std::string_view::npos || !value.starts_with('/')) {
        return false;
    }
    mount.Path = value.substr(0, colon);
    mount.Size = value.substr(colon + 1);
    return !mount.Size.empty();
}

bool ParseOption(std::string_view argument, Options& options) {
    if (argument.starts_with(kProgram)) {
        const std::string_view path = argument.substr(kProgram.size());
        options.Programs.emplace_back(path);
        return path.starts_with('/');
    }
    if (argument.starts_with(kTmpfs)) {
        return ParseTmpfs(argument.substr(kTmpfs.size()), options.Mounts.emplace_back());
    }
    return false;
}

}  // namespace

bool ParseOptions(char** arguments, Options& options) {
    for (; *arguments != nullptr && *arguments != std::string_view("--"); ++arguments) {
        if (!ParseOption(*arguments, options)) {
            return false;
        }
    }
    if (*arguments == nullptr) {
        return false;
    }
    options.Command = arguments + 1;
    return *options.Command != nullptr;
}
