/* The bus tables as a C program uses them. */
#include <errno.h>
#include <string.h>

#include "hardware/bus_tables.h"

/* 0, or the line of the check that failed: on the prepared tree, and where there is nothing. */
int CheckBusTables(void);
int CheckMissingSources(void);

#define CHECK(condition)     \
    do {                     \
        if (!(condition)) {  \
            return __LINE__; \
        }                    \
    } while (0)

static int CheckPci(void) {
    struct _QalbPciTable* table = NULL;
    CHECK(QalbScanPciSlots(&table) == 0 && table->Count == 1);
    const struct _QalbPciSlot* const row = &table->Rows[0];
    CHECK(row->Bus == 3 && row->Device == 0 && row->Function == 1 && row->SlotNumber == -1);
    CHECK(row->VendorId == 0x7FFF && row->DeviceId == 0x1533 && row->SubsystemVendorId == 0x103C);
    CHECK(row->Revision == 3 && row->Interface == 2 && row->SubClass == 1 && row->BaseClass == 5);
    CHECK(row->HeaderType == 0x80 && row->SubsystemId == 0xA1 && row->Segment == 0);
    CHECK(strcmp(row->Name, "Our card") == 0 && strcmp(row->SlotDesignation, "") == 0);
    QalbBusFree(table);
    return 0;
}

static int CheckIsa(void) {
    struct _QalbIsaTable* table = NULL;
    CHECK(QalbScanIsaSlots(&table) == 0 && table->Count >= 4);
    const struct _QalbIsaSlot* const rows = &table->Rows[table->Count - 4];
    CHECK(rows[0].Source == QALB_SOURCE_PNP && rows[0].Kind == QALB_RESOURCE_PORTS);
    CHECK(rows[0].First == 0x3F8 && rows[0].Last == 0x3FF && strcmp(rows[0].Owner, "serial") == 0);
    CHECK(rows[1].Kind == QALB_RESOURCE_IRQ && rows[1].First == 4 && rows[1].Last == 4);
    CHECK(rows[2].Kind == QALB_RESOURCE_DMA && strcmp(rows[2].PnpIds, "PNP0501,PNP0500") == 0);
    CHECK(rows[3].Kind == QALB_RESOURCE_NONE && strcmp(rows[3].Device, "00:01") == 0);
    CHECK(strcmp(rows[3].Owner, "") == 0);
    QalbBusFree(table);
    return 0;
}

static int CheckMac(void) {
    static const uint8_t kAddress[6] = {0x02, 0xFC, 0, 0, 0, 1};
    struct _QalbMacTable* table = NULL;
    CHECK(QalbBusGetMACInformation(&table) == 0 && table->Count == 1);
    const struct _QalbMacInformation* const row = &table->Rows[0];
    CHECK(strcmp(row->Name, "eth0") == 0 && row->AddressLength == sizeof kAddress);
    CHECK(memcmp(row->Address, kAddress, sizeof kAddress) == 0 && row->IsOwnAddress == -1);
    CHECK(row->IsOnPci == 1 && row->Bus == 3 && row->Function == 1 && row->IsVirtual == 1);
    QalbBusFree(table);
    return 0;
}

static int CheckMounts(void) {
    struct _QalbMountTable* table = NULL;
    CHECK(QalbBusGetMountedFileSystems(&table) == 0 && table->Count == 2);
    CHECK(strcmp(table->Rows[0].MountPoint, "/a b") == 0 &&
          strcmp(table->Rows[0].Type, "xfs") == 0);
    CHECK(strcmp(table->Rows[1].Device, "tmpfs") == 0 && strcmp(table->Rows[1].Options, "rw") == 0);
    QalbBusFree(table);
    return 0;
}

int CheckBusTables(void) {
    int line = CheckPci();
    line = line != 0 ? line : CheckIsa();
    line = line != 0 ? line : CheckMac();
    line = line != 0 ? line : CheckMounts();
    if (line != 0) {
        return line;
    }
    struct _QalbBusTables* all = NULL;
    CHECK(QalbBusBuildTables(&all) == 0);
    CHECK(all->Pci->Count == 1 && all->Isa->Count >= 4 && all->Mac->Count == 1);
    CHECK(all->Mounts->Count == 2 && all->MountsError == 0);
    QalbBusFreeTables(all);
    return 0;
}

int CheckMissingSources(void) {
    struct _QalbBusTables* all = NULL;
    CHECK(QalbBusBuildTables(NULL) == EINVAL && QalbScanIsaSlots(NULL) == EINVAL);
    CHECK(QalbBusBuildTables(&all) == 0);
    CHECK(all->Pci == NULL && all->PciError == ENODEV);
    CHECK(all->Mounts == NULL && all->MountsError == ENOENT);
    CHECK(all->Mac != NULL && all->Mac->Count == 0 && all->MacError == 0);
    QalbBusFreeTables(all);
    QalbBusFreeTables(NULL);
    QalbBusFree(NULL);
    return 0;
}
