#include "hardware/device_bios.h"

#include <fcntl.h>

#include <cerrno>

#include "base/paths.h"
#include "hardware/memory_device.h"
#include "trace/debug.h"

bool CDeviceBiosBase::Connect() {
    Debug.Print(4, "\nCDeviceBiosBase     :   connect to BIOS device...");
    m_Connected = true;
    return true;
}

bool CDeviceBiosBase::Disconnect() {
    UnmapPhysicalMemory();
    Debug.Print(4, "\nCDeviceBiosBase     :   disconnect from BIOS device");
    m_Connected = false;
    return true;
}

unsigned char* CDeviceBios::MapPhysicalMemory(unsigned int addressHigh, unsigned int addressLow,
                                              unsigned long length, bool readWrite) {
    Debug.Print(4,
                "\nCDeviceBios (Map) : Mapping physical memory 0x%0X%08X len 0x%05X to the user "
                "process (%s)",
                addressHigh, addressLow, static_cast<unsigned int>(length),
                readWrite ? "read-write" : "read-only");
    if (!m_Connected) {
        m_LastError = ENODEV;
        Debug.Print(1,
                    "\n\nCDeviceBios (Map) : ## ERROR: DeviceBios is not connected - fix this!!\n");
        return nullptr;
    }
    if (addressLow == 0 || length == 0) {
        m_LastError = EINVAL;
        Debug.Print(1,
                    "\nCDeviceBios (Map)   : ## ERROR: Physical address or size is 0 for physical "
                    "memory mapping - fix this!!\n");
        m_Device.Reset();
        return nullptr;
    }
    if (m_Mapping.Data() != nullptr) {
        Debug.Print(2,
                    "## WARNING! Mapped physical memory already existing - will be unmapped "
                    "before new mapping performed!");
        UnmapPhysicalMemory();
    }
    // Without blocking, in case a captured tree has a pipe there.
    m_Device.Reset(
        open(paths::kMemoryDevice, (readWrite ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC));
    if (!m_Device.IsValid()) {
        m_LastError = errno;
        Debug.Print(1, "\n\n## ERROR: Opening of /dev/mem failed (errno=%d)!", m_LastError);
        return nullptr;
    }
    const std::uint64_t offset = PageOffset(addressLow);
    const auto base = static_cast<std::uint32_t>(addressLow - offset);
    // Deliberate: 32 bits of the length count. A caller that asks for more gets less.
    const auto mappedLength = static_cast<std::uint32_t>(length + offset);
    m_LastError = MapDeviceRange(m_Device.Get(), base, mappedLength, readWrite, m_Mapping);
    if (m_LastError != 0) {
        m_Device.Reset();
        return nullptr;
    }
    m_PhysicalBase = base;
    return reinterpret_cast<unsigned char*>(m_Mapping.Data()) + offset;
}

bool CDeviceBios::UnmapPhysicalMemory() {
    if (m_Mapping.Data() != nullptr) {
        const char* const data = m_Mapping.Data();
        const auto size = static_cast<unsigned int>(m_Mapping.Size());
        m_Mapping.Reset();
        // Deliberate: the pointer's own "0x" stands behind the text's.
        Debug.Print(3, "CDeviceBios (Unmap) : unmapped 0x%x bytes at 0x%x from 0x%p on %d...\n",
                    size, m_PhysicalBase, static_cast<const void*>(data), m_Device.Get());
    }
    m_Device.Reset();
    m_PhysicalBase = 0;
    return true;
}
