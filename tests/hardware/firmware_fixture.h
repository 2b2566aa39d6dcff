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
    // A memory with an entry point in the range from 0xE0000 and a table at 0x4321.
    static void WriteShadow(const std::string& entry, std::string_view table,
                            std::size_t offset = 0x10) {
        std::string memory(0x100000, '\0');
        memory.replace(0xE0000 + offset, entry.size(), entry);
        memory.replace(0x4321, table.size(), table);
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
    // The same of the lines of an excerpt from the trace, which begins with a newline.
    static bool HasTraced(std::string_view excerpt) {
        std::vector<std::string> texts;
        for (excerpt.remove_prefix(1); !excerpt.empty();) {
            texts.emplace_back(excerpt.substr(0, excerpt.find('\n')));
            excerpt.remove_prefix(texts.back().size() + 1);
        }
        return IsTraced(texts);
    }
};
