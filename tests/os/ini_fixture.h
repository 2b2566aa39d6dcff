// An INI file in a folder of the test's own.
#pragma once

#include <unistd.h>

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/files.h"

class CIniTest : public testing::Test {
protected:
    ~CIniTest() override { Remove(m_Folder); }
    [[nodiscard]] std::string Path(const std::string& name = "test.ini") const {
        return m_Folder + "/" + name;
    }
    void Write(std::string_view text) const { WriteFile(Path(), text); }
    [[nodiscard]] std::string Text() const { return ReadFile(Path()); }

private:
    const std::string m_Folder = testing::TempDir() + "ini." + std::to_string(getpid());
};
