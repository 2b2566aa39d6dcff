// Device objects of the firmware: ranges of physical memory, mapped for as long as a copy takes.
//
// Files of the classes: device_bios (mapping), device_bios_routing (the IRQ routing table).
#pragma once

#include <cstdint>
#include <vector>

#include "base/export.h"
#include "base/file_mapping.h"
#include "base/unique_fd.h"
#include "hardware/irq_routing_table.h"

// What all device objects share: connected or not, and why the last operation failed. Belongs to
// one thread at a time.
class MORLA_API CDeviceIo {
public:
    CDeviceIo() = default;
    CDeviceIo(const CDeviceIo&) = delete;
    CDeviceIo& operator=(const CDeviceIo&) = delete;
    virtual ~CDeviceIo() = default;

    [[nodiscard]] bool IsConnected() const { return m_Connected; }
    // The errno number of the last failure.
    [[nodiscard]] int GetLastError() const { return m_LastError; }

protected:
    bool m_Connected = false;
    int m_LastError = 0;
};

// Reads of the firmware's memory, whatever maps it.
class MORLA_API CDeviceBiosBase : public CDeviceIo {
public:
    // Always true: the device is opened by each mapping.
    bool Connect();
    // Releases what is mapped. Always true.
    bool Disconnect();

    // Maps `length` bytes of physical memory at `addressLow`; `addressHigh` is traced and nothing
    // else. Null when not connected, when address or length is 0, and when the system refuses
    // (GetLastError tells why). The pointer is valid until the next mapping, unmapping or end.
    [[nodiscard]] virtual unsigned char* MapPhysicalMemory(unsigned int addressHigh,
                                                           unsigned int addressLow,
                                                           unsigned long length,
                                                           bool readWrite) = 0;
    // Always true.
    virtual bool UnmapPhysicalMemory() = 0;

    // The entries of the PCI IRQ routing table in F0000 to FFFFF; empty when there is no table, or
    // a bad one. Releases what is mapped.
    [[nodiscard]] std::vector<IrqRoutingEntry> GetRoutingTable();
};

// Maps through the memory device.
class MORLA_API CDeviceBios final : public CDeviceBiosBase {
public:
    unsigned char* MapPhysicalMemory(unsigned int addressHigh, unsigned int addressLow,
                                     unsigned long length, bool readWrite) override;
    bool UnmapPhysicalMemory() override;

private:
    CUniqueFd m_Device;
    std::uint32_t m_PhysicalBase = 0;  // of the mapping's first page
    CFileMapping m_Mapping;
};
