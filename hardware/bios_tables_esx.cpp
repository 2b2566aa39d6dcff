// CBiosTables: the tables as a character device of an ESX hypervisor.
//
// The device gives the entry point and right behind it the table, from the start after each open.
#include <fcntl.h>

#include "base/file_io.h"
#include "base/paths.h"
#include "base/unique_fd.h"
#include "hardware/bios_tables.h"
#include "hardware/hypervisor_stream.h"
#include "trace/debug.h"

namespace {

// Without blocking, in case a captured tree has a pipe there.
int OpenDevice() {
    return open(paths::kHypervisorSmbios, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

}  // namespace

bool CBiosTables::GetBiosTableESX(CDataStream& header, CDataStream& data) {
    CUniqueFd device(OpenDevice());
    if (!device.IsValid()) {
        return false;
    }
    Debug.Print(1, "GetBiosTableESX        : we are running on ESX; file %s succesfully opened!\n",
                paths::kHypervisorSmbios);
    const auto read = [&](void* buffer, std::size_t size) {
        return ReadOnce(device.Get(), buffer, size);
    };
    const auto rewind = [&] {
        device.Reset();
        device.Reset(OpenDevice());
    };
    return hypervisor_stream::ReadTables(read, rewind, header, data);
}
