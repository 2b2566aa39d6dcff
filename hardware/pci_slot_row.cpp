#include "hardware/pci_slot_row.h"

#include <array>
#include <cstdio>

#include "trace/debug.h"

namespace {

struct SlotTypeRange {
    std::uint8_t First;
    std::uint8_t Last;
    PciSlotKind Kind;
};
// Deliberate: codes that were given out later, 0xB7 and above and 0x24 to 0x30, count as parallel.
constexpr std::array kSerialTypes = {
    SlotTypeRange{0xA5, 0xB6, PciSlotKind::kPciExpress},
    SlotTypeRange{0x1F, 0x20, PciSlotKind::kPciExpress},
    SlotTypeRange{0x21, 0x23, PciSlotKind::kPciExpressMini},
    SlotTypeRange{0x18, 0x1E, PciSlotKind::kMxm},
    SlotTypeRange{0x14, 0x17, PciSlotKind::kM2},
};

}  // namespace

PciSlotKind FindPciSlotKind(std::uint8_t slotType) {
    for (const SlotTypeRange& range : kSerialTypes) {
        if (range.First <= slotType && slotType <= range.Last) {
            return range.Kind;
        }
    }
    return PciSlotKind::kParallel;
}

bool PciSlotData::IsSerialBus() const {
    const PciSlotKind kind = FindPciSlotKind(m_SlotType);
    switch (kind) {
    case PciSlotKind::kPciExpress:
        Debug.Print(5,
                    "\nPciSlotData::IsSerialBus(): Slot %d is a PCI Express bus (SMBios type = %x) "
                    "--> SERIAL.",
                    m_Slot, m_SlotType);
        break;
    case PciSlotKind::kPciExpressMini:
        Debug.Print(5,
                    "\nPciSlotData::IsSerialBus(): Slot %d is a PCI Express Mini bus (SMBios type "
                    "= %x) --> SERIAL.",
                    m_Slot, m_SlotType);
        break;
    case PciSlotKind::kMxm:
        Debug.Print(5,
                    "\nPciSlotData::IsSerialBus(): Slot %d is a MXM bus (SMBios type = %x) --> "
                    "SERIAL.",
                    m_Slot, m_SlotType);
        break;
    case PciSlotKind::kM2:
        Debug.Print(5,
                    "\nPciSlotData::IsSerialBus(): Slot %d is a M.2 bus (SMBios type = %x) --> "
                    "SERIAL.",
                    m_Slot, m_SlotType);
        break;
    case PciSlotKind::kParallel:
        Debug.Print(5,
                    "\nPciSlotData::IsSerialBus(): Slot %d is NOT a serial bus (SMBios type = %x) "
                    "--> PARALLEL",
                    m_Slot, m_SlotType);
        break;
    }
    return kind != PciSlotKind::kParallel;
}

std::string PciSlotData::ToString() const {
    const char* kind = "Unknown bus type";
    if (m_SlotType > kTypeUnknown) {
        kind = IsSerialBus() ? "Serial bus" : "Parallel bus";
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "PciSlotData %x:%x.** --> Slot %d (%s)", m_Bus,
                  m_Device, m_Slot, kind);
    return text.data();
}

bool PciSlotData::operator==(const PciSlotData& other) const {
    return m_Bus == other.m_Bus && (IsSerialBus() || m_Device == other.m_Device);
}
