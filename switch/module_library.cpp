#include "switch/module_library.h"

#include <cxxabi.h>

namespace {

const char* LoaderError() {
    const char* const text = dlerror();
    return text != nullptr ? text : "unknown error";
}

}  // namespace

bool CModuleLibrary::Open(const std::string& path, std::string& problem) {
    // Declared to throw nothing, which is not true of static constructors: a call by its name would
    // be compiled without the way into the handlers below.
    void* (*const volatile open)(const char*, int) = dlopen;
    try {
        m_Handle.reset(open(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        problem = "exception in a static constructor";
        return false;
    }
    if (m_Handle == nullptr) {
        problem = LoaderError();
        return false;
    }
    if (!FindEntryPoints(problem)) {
        m_Handle.reset();
        return false;
    }
    return true;
}

void CModuleLibrary::Close() {
    m_Create = nullptr;
    m_Destroy = nullptr;
    m_Handle.reset();
}

void* CModuleLibrary::FindSymbol(const char* name, std::string& problem) const {
    void* const symbol = dlsym(m_Handle.get(), name);
    if (symbol == nullptr) {
        problem = std::string("it does not export ") + name;
    }
    return symbol;
}

// The number comes first: nothing of a module with another number is called.
bool CModuleLibrary::FindEntryPoints(std::string& problem) {
    const auto* const abi =
        static_cast<const std::uint32_t*>(FindSymbol("morla_module_abi", problem));
    if (abi == nullptr) {
        return false;
    }
    if (*abi != MORLA_MODULE_ABI) {
        problem = "it was built for module ABI " + std::to_string(*abi) + ", this switch has " +
                  std::to_string(MORLA_MODULE_ABI);
        return false;
    }
    m_Create = reinterpret_cast<decltype(m_Create)>(FindSymbol("morla_module_create", problem));
    m_Destroy = reinterpret_cast<decltype(m_Destroy)>(FindSymbol("morla_module_destroy", problem));
    return m_Create != nullptr && m_Destroy != nullptr;
}
