// Firmware tables as plain files at the machine's real paths, in a private root.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/paths.h"
#include "tests/daemon/trace_log.h"
#include "tests/support/files.h"

class CFirmwareTest : public CTraceLogTest {
protected:
    void SetUp() override {
        CTraceLogTest::SetUp();
        for (const char* const path :
             {paths::kSmbiosEntryPoint, paths::kSmbiosTable, paths::kEfiSystab,
              paths::kMemoryDevice, paths::kHypervisorSmbios}) {
            Remove(path);
        }
    }
    // Physical memory of `size` bytes that holds `bytes` at `address` and zeros elsewhere.
    static void WriteMemory(std::size_t size, std::uint64_t address, std::string_view bytes) {
        std::string memory(size, '\0');
        memory.replace(address, bytes.size(), bytes);
        WriteFile(paths::kMemoryDevice, memory);
    }
    // Whether the texts stand in the trace in this order; other entries may stand between them.
    static bool IsTraced(const std::vector<std::string>& texts) {
        std::size_t next = 0;
        for (const std::string& text : Texts()) {
            if (next < texts.size() && text == texts[next]) {
                ++next;
            }
        }
        return next == texts.size();
    }
};
