#include "hardware/hypervisor_stream.h"

#include <sys/types.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/error_text.h"
#include "base/paths.h"
#include "hardware/dmi_records.h"
#include "trace/debug.h"

namespace {

constexpr std::size_t kReadMax = 64;      // bytes asked for at once of the entry point
constexpr std::size_t kBehindTable = 32;  // bytes that may follow the table
constexpr ssize_t kSkipMax = 64L * 1024;  // bytes read beyond the entry point in search of its end
constexpr const char* kDevice = paths::kHypervisorSmbios;

// As read(2) returns it.
ssize_t LengthOf(const ReadResult& result) {
    return result.Error != 0 ? -1 : static_cast<ssize_t>(result.Bytes);
}

bool ReadEntryPoint(const ReadFunction& read, _DMI_21_EPS& entryPoint) {
    unsigned char bytes[kReadMax]{};
    const ReadResult got = read(bytes, sizeof bytes);
    std::memcpy(&entryPoint, bytes, sizeof entryPoint);
    if (got.Bytes < sizeof entryPoint) {
        Debug.Print(1,
                    "GetBiosTableESX        : ERROR: read SMBIOS header from %s failed! (readlen "
                    "= %d, hdrlen = %d), Reason: %s\n",
                    kDevice, static_cast<int>(LengthOf(got)), entryPoint.Length,
                    CErrorText(got.Error).Get());
        return false;
    }
    if (Debug.IsLevelActive(5)) {
        std::string dump;
        CDataStream::DumpHex(dump, bytes, got.Bytes, true, true, 16, 1, nullptr);
        Debug.Print(5, "\n%s", dump.c_str());
    }
    return true;
}

// Reads the entry point once more, to stand at the table.
bool SkipEntryPoint(const ReadFunction& read, std::size_t length) {
    unsigned char bytes[kReadMax];
    auto outstanding = static_cast<ssize_t>(length);
    for (;;) {
        // Deliberate: every read asks for the same number of bytes, and only one that ends exactly
        // behind the entry point ends the loop. An entry point of more than 64 bytes is skipped
        // only by a device that gives it in such pieces.
        const ReadResult got = read(bytes, std::min(length, kReadMax));
        if (got.Error == 0 && LengthOf(got) == outstanding) {
            return true;
        }
        outstanding -= static_cast<ssize_t>(got.Bytes);
        // Nothing more can come at the end of the device; one without an end is given up.
        if (got.Bytes == 0 || outstanding < -kSkipMax) {
            Debug.Print(1,
                        "GetBiosTableESX        : ERROR: read SMBIOS header from %s failed! (len "
                        "= %d, BytesToRead = %d), Reason: %s\n",
                        kDevice, static_cast<int>(LengthOf(got)), static_cast<int>(outstanding),
                        CErrorText(got.Error).Get());
            return false;
        }
    }
}

bool ReadTable(const ReadFunction& read, std::size_t tableLength, CDataStream& data) {
    std::vector<unsigned char> bytes(tableLength + kBehindTable);
    const ReadResult got = ReadFully(read, bytes.data(), bytes.size());
    const std::size_t length = got.Bytes;
    if (got.Error != 0) {
        Debug.Print(1,
                    "GetBiosTableESX        : ERROR: read SMBIOS Table from %s failed! "
                    "(BytesToRead = %d), Reason: %s\n",
                    kDevice, static_cast<int>(bytes.size() - length), CErrorText(got.Error).Get());
        return false;
    }
    if (length < tableLength) {
        Debug.Print(1,
                    "GetBiosTableESX        : ERROR: read SMBIOS Table from %s failed! (len = %d, "
                    "TableLen = %d), Reason: no sufficiant data available\n",
                    kDevice, static_cast<int>(length), static_cast<int>(tableLength));
        return false;
    }
    Debug.Print(1,
                "GetBiosTableESX        : %d bytes read from SMBIOS Table %s (TableLen = %d, "
                "BytesToRead = %d)\n",
                static_cast<int>(length), kDevice, static_cast<int>(tableLength),
                static_cast<int>(bytes.size() - length));
    // Deliberate: what came from behind the table is kept.
    data = CDataStream(bytes.data(), length);
    return true;
}

}  // namespace

bool hypervisor_stream::ReadTables(const ReadFunction& read, const std::function<void()>& rewind,
                                   CDataStream& header, CDataStream& data) {
    _DMI_21_EPS entryPoint{};
    if (!ReadEntryPoint(read, entryPoint)) {
        return false;
    }
    rewind();
    CDataStream foundData;
    if (!SkipEntryPoint(read, entryPoint.Length) ||
        !ReadTable(read, entryPoint.TableLength, foundData)) {
        return false;
    }
    header = CDataStream(reinterpret_cast<const unsigned char*>(&entryPoint), sizeof entryPoint);
    data = foundData;
    return true;
}
