// CPciCommonConfigHeader: names of base and sub-classes (PCI Code and ID Assignment Specification
// 1.16, chapter 1).
#include <array>
#include <cstdint>

#include "hardware/pci_common_config_header.h"

namespace {

constexpr const char* kUnknown = "Unknown";

// By number, from 0. Deliberate: base classes above 0x11 have no name here, nor has 0x00.
constexpr std::array kBaseClasses = {
    kUnknown,
    "Mass storage controller",
    "Network controller",
    "Display controller",
    "Multimedia device",
    "Memory controller",
    "Bridge device",
    "Simple communication controller",
    "System peripheral",
    "Input device",
    "Docking station",
    "Processor",
    "Serial bus controller",
    "Wireless controller",
    "Intelligent I/O controller",
    "Satellite communication controller",
    "Encryption/decryption controller",
    "Signal processing controller",
};

constexpr int kAny = -1;
struct SubClass {
    std::uint8_t BaseClass;
    std::uint8_t SubClassNumber;
    int ProgrammingInterface;  // kAny: every one that has no row before
    const char* Name;
};

constexpr SubClass kSubClasses[] = {
    {0x00, 0x00, kAny, "Early non-VGA device"},
    {0x00, 0x01, kAny, "VGA compatible device"},
    {0x01, 0x00, kAny, "SCSI controller"},
    {0x01, 0x01, kAny, "IDE controller"},
    {0x01, 0x02, kAny, "Floppy disk controller"},
    {0x01, 0x03, kAny, "IPI controller"},
    {0x01, 0x04, kAny, "RAID controller"},
    {0x01, 0x05, kAny, "ATA controller"},
    {0x01, 0x06, kAny, "SATA controller"},
    {0x01, 0x07, kAny, "SAS controller"},
    {0x01, 0x08, kAny, "Non-volatile memory controller"},
    {0x01, 0x09, kAny, "Universal flash storage controller"},
    {0x01, 0x80, kAny, "Other"},
    {0x02, 0x00, kAny, "Ethernet controller"},
    {0x02, 0x01, kAny, "Token ring controller"},
    {0x02, 0x02, kAny, "FDDI controller"},
    {0x02, 0x03, kAny, "ATM controller"},
    {0x02, 0x04, kAny, "ISDN controller"},
    {0x02, 0x05, kAny, "WorldFip controller"},
    {0x02, 0x06, kAny, "PICMG 2.14 multi computing"},
    {0x02, 0x07, kAny, "InfiniBand"},
    {0x02, 0x08, kAny, "Host fabric controller"},
    {0x02, 0x80, kAny, "Other"},
    {0x03, 0x00, 0x01, "8514 compatible controller"},
    {0x03, 0x00, kAny, "VGA compatible controller"},
    {0x03, 0x01, kAny, "XGA controller"},
    {0x03, 0x02, kAny, "3D controller"},
    {0x03, 0x80, kAny, "Other"},
    {0x04, 0x00, kAny, "Video device"},
    {0x04, 0x01, kAny, "Audio device"},
    {0x04, 0x02, kAny, "Telephony device"},
    {0x04, 0x03, kAny, "High definition audio device"},
    {0x04, 0x80, kAny, "Other"},
    {0x05, 0x00, kAny, "RAM controller"},
    {0x05, 0x01, kAny, "Flash memory controller"},
    {0x05, 0x02, kAny, "CXL memory device"},
    {0x05, 0x80, kAny, "Other"},
    {0x06, 0x00, kAny, "Host bridge"},
    {0x06, 0x01, kAny, "ISA bridge"},
    {0x06, 0x02, kAny, "EISA bridge"},
    {0x06, 0x03, kAny, "MCA bridge"},
    {0x06, 0x04, kAny, "PCI-to-PCI bridge"},
    {0x06, 0x05, kAny, "PCMCIA bridge"},
    {0x06, 0x06, kAny, "NuBus bridge"},
    {0x06, 0x07, kAny, "CardBus bridge"},
    {0x06, 0x08, kAny, "RACEWay bridge"},
    {0x06, 0x09, kAny, "Semi-transparent PCI-to-PCI bridge"},
    {0x06, 0x0A, kAny, "InfiniBand-to-PCI host bridge"},
    {0x06, 0x0B, kAny, "Advanced switching bridge"},
    {0x06, 0x80, kAny, "Other"},
    {0x07, 0x00, 0x00, "Generic XT compatible serial port"},
    {0x07, 0x00, 0x01, "16450 compatible serial port"},
    {0x07, 0x00, 0x02, "16550 compatible serial port"},
    {0x07, 0x00, kAny, "Serial port"},
    {0x07, 0x01, 0x00, "Generic XT compatible parallel port"},
    {0x07, 0x01, 0x01, "Bidirectional parallel port"},
    {0x07, 0x01, 0x02, "ECP 1.X compliant parallel port"},
    {0x07, 0x01, kAny, "Parallel port"},
    {0x07, 0x02, kAny, "Multi serial controller"},
    {0x07, 0x03, kAny, "Modem"},
    {0x07, 0x04, kAny, "GPIB controller"},
    {0x07, 0x05, kAny, "Smart card controller"},
    {0x07, 0x80, kAny, "Other"},
    {0x08, 0x00, 0x00, "Generic 8259 PIC"},
    {0x08, 0x00, 0x01, "ISA PIC"},
    {0x08, 0x00, 0x02, "EISA PIC"},
    {0x08, 0x00, 0x10, "I/O APIC"},
    {0x08, 0x00, 0x20, "I/O(x) APIC"},
    {0x08, 0x00, kAny, "PIC"},
    {0x08, 0x01, 0x00, "Generic 8237 DMA"},
    {0x08, 0x01, 0x01, "ISA DMA"},
    {0x08, 0x01, 0x02, "EISA DMA"},
    {0x08, 0x01, kAny, "DMA controller"},
    {0x08, 0x02, 0x00, "Generic 8254 system timer"},
    {0x08, 0x02, 0x01, "ISA system timer"},
    {0x08, 0x02, 0x02, "EISA system timer"},
    {0x08, 0x02, kAny, "System timer"},
    {0x08, 0x03, 0x00, "Generic RTC"},
    {0x08, 0x03, 0x01, "ISA RTC"},
    {0x08, 0x03, kAny, "RTC controller"},
    {0x08, 0x04, kAny, "PCI hot-plug controller"},
    {0x08, 0x05, kAny, "SD host controller"},
    {0x08, 0x06, kAny, "IOMMU"},
    {0x08, 0x07, kAny, "Root complex event collector"},
    {0x08, 0x80, kAny, "Other"},
    {0x09, 0x00, kAny, "Keyboard controller"},
    {0x09, 0x01, kAny, "Digitizer (pen)"},
    {0x09, 0x02, kAny, "Mouse controller"},
    {0x09, 0x03, kAny, "Scanning controller"},
    {0x09, 0x04, kAny, "Game controller"},
    {0x09, 0x80, kAny, "Other"},
    {0x0A, 0x00, kAny, "Generic docking station"},
    {0x0A, 0x80, kAny, "Other"},
    {0x0B, 0x00, kAny, "386"},
    {0x0B, 0x01, kAny, "486"},
    {0x0B, 0x02, kAny, "Pentium"},
    {0x0B, 0x10, kAny, "Alpha"},
    {0x0B, 0x20, kAny, "PowerPC"},
    {0x0B, 0x30, kAny, "MIPS"},
    {0x0B, 0x40, kAny, "Co-processor"},
    {0x0B, 0x80, kAny, "Other"},
    {0x0C, 0x00, kAny, "Firewire (IEEE 1394)"},
    {0x0C, 0x01, kAny, "ACCESS.bus"},
    {0x0C, 0x02, kAny, "SSA"},
    {0x0C, 0x03, kAny, "Universal Serial Bus (USB)"},
    {0x0C, 0x04, kAny, "Fibre Channel"},
    {0x0C, 0x05, kAny, "SM Bus"},
    {0x0C, 0x06, kAny, "InfiniBand"},
    {0x0C, 0x07, kAny, "IPMI interface"},
    {0x0C, 0x08, kAny, "SERCOS interface"},
    {0x0C, 0x09, kAny, "CANbus"},
    {0x0C, 0x0A, kAny, "MIPI I3C host controller"},
    {0x0C, 0x80, kAny, "Other"},
    {0x0D, 0x00, kAny, "iRDA controller"},
    {0x0D, 0x01, kAny, "Consumer IR controller"},
    {0x0D, 0x10, kAny, "RF controller"},
    {0x0D, 0x11, kAny, "Bluetooth controller"},
    {0x0D, 0x12, kAny, "Broadband controller"},
    {0x0D, 0x20, kAny, "Ethernet controller (802.11a)"},
    {0x0D, 0x21, kAny, "Ethernet controller (802.11b)"},
    {0x0D, 0x40, kAny, "Cellular modem"},
    {0x0D, 0x41, kAny, "Cellular modem with Ethernet"},
    {0x0D, 0x80, kAny, "Other"},
    {0x0E, 0x00, kAny, "I2O controller"},
    {0x0F, 0x01, kAny, "Satellite TV controller"},
    {0x0F, 0x02, kAny, "Satellite audio controller"},
    {0x0F, 0x03, kAny, "Satellite voice controller"},
    {0x0F, 0x04, kAny, "Satellite data controller"},
    {0x0F, 0x80, kAny, "Other"},
    {0x10, 0x00, kAny, "Network and computing en/decryption"},
    {0x10, 0x10, kAny, "Entertainment en/decryption"},
    {0x10, 0x80, kAny, "Other"},
    {0x11, 0x00, kAny, "DPIO module"},
    {0x11, 0x01, kAny, "Performance counters"},
    {0x11, 0x10, kAny, "Communication synchronisation"},
    {0x11, 0x20, kAny, "Management card"},
    {0x11, 0x80, kAny, "Other"},
    {0x12, 0x00, kAny, "Processing accelerator"},
    {0x13, 0x00, kAny, "Non-essential instrumentation"},
};

}  // namespace

const char* CPciCommonConfigHeader::GetPciBaseClassDescription(
    const CPciCommonConfigHeader& header) {
    constexpr std::uint8_t kOther = 0xFF;
    if (header.m_BaseClass == kOther) {
        return "Other";
    }
    return header.m_BaseClass < kBaseClasses.size() ? kBaseClasses[header.m_BaseClass] : kUnknown;
}

const char* CPciCommonConfigHeader::GetPciSubClassDescription(
    const CPciCommonConfigHeader& header) {
    for (const SubClass& row : kSubClasses) {
        if (row.BaseClass == header.m_BaseClass && row.SubClassNumber == header.m_SubClass &&
            (row.ProgrammingInterface == kAny ||
             row.ProgrammingInterface == header.m_ProgrammingInterface)) {
            return row.Name;
        }
    }
    return kUnknown;
}
