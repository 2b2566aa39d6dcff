// CSMBios: the search for the entry point in the BIOS shadow memory, for machines whose system
// offers nothing better.
#include "hardware/smbios.h"
#include "trace/debug.h"

using smbios_tables::AnchorHit;
using smbios_tables::AnchorState;

namespace {

constexpr unsigned int kShadowAddress = 0xE0000;
constexpr unsigned long kShadowLength = 0x20000;

void TraceEntryPoint(const _DMI_21_EPS& entryPoint) {
    Debug.Print(3, "\nCheckSmbiosHeader   :   size of header: %d bytes", entryPoint.Length);
    Debug.Print(3, "\nCheckSmbiosHeader   :   anchor string:  \"%.4s\"",
                static_cast<const char*>(entryPoint.Anchor));
    Debug.Print(3, "\nCheckSmbiosHeader   :   DMI Version:    %d.%d (BCD Rev: %02X)",
                entryPoint.MajorVersion, entryPoint.MinorVersion, entryPoint.BcdRevision);
    Debug.Print(3, "\nCheckSmbiosHeader   :   struct count:   %d", entryPoint.StructureCount);
    Debug.Print(3, "\nCheckSmbiosHeader   :   struct address: 0x%08X, size 0x%04X",
                entryPoint.TableAddress, entryPoint.TableLength);
}

}  // namespace

bool CSMBios::getSmbiosDataFromBiosShadowMemory(CDataStream& header, CDataStream& data) {
    CDeviceBios bios;
    bios.Connect();
    Debug.Print(2,
                "\nCSMBios (GetShadow) : Get SMBIOS data from BIOS shadow memory (E0000...FFFFF)");
    Debug.Print(3, "\nCSMBios (GetShadow) :   map physical memory 0x%05X length 0x%04X",
                kShadowAddress, static_cast<unsigned int>(kShadowLength));
    const bool isRead = ReadShadow(bios, header, data);
    bios.UnmapPhysicalMemory();
    bios.Disconnect();
    if (!isRead) {
        Debug.Print(1, "\n\nCSMBios (GetShadow) : ## ERROR! %s", m_LastError.c_str());
    }
    return isRead;
}

bool CSMBios::ReadShadow(CDeviceBios& bios, CDataStream& header, CDataStream& data) {
    const unsigned char* const shadow =
        bios.MapPhysicalMemory(0, kShadowAddress, kShadowLength, false);
    if (shadow == nullptr) {
        SetLastError("Could not map SMBIOS physical memory (LastError = 0x%08X)!",
                     static_cast<unsigned int>(bios.GetLastError()));
        return false;
    }
    unsigned int address = 0;
    unsigned long length = 0;
    CDataStream foundHeader;
    if (!ScanForSignature(CByteView(shadow, kShadowLength), address, length, foundHeader)) {
        m_LastError = "No SMBIOS structures found!";
        return false;
    }
    if (address == 0) {
        m_LastError = "No address for SMBIOS strucures detected!";
        return false;
    }
    bios.UnmapPhysicalMemory();
    Debug.Print(3,
                "\nCSMBios (GetShadow) : SMBIOS structure address found; map this physical address "
                "(0x%08X size %d)...",
                address, static_cast<int>(length));
    const unsigned char* const table = bios.MapPhysicalMemory(0, address, length, false);
    if (table == nullptr) {
        SetLastError("Remapping of SMBIOS structure memory failed (LastError = 0x%08X)!",
                     static_cast<unsigned int>(bios.GetLastError()));
        return false;
    }
    data = CDataStream(table, length);
    header = foundHeader;
    return true;
}

bool CSMBios::ScanForSignature(CByteView range, unsigned int& tableAddress,
                               unsigned long& tableLength, CDataStream& header) {
    const auto physical = [](std::size_t offset) {
        return kShadowAddress + static_cast<unsigned int>(offset);
    };
    AnchorHit hit = smbios_tables::FindAnchor(range, 0);
    while (hit.State == AnchorState::kNonParagraph || hit.State == AnchorState::kOther) {
        if (hit.State == AnchorState::kNonParagraph) {
            Debug.Print(6,
                        "\nScanForSignature    :   '_' found at a non-paragraph address (0x%08X), "
                        "continue searching",
                        physical(hit.Offset));
        }
        hit = smbios_tables::FindAnchor(range, hit.Offset + 1);
    }
    bool isDetected = false;
    if (hit.State == AnchorState::kFound) {
        Debug.Print(3,
                    "\nScanForSignature    : SMBIOS signature \"_SM_\" found (SM BIOS >= 2.1) at "
                    "0x%08X",
                    physical(hit.Offset));
        // A first entry point that is bad ends the search.
        const CByteView found = range.Part(hit.Offset);
        isDetected =
            checkSmbiosHeader(found.Data(), tableAddress, tableLength, header, found.Size());
    }
    Debug.Print(3, "\nScanForSignature    : -> SMBIOS %sdetected", isDetected ? "" : "NOT ");
    return isDetected;
}

bool CSMBios::checkSmbiosHeader(const unsigned char* entryPoint, unsigned int& tableAddress,
                                unsigned long& tableLength, CDataStream& header,
                                unsigned long readable) {
    constexpr std::size_t kDumped = 32;  // bytes
    if (entryPoint == nullptr) {
        return false;
    }
    const CByteView bytes(entryPoint, readable);
    if (Debug.IsLevelActive(5)) {
        std::string dump;
        CDataStream::DumpHex(dump, bytes.Data(), bytes.Part(0, kDumped).Size(), true, true, 16, 1,
                             nullptr);
        Debug.Print(5, "\n%s", dump.c_str());
    }
    _DMI_21_EPS fields{};
    if (!bytes.Copy(0, fields) || !bytes.Holds(0, fields.Length)) {
        Debug.Print(1, "\nCheckSmbiosHeader   : ## ERROR! The entry point is cut off");
        return false;
    }
    tableAddress = fields.TableAddress;
    tableLength = fields.TableLength;
    m_StructureCount = fields.StructureCount;
    TraceEntryPoint(fields);
    // Deliberate: a length of 0 skips the sum, and the header stays empty.
    const CByteView summed = bytes.Part(0, fields.Length);
    if (!smbios_tables::IsChecksumZero(summed)) {
        Debug.Print(1, "\n\nCheckSmbiosHeader   : ## CHECKSUM ERROR in DMI structure header!\n");
        return false;
    }
    Debug.Print(2, "\nCheckSmbiosHeader   : Checksum OK, storing header");
    header = CDataStream(summed);
    return true;
}
