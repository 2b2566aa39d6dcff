// The shared library of a module: opened, checked against the contract, closed.
#pragma once

#include <dlfcn.h>

#include <memory>
#include <string>

#include "morla/module.h"

class CModuleLibrary {
public:
    // Loads the library at `path`, which runs its static constructors in the calling thread. False
    // when that fails, or when it does not export what a module of this ABI exports; `problem` then
    // says why. No exception leaves; but one that a static constructor raised has left the dynamic
    // loader's lock held by this thread, and other threads can load libraries no more.
    [[nodiscard]] bool Open(const std::string& path, std::string& problem);
    // Unloads it, which runs its static destructors in the calling thread. Nothing of it may be in
    // use any more.
    void Close();
    [[nodiscard]] bool IsOpen() const { return m_Handle != nullptr; }
    // Leaves the library loaded for the rest of the process.
    void Abandon() { static_cast<void>(m_Handle.release()); }

    // Valid while the library is open.
    [[nodiscard]] ModuleInterface* Create() const { return m_Create(); }
    void Destroy(ModuleInterface* module) const { m_Destroy(module); }

private:
    struct Closer {
        void operator()(void* handle) const { dlclose(handle); }
    };
    [[nodiscard]] void* FindSymbol(const char* name, std::string& problem) const;
    [[nodiscard]] bool FindEntryPoints(std::string& problem);

    std::unique_ptr<void, Closer> m_Handle;
    decltype(&morla_module_create) m_Create = nullptr;
    decltype(&morla_module_destroy) m_Destroy = nullptr;
};
