#include "hardware/device_bus_io.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <vector>

#include "base/directory.h"
#include "base/error_text.h"
#include "base/file_io.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "hardware/pci_bus_names.h"
#include "trace/debug.h"

namespace {

// False, with a trace line, when the directory cannot be listed.
bool ListOrTrace(const std::string& path, std::vector<std::string>& names) {
    const int error = ListDirectory(path, names);
    if (error != 0) {
        Debug.Print(1,
                    "BuildPciDeviceNameList  : scandir for directory %s failed; ## ERROR: errno=%d "
                    "(%s)\n",
                    path.c_str(), error, CErrorText(error).Get());
    }
    return error == 0;
}

bool IsPciDevDirValid(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int error = errno;
        Debug.Print(1, "IsPciDevDirValid  : stat() for %s failed errno=%d (%s)--> ignoring\n",
                    path.c_str(), error, CErrorText(error).Get());
        return false;
    }
    return S_ISDIR(status.st_mode);
}

// A file that is gone by now is none.
bool IsRegularFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

void AddFunctions(const std::string& directory, std::uint16_t segment, std::uint8_t bus,
                  CDeviceBusIoBase::PciDeviceNames& names) {
    std::vector<std::string> entries;
    if (!ListOrTrace(directory, entries)) {
        return;
    }
    for (const std::string& entry : entries) {
        const auto device = pci_bus_names::ParseDevice(entry);
        const std::string path = std::string(directory).append(1, '/').append(entry);
        if (device && IsRegularFile(path)) {
            names[CPciAddress(segment, bus, device->Number, device->Function)] = path;
        }
    }
}

}  // namespace

bool CDeviceBusIo::BuildPciDeviceNameList(PciDeviceNames& names) {
    constexpr std::uint32_t kSegmentMax = 0xFFFF;
    std::vector<std::string> entries;
    if (!ListOrTrace(paths::kProcBusPci, entries)) {
        return false;
    }
    for (const std::string& entry : entries) {
        const auto bus = pci_bus_names::ParseBus(entry);
        if (!bus) {
            continue;
        }
        const std::string directory = std::string(paths::kProcBusPci) + '/' + entry;
        if (bus->Domain > kSegmentMax) {
            Debug.Print(1,
                        "BuildPciDeviceNameList  : the domain of %s does not fit 16 bits --> "
                        "ignoring\n",
                        directory.c_str());
        } else if (IsPciDevDirValid(directory)) {
            AddFunctions(directory, static_cast<std::uint16_t>(bus->Domain), bus->Number, names);
        }
    }
    return true;
}

const CDeviceBusIoBase::PciDeviceNames* CDeviceBusIo::FindPciDeviceNames() {
    if (!m_IsNameListBuilt) {
        m_Names.clear();
        m_IsNameListBuilt = BuildPciDeviceNameList(m_Names);
    }
    return m_IsNameListBuilt ? &m_Names : nullptr;
}

// NOLINTNEXTLINE(readability-function-size): the operation's given parameters
bool CDeviceBusIo::GetPciConfigSpace(unsigned int segment, unsigned int bus, unsigned int device,
                                     unsigned int function, unsigned int offset, unsigned int& size,
                                     unsigned char* buffer) {
    const unsigned int wanted = size;
    size = 0;
    if (wanted == 0 || buffer == nullptr) {
        return false;
    }
    const PciDeviceNames* const names = FindPciDeviceNames();
    const CPciAddress address(static_cast<std::uint16_t>(segment), static_cast<std::uint8_t>(bus),
                              static_cast<std::uint8_t>(device),
                              static_cast<std::uint8_t>(function));
    const bool isAddress = address.m_Segment == segment && address.m_Bus == bus &&
                           address.m_Device == device && address.m_Function == function &&
                           address.IsValid();
    if (names == nullptr || !isAddress || !names->contains(address)) {
        return false;
    }
    const char* const path = names->at(address).c_str();
    Debug.Print(5, "CDeviceBusIo::GetPciConfigSpace: open and read %s\n", path);
    const CUniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.IsValid()) {
        m_LastError = errno;
        Debug.Print(1, "GetPciConfigSpace: cannot open %s\n", path);
        return false;
    }
    size = static_cast<unsigned int>(ReadFullyAt(file.Get(), buffer, wanted, offset).Bytes);
    if (size != wanted) {
        Debug.Print(1, "GetPciConfigSpace : read error from %s\n", path);
        return false;
    }
    Debug.Print(5, "GetPciConfigSpace : %d bytes read at offset 0x%02x from %s\n",
                static_cast<int>(size), offset, path);
    return true;
}
