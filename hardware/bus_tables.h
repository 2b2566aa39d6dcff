// The bus tables for C: PCI functions, ISA and PnP resources, MAC addresses, mounted file systems.
//
// Usable from C (C11) and C++. Each operation makes one table of the state at that moment:
//
//     struct _QalbPciTable* table;
//     if (QalbScanPciSlots(&table) == 0) {
//         for (size_t i = 0; i < table->Count; ++i) {
//             puts(table->Rows[i].Name);
//         }
//         QalbBusFree(table);
//     }
//
// Ownership: a table with its rows and texts is one block, which the caller gives back as a whole
// with QalbBusFree (what QalbBusBuildTables made, with QalbBusFreeTables). Nothing points
// elsewhere. Errors: 0, or an errno number; then the pointer is null. ENOMEM always means that
// memory ran out, EINVAL that `table` is null. An empty table is no error. Texts: never null,
// terminated, empty where nothing is known; bytes as the system has them, so not always UTF-8.
// Threads: from any, several at once.
#pragma once

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): also read by C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): also read by C

#include "base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// A PCI function. Rows are ordered by address.
struct _QalbPciSlot {
    uint16_t Segment;
    uint8_t Bus;
    uint8_t Device;      // 0 to 31
    uint8_t Function;    // 0 to 7
    uint8_t HeaderType;  // with the multi-function bit 0x80
    uint8_t Revision;
    uint8_t BaseClass;
    uint8_t SubClass;
    uint8_t Interface;  // programming interface
    uint16_t VendorId;
    uint16_t DeviceId;
    uint16_t SubsystemVendorId;  // 0 when the header has none
    uint16_t SubsystemId;        // 0 when the header has none
    int32_t SlotNumber;          // -1: no slot is known
    const char* Name;            // never empty
    const char* VendorName;
    const char* SlotDesignation;  // what the firmware calls the slot
    const char* SlotReason;       // why it has this slot, or none: one line for people
};
struct _QalbPciTable {
    size_t Count;
    const struct _QalbPciSlot* Rows;
};

enum {
    QALB_RESOURCE_NONE = 0,  // the device has no resource that the caller may see
    QALB_RESOURCE_PORTS = 1,
    QALB_RESOURCE_MEMORY = 2,
    QALB_RESOURCE_IRQ = 3,
    QALB_RESOURCE_DMA = 4
};
enum {
    QALB_SOURCE_IOPORTS = 1,  // the kernel's list of I/O ports
    QALB_SOURCE_PNP = 2       // a PnP device
};

// A resource in use. First the ranges of the kernel's list in its order, each followed by those
// within it; then the PnP devices by their names, a row for each resource, or one without any.
struct _QalbIsaSlot {
    uint32_t Source;     // QALB_SOURCE_
    uint32_t Kind;       // QALB_RESOURCE_; PORTS in the kernel's list
    uint64_t First;      // port, address, number of the interrupt or of the DMA channel
    uint64_t Last;       // still part of it
    uint32_t Depth;      // in the kernel's list: how many ranges are around this one
    const char* Owner;   // in the kernel's list: who has it; of a PnP device: its driver
    const char* Device;  // of a PnP device: its name, "00:01"
    const char* PnpIds;  // of a PnP device: "PNP0501", several separated by commas
};
struct _QalbIsaTable {
    size_t Count;
    const struct _QalbIsaSlot* Rows;
};

// A network interface with a hardware address. Rows are ordered by name.
struct _QalbMacInformation {
    const char* Name;
    const char* State;       // "up", "down", ... as the kernel says it
    uint8_t Address[32];     // the first AddressLength bytes
    uint32_t AddressLength;  // 6 for Ethernet, 20 for InfiniBand
    int32_t IsOwnAddress;    // 1: the card's own; 0: set later; -1: not known
    int32_t IsVirtual;       // 1: made by software (bridge, bond, VLAN)
    int32_t IsOnPci;         // 1: the next four are the address of its PCI function
    uint16_t Segment;
    uint8_t Bus;
    uint8_t Device;
    uint8_t Function;
};
struct _QalbMacTable {
    size_t Count;
    const struct _QalbMacInformation* Rows;
};

// A mounted file system, in the order of the system's table.
struct _QalbMountedFileSystem {
    const char* Device;
    const char* MountPoint;
    const char* Type;
    const char* Options;  // separated by commas
};
struct _QalbMountTable {
    size_t Count;
    const struct _QalbMountedFileSystem* Rows;
};

// All tables at once. One that cannot be made is null, with its errno number beside it.
struct _QalbBusTables {
    struct _QalbPciTable* Pci;
    struct _QalbIsaTable* Isa;
    struct _QalbMacTable* Mac;
    struct _QalbMountTable* Mounts;
    int PciError;
    int IsaError;
    int MacError;
    int MountsError;
};

// ENODEV when the list of PCI functions cannot be read.
MORLA_API int QalbScanPciSlots(struct _QalbPciTable** table);

// When the list of I/O ports cannot be read and there is no PnP device either, the error of the
// former: EACCES for an ordinary user, from whom the kernel hides the numbers.
MORLA_API int QalbScanIsaSlots(struct _QalbIsaTable** table);

// Interfaces of the caller's network namespace.
MORLA_API int QalbBusGetMACInformation(struct _QalbMacTable** table);

// The error of reading /etc/mtab, if any.
MORLA_API int QalbBusGetMountedFileSystems(struct _QalbMountTable** table);

// 0 also when some or all of the tables are missing.
MORLA_API int QalbBusBuildTables(struct _QalbBusTables** table);

// Gives one table back; null is fine.
MORLA_API void QalbBusFree(void* table);

// Gives all tables back, and the record; null is fine.
MORLA_API void QalbBusFreeTables(struct _QalbBusTables* table);

#ifdef __cplusplus
}
#endif
