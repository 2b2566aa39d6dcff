#include "base/directory.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

int ListDirectory(const std::string& path, std::vector<std::string>& names) {
    names.clear();
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    if (error) {
        names.clear();
        return error.value();
    }
    std::sort(names.begin(), names.end());
    return 0;
}
