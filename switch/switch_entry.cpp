// The entry points of the library: one switch object, counted by those who hold it.
#include <mutex>
#include <new>
#include <utility>

#include "base/cancellation.h"
#include "switch/module_switch.h"

namespace {

// Both under the lock. Nothing here has a destructor that would run at process exit, when the
// threads of modules that were given up may still be going.
struct HeldSwitch {
    std::mutex Lock;
    CModuleSwitch* Object = nullptr;
    unsigned int Count = 0;
};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one object for the process
constinit HeldSwitch Switch;

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the names that the daemon looks up
extern "C" {

MORLA_EXPORT bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object);
MORLA_EXPORT void SW_AddRef();
MORLA_EXPORT void SW_Release();

// The caller holds a reference to what it gets.
bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object) {
    if (object == nullptr) {
        return false;
    }
    *object = nullptr;
    if (selector != 0) {
        return false;
    }
    const std::lock_guard guard(Switch.Lock);
    if (Switch.Object == nullptr) {
        Switch.Object = new (std::nothrow) CModuleSwitch;
    }
    if (Switch.Object == nullptr) {
        return false;
    }
    ++Switch.Count;
    *object = Switch.Object;
    return true;
}

void SW_AddRef() {
    const std::lock_guard guard(Switch.Lock);
    if (Switch.Object != nullptr) {
        ++Switch.Count;
    }
}

// The last one ends the object; one too many does nothing.
void SW_Release() {
    const CCancellationHold hold;
    CModuleSwitch* last = nullptr;
    {
        const std::lock_guard guard(Switch.Lock);
        if (Switch.Object != nullptr && --Switch.Count == 0) {
            last = std::exchange(Switch.Object, nullptr);
        }
    }
    delete last;
}
}
// NOLINTEND(readability-identifier-naming)
