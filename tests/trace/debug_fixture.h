// A trace object of the test's own, on the real paths of a private root.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "trace/debug.h"

class CDebugTest : public testing::Test {
protected:
    static constexpr char kLogFile[] = "/var/log/quorvat/log.zentd";
    static constexpr char kInitRing[] = "/var/log/quorvat/log.zentd_i";
    static constexpr char kActiveRing[] = "/var/log/quorvat/log.zentd_a";
    static constexpr char kConfigDirectory[] = "/etc/velmor/OskariaSuite/TraceConfig";
    static constexpr std::size_t kActiveRingSize = 1'048'576;

    // Empties the trace and configuration directories and clears every trace variable.
    void SetUp() override;
    void TearDown() override;

    // Writes a configuration file whose last section is "EndOfFile".
    static void Configure(std::string_view text, const char* file = "zentd.ini");
    // A level and a ring of 1 MiB, without the memory column.
    static void ConfigureRing(unsigned int level);
    // Sets a variable until the test ends.
    void SetVariable(const char* name, const char* value);

    // A fresh trace object, started as "zentd" (`isStarted` false: only constructed).
    CDebug& Start(bool isStarted = true);
    // Start, and SetApplInitDone: the active ring is in place.
    CDebug& StartActiveRing(unsigned int level = 3);
    // Destroys the trace object, which closes its files.
    void Stop() { m_Debug.reset(); }

    static std::vector<std::string> Lines(const std::string& text);
    // The texts of the lines of a file, without their entry headers.
    static std::vector<std::string> Texts(const std::string& path);
    // The newest entry of a ring: the line before the last end marker, without its header.
    static std::string NewestEntry(const std::string& ring);

private:
    std::unique_ptr<CDebug> m_Debug;
    std::vector<std::string> m_Variables;
};
