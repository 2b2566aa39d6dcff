#include "hardware/drive_serial.h"

#include <cerrno>
#include <chrono>
#include <memory>
#include <vector>

#include "base/error_text.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "hardware/bounded_call.h"
#include "hardware/drive_place.h"
#include "hardware/scsi_command.h"
#include "hardware/scsi_inquiry.h"
#include "hardware/sysfs.h"

namespace {

constexpr char kCachedPages[] = "the kernel's copy of VPD page 80h";
constexpr char kDrivePages[] = "VPD page 80h of the drive";
constexpr char kIdentityPages[] = "VPD page 83h";

// A page, or why there is none.
struct Page {
    std::string Bytes;
    std::string Reason;
};

Page ReadCachedPage(const std::string& deviceFolder, const char* attribute) {
    Page page;
    const std::string path = deviceFolder + '/' + attribute;
    if (ReadKernelFile(path.c_str(), page.Bytes) != 0) {
        page.Reason = "the kernel has no copy of it";
    }
    return page;
}

// Why the drive must not be asked; null when it may be.
const char* ReasonNotToAsk(const CSystemDrive& drive, const std::string& deviceFolder,
                           const _ScanOptions& options) {
    if (drive.m_GenericNode.empty()) {
        return "the drive has no SCSI generic node to ask it through";
    }
    if ((options.Flags & kScanNoInquiry) != 0) {
        return "the kernel does not give it, and the scan was not to ask the drive";
    }
    if (drive.m_Transport == "usb") {
        return "the kernel does not give it, and USB drives are not asked";
    }
    const auto power = sysfs::ReadAttribute(deviceFolder + "/power/runtime_status");
    if (power == "suspended" || power == "suspending") {
        return "the kernel does not give it, and the drive sleeps";
    }
    const auto state = sysfs::ReadAttribute(deviceFolder + "/state");
    return !state || *state == "running" ? nullptr : "the drive is not running";
}

Page AskDrive(const CSystemDrive& drive, std::uint8_t code, DriveQuestions& questions) {
    struct Answer {
        int Error = 0;
        std::string Bytes;
    };
    Page page;
    if (questions.Time.IsUsedUp()) {
        page.Reason = CScanTime::kUsedUp;
        return page;
    }
    const std::string node = std::string(paths::kDevices) + '/' + drive.m_GenericNode;
    const std::chrono::milliseconds limit(questions.Options.InquiryLimitMs);
    const auto answer = std::make_shared<Answer>();
    // The command has its own limit, so some time more is left for its end. When the scan has less
    // time, the command keeps its limit: the kernel may reset a bus for one that runs out.
    const auto outcome =
        questions.Time.Run("inquiry " + node, limit + limit / 2, [answer, node, code, limit] {
            answer->Error = scsi::ReadVitalProductData(node, code, limit, answer->Bytes);
        });
    if (outcome != bounded_call::Outcome::kDone) {
        page.Reason = std::string("asked ") + node + ": " + bounded_call::Reason(outcome);
    } else if (answer->Error == EREMOTEIO) {
        page.Reason = "the drive refuses the question";
    } else if (answer->Error != 0) {
        page.Reason = "asked " + node + ": " + CErrorText(answer->Error).Get();
    } else {
        page.Bytes = std::move(answer->Bytes);
    }
    return page;
}

void TakeSerial(CSystemDrive& drive, const std::optional<std::string>& serial, const char* source) {
    if (!drive.m_Serial.IsKnown() && serial && !serial->empty()) {
        drive.m_Serial = CFinding(*serial);
        drive.m_SerialSource = source;
    }
}

void TakeSerialPage(CSystemDrive& drive, const Page& page, const char* source) {
    const auto serial = scsi::ParseUnitSerial(CByteView(page.Bytes));
    TakeSerial(drive, serial, source);
    if (!drive.m_Serial.IsKnown()) {
        std::string reason = page.Reason;
        if (reason.empty()) {
            reason = serial ? "the drive gives an empty one" : "VPD page 80h is not readable";
        }
        drive.m_Serial = CFinding<std::string>::Absent(reason);
    }
}

void TakeIdentityPage(CSystemDrive& drive, const Page& page) {
    const auto designators = scsi::ParseDesignators(CByteView(page.Bytes));
    const std::string name = scsi::WorldWideName(designators);
    if (!name.empty()) {
        drive.m_Wwn = CFinding(name);
    } else {
        drive.m_Wwn = CFinding<std::string>::Absent(page.Reason.empty() ? "the drive gives none"
                                                                        : page.Reason);
    }
    const auto identity = scsi::FindAtaIdentity(designators);
    if (identity) {
        drive.m_Model = identity->Model.empty() ? drive.m_Model : identity->Model;
        TakeSerial(drive, identity->Serial, kIdentityPages);
    }
}

void ReadScsiIdentity(CSystemDrive& drive, const std::string& deviceFolder,
                      DriveQuestions& questions) {
    const Page serialPage = ReadCachedPage(deviceFolder, "vpd_pg80");
    const Page identityPage = ReadCachedPage(deviceFolder, "vpd_pg83");
    TakeSerialPage(drive, serialPage, kCachedPages);
    TakeIdentityPage(drive, identityPage);
    if (drive.m_Transport == "usb") {
        const std::string usb = drive_place::FindFolderAbove(deviceFolder, "idVendor");
        TakeSerial(drive, sysfs::ReadAttribute(usb + "/serial"), "the USB device");
    }
    // What the kernel has copied is not asked for again.
    const char* const reason = ReasonNotToAsk(drive, deviceFolder, questions.Options);
    const Page unasked = {"", reason != nullptr ? reason : ""};
    if (!drive.m_Serial.IsKnown() && !serialPage.Reason.empty()) {
        const Page page =
            reason != nullptr ? unasked : AskDrive(drive, scsi::kUnitSerialPage, questions);
        TakeSerialPage(drive, page, kDrivePages);
    }
    if (!drive.m_Wwn.IsKnown() && !identityPage.Reason.empty()) {
        const Page page =
            reason != nullptr ? unasked : AskDrive(drive, scsi::kIdentificationPage, questions);
        TakeIdentityPage(drive, page);
    }
}

}  // namespace

void ReadDriveIdentity(CSystemDrive& drive, const std::string& blockFolder,
                       const std::string& deviceFolder, DriveQuestions& questions) {
    if (drive.m_ScsiAddress) {
        ReadScsiIdentity(drive, deviceFolder, questions);
        return;
    }
    const auto name = sysfs::ReadAttribute(blockFolder + "/wwid");
    drive.m_Wwn = name && !name->empty() ? CFinding(*name)
                                         : CFinding<std::string>::Absent("the kernel gives none");
    drive.m_Serial = CFinding<std::string>::Absent("the kernel gives none");
    TakeSerial(drive, sysfs::ReadAttribute(deviceFolder + "/serial"), "the kernel");
    TakeSerial(drive, sysfs::ReadAttribute(blockFolder + "/serial"), "the kernel");
}
