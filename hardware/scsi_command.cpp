#include "hardware/scsi_command.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "base/unique_fd.h"

namespace scsi {

namespace {

constexpr std::uint16_t kHostTimeOut = 3;  // of sg_io_hdr::host_status

// 0, or why a command that the kernel took has no answer.
int CommandError(const sg_io_hdr_t& request) {
    if ((request.info & SG_INFO_OK_MASK) == SG_INFO_OK) {
        return 0;
    }
    return request.host_status == kHostTimeOut ? ETIME : EREMOTEIO;
}

}  // namespace

int ReadVitalProductData(const std::string& node, std::uint8_t page,
                         std::chrono::milliseconds limit, std::string& bytes) {
    constexpr std::uint8_t kInquiry = 0x12;
    constexpr std::uint8_t kVitalProductData = 1;
    // Even, and one byte of length: some devices mistake more.
    constexpr std::uint8_t kAnswerMax = 252;
    const CUniqueFd fd(open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!fd.IsValid()) {
        return errno;
    }
    std::array<unsigned char, 6> command = {kInquiry, kVitalProductData, page, 0, kAnswerMax, 0};
    std::array<unsigned char, 32> sense{};
    std::array<char, kAnswerMax> answer{};
    sg_io_hdr_t request{};
    request.interface_id = 'S';
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.cmd_len = command.size();
    request.mx_sb_len = sense.size();
    request.dxfer_len = answer.size();
    request.dxferp = answer.data();
    request.cmdp = command.data();
    request.sbp = sense.data();
    request.timeout = static_cast<unsigned int>(limit.count());
    if (ioctl(fd.Get(), SG_IO, &request) != 0) {
        return errno;
    }
    const int missing = std::clamp(request.resid, 0, static_cast<int>(answer.size()));
    bytes.assign(answer.data(), answer.size() - static_cast<std::size_t>(missing));
    return CommandError(request);
}

}  // namespace scsi
