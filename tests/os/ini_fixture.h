// An INI file in a folder of the test's own.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

class CIniTest : public testing::Test {
protected:
    void SetUp() override {
        std::string folder = testing::TempDir() + "ini.XXXXXX";
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        m_Folder = folder;
    }
    void TearDown() override { std::filesystem::remove_all(m_Folder); }

    [[nodiscard]] std::string Path(std::string_view name = "test.ini") const {
        return (m_Folder / name).string();
    }
    void Write(std::string_view text) const {
        std::ofstream(Path(), std::ios::binary | std::ios::trunc) << text;
    }
    [[nodiscard]] std::string Text() const {
        std::ifstream file(Path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path m_Folder;
};
