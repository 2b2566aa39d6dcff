#include "tools/switch_probe/object.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>

#include "base/unique_fd.h"
#include "tools/switch_probe/report.h"

namespace switch_probe {

namespace {

using switch_check::Verdict;

using Slot = std::uintptr_t;
constexpr std::size_t kSlotCount = 17;
// Those that the daemon calls.
struct NamedSlot {
    std::size_t Number;
    const char* Name;
};
constexpr NamedSlot kUsedSlots[] = {{2, "LoadModules"},
                                    {3, "UnloadModules"},
                                    {4, "StartAllModules"},
                                    {5, "StopAllModules"},
                                    {16, "Notify"}};

// --- The object as bytes ---

// Copies from an address that may be none: the kernel looks before it reads.
bool CopyFrom(const void* address, void* to, std::size_t size) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    const CUniqueFd reading(ends[0]);
    const CUniqueFd writing(ends[1]);
    return write(writing.Get(), address, size) == static_cast<ssize_t>(size) &&
           read(reading.Get(), to, size) == static_cast<ssize_t>(size);
}

struct CodeSearch {
    Slot Address;
    bool IsFound;
};

int LookForCode(dl_phdr_info* info, std::size_t /*size*/, void* data) {
    auto& search = *static_cast<CodeSearch*>(data);
    for (std::size_t i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& part = info->dlpi_phdr[i];
        const Slot begin = info->dlpi_addr + part.p_vaddr;
        search.IsFound =
            search.IsFound || (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0 &&
                               search.Address >= begin && search.Address - begin < part.p_memsz);
    }
    return search.IsFound ? 1 : 0;
}

bool IsCode(Slot address) {
    CodeSearch search{address, false};
    dl_iterate_phdr(LookForCode, &search);
    return search.IsFound;
}

bool HasSlots(const SwitchInterface* object) {
    const void* table = nullptr;
    std::array<Slot, kSlotCount> slots{};
    if (!CopyFrom(object, &table, sizeof table)) {
        Report(Verdict::kError, "object", "its address cannot be read");
        return false;
    }
    if (!CopyFrom(table, slots.data(), sizeof slots)) {
        Report(Verdict::kError, "object", "has no table of 17 virtual slots");
        return false;
    }
    bool isWhole = true;
    for (const NamedSlot& slot : kUsedSlots) {
        if (!IsCode(slots.at(slot.Number))) {
            Report(Verdict::kError, "object",
                   "slot " + std::to_string(slot.Number) + " (" + slot.Name + ") is no function");
            isWhole = false;
        }
    }
    if (isWhole) {
        Report(Verdict::kOk, "object", "has its 17 virtual slots");
    }
    return isWhole;
}

// --- Calls ---

// Makes one call of the library. False when an exception left it.
template <typename Operation>
bool Call(const std::string& name, Operation operation) {
    Step(name);
    try {
        operation();
        return true;
    } catch (...) {
        Report(Verdict::kError, "call", "an exception leaves " + name);
        return false;
    }
}

void ReportResult(const std::string& name, bool isMade, bool result) {
    if (isMade && result) {
        Report(Verdict::kOk, "call", name);
    } else if (isMade) {
        Report(Verdict::kError, "call", name + " returns false");
    }
}

bool LoadAndStart(SwitchInterface& object) {
    bool result = false;
    const _ExtensionModuleLoaderConfig config{0, RUN_MODE_AGENT};
    const bool isMade = Call("LoadModules", [&] { result = object.LoadModules(config); });
    ReportResult("LoadModules", isMade, result);
    if (isMade && result && Call("StartAllModules", [&] { object.StartAllModules(); })) {
        Report(Verdict::kOk, "call", "StartAllModules");
    }
    return isMade && result;
}

void Stop(SwitchInterface& object, bool hasModules) {
    if (Call("Notify", [&] { object.Notify(kNotifyStop, nullptr, 0); })) {
        Report(Verdict::kOk, "call", "Notify");
    }
    if (Call("StopAllModules", [&] { object.StopAllModules(); })) {
        Report(Verdict::kOk, "call", "StopAllModules");
    }
    bool result = false;
    const bool isMade = Call("UnloadModules", [&] { result = object.UnloadModules(0); });
    // Without modules both results are right.
    ReportResult("UnloadModules", isMade, result || !hasModules);
}

// --- Entry points ---

// As the daemon reads it: one byte, whatever stands beside it.
using QueryInterfaceFunction = unsigned char (*)(std::uint32_t selector, SwitchInterface** object);

void* FindEntryPoint(void* library, const char* name, Verdict whenMissing,
                     const char* consequence) {
    void* const address = dlsym(library, name);
    if (address == nullptr) {
        Report(whenMissing, "entry", std::string(name) + " is missing: " + consequence);
    } else {
        Report(Verdict::kOk, "entry", name);
    }
    return address;
}

SwitchInterface* AskForObject(QueryInterfaceFunction queryInterface) {
    SwitchInterface* object = nullptr;
    bool result = false;
    if (!Call(MORLA_SWITCH_QUERY_INTERFACE, [&] { result = queryInterface(0, &object) != 0; })) {
        return nullptr;
    }
    if (!result || object == nullptr) {
        Report(Verdict::kError, "object",
               result ? "SW_QueryInterface hands out none" : "SW_QueryInterface returns false");
        return nullptr;
    }
    return object;
}

}  // namespace

void CheckObject(void* library, bool loadsModules) {
    const auto queryInterface = reinterpret_cast<QueryInterfaceFunction>(
        FindEntryPoint(library, MORLA_SWITCH_QUERY_INTERFACE, Verdict::kError,
                       "the daemon gets no object and ends"));
    (void)FindEntryPoint(library, MORLA_SWITCH_ADD_REF, Verdict::kWarning, "nobody calls it today");
    const auto release = reinterpret_cast<SW_Release_Function>(FindEntryPoint(
        library, MORLA_SWITCH_RELEASE, Verdict::kWarning, "the object is never destroyed"));
    if (queryInterface == nullptr) {
        return;
    }
    SwitchInterface* const object = AskForObject(queryInterface);
    if (object != nullptr && HasSlots(object)) {
        const bool hasModules = loadsModules && LoadAndStart(*object);
        Stop(*object, hasModules);
    }
    if (release != nullptr && Call(MORLA_SWITCH_RELEASE, release)) {
        Report(Verdict::kOk, "call", MORLA_SWITCH_RELEASE);
    }
}

}  // namespace switch_probe
