// Sends INQUIRY to a SCSI device.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace scsi {

// Asks the device behind the node ("/dev/sg0") for a page of its vital product data. 0 with the
// answer in `bytes`, or an errno number: of the open or the command, ETIME when `limit` passed,
// EREMOTEIO when the device refused. The node is opened for reading, and INQUIRY neither spins a
// drive up nor changes anything. May sleep in the kernel longer than `limit` when the host adapter
// recovers from errors: call it by bounded_call::Run.
[[nodiscard]] int ReadVitalProductData(const std::string& node, std::uint8_t page,
                                       std::chrono::milliseconds limit, std::string& bytes);

}  // namespace scsi
