// Reader of the PCI configuration space, through the kernel's tree of PCI functions.
#pragma once

#include <map>
#include <string>

#include "base/export.h"
#include "hardware/device_bios.h"
#include "hardware/pci_address.h"

// Which functions there are, and the bytes of their configuration space, whatever reads them.
class MORLA_API CDeviceBusIoBase : public CDeviceIo {
public:
    using PciDeviceNames = std::map<CPciAddress, std::string>;

    // Fills `names` with the configuration file of every function. False when the functions cannot
    // be listed.
    [[nodiscard]] virtual bool BuildPciDeviceNameList(PciDeviceNames& names) = 0;
    // Reads `size` bytes at `offset`. True when all of them came; `size` is set to the bytes that
    // came.
    // NOLINTNEXTLINE(readability-function-size): the operation's given parameters
    [[nodiscard]] virtual bool GetPciConfigSpace(unsigned int segment, unsigned int bus,
                                                 unsigned int device, unsigned int function,
                                                 unsigned int offset, unsigned int& size,
                                                 unsigned char* buffer) = 0;
};

// Reads the files of /proc/bus/pci. The list of names is built on first use and kept; files are
// open only while they are read.
class MORLA_API CDeviceBusIo final : public CDeviceBusIoBase {
public:
    [[nodiscard]] bool BuildPciDeviceNameList(PciDeviceNames& names) override;
    [[nodiscard]] bool GetPciConfigSpace(unsigned int segment, unsigned int bus,
                                         unsigned int device, unsigned int function,
                                         unsigned int offset, unsigned int& size,
                                         unsigned char* buffer) override;
    // The kept list; null when it cannot be built, which is tried again by the next call.
    [[nodiscard]] const PciDeviceNames* FindPciDeviceNames();

private:
    PciDeviceNames m_Names;
    bool m_IsNameListBuilt = false;
};
