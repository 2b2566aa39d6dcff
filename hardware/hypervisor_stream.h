// The SMBIOS tables out of the stream that an ESX hypervisor's device gives: the entry point, and
// right behind it the table.
#pragma once

#include <functional>

#include "base/file_io.h"
#include "hardware/data_stream.h"

namespace hypervisor_stream {

// Sets `header` to the entry point and `data` to the table with what came from behind it, 32 bytes
// at most. False, with both unchanged, when the stream does not hold them; the trace says why.
// `read` gives the stream's next bytes; `rewind` puts it back to its start and is called once. The
// number of reads is limited, also on a stream without end.
[[nodiscard]] bool ReadTables(const ReadFunction& read, const std::function<void()>& rewind,
                              CDataStream& header, CDataStream& data);

}  // namespace hypervisor_stream
