#include "tests/support/files.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

std::string ReadFile(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file) {
        text << file.rdbuf();
    }
    return text.str();
}

void WriteFile(const std::string& path, std::string_view text) {
    MakeDirectories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text << std::flush;
    EXPECT_TRUE(file.good()) << "cannot write " << path;
}

void MakeDirectories(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    EXPECT_FALSE(error) << "cannot make " << path << ": " << error.message();
}

bool Exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

void Remove(const std::string& path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    EXPECT_FALSE(error) << "cannot remove " << path << ": " << error.message();
}
