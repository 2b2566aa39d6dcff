#include "hardware/device_bus_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <vector>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "hardware/pci_bus_names.h"
#include "trace/debug.h"

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const {
        const CCancellationHold hold;
        (void)closedir(directory);
    }
};

// The names in a directory, sorted. False, with a trace line, when it cannot be listed.
bool ListDirectory(const std::string& path, std::vector<std::string>& names) {
    names.clear();
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(path.c_str()));
    int error = errno;
    if (directory != nullptr) {
        errno = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream belongs to this call alone
        while (const dirent* const entry = readdir(directory.get())) {
            names.emplace_back(entry->d_name);
        }
        error = errno;
    }
    if (directory == nullptr || error != 0) {
        Debug.Print(1,
                    "BuildPciDeviceNameList  : scandir for directory %s failed; ## ERROR: errno=%d "
                    "(%s)\n",
                    path.c_str(), error, CErrorText(error).Get());
        return false;
    }
    std::sort(names.begin(), names.end());
    return true;
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
    if (!ListDirectory(directory, entries)) {
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

// The bytes that came, fewer than `size` at the file's end or when a read failed.
std::size_t ReadAt(int file, unsigned int offset, unsigned char* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count =
            pread(file, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

}  // namespace

bool CDeviceBusIo::BuildPciDeviceNameList(PciDeviceNames& names) {
    constexpr std::uint32_t kSegmentMax = 0xFFFF;
    std::vector<std::string> entries;
    if (!ListDirectory(paths::kProcBusPci, entries)) {
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
    size = static_cast<unsigned int>(ReadAt(file.Get(), offset, buffer, wanted));
    if (size != wanted) {
        Debug.Print(1, "GetPciConfigSpace : read error from %s\n", path);
        return false;
    }
    Debug.Print(5, "GetPciConfigSpace : %d bytes read at offset 0x%02x from %s\n",
                static_cast<int>(size), offset, path);
    return true;
}
