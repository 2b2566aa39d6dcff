// Answers of SCSI devices to INQUIRY: standard data, page 80h, page 83h.
//
// Input: the answer.
#include <algorithm>
#include <string>

#include "fuzz/input.h"
#include "hardware/scsi_inquiry.h"

namespace {

bool IsPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// A text of the answer: printable, without blanks around it, and standing in the bytes.
void CheckText(std::string_view text, std::string_view bytes, const char* promise) {
    fuzz::Require(IsPrintable(text) && bytes.find(text) != std::string_view::npos, promise);
    fuzz::Require(text.empty() || (text.front() != ' ' && text.back() != ' '), promise);
}

void CheckStandardData(std::string_view bytes) {
    const auto inquiry = scsi::ParseStandardInquiry(CByteView(bytes));
    fuzz::Require(inquiry.has_value() == (bytes.size() >= 5), "five bytes are standard data");
    if (inquiry) {
        CheckText(inquiry->Vendor, bytes, "a vendor is text of its field");
        fuzz::Require(inquiry->Vendor.size() <= 8 && inquiry->Product.size() <= 16 &&
                          inquiry->Revision.size() <= 4,
                      "a text fits its field");
        CheckText(inquiry->Product, bytes, "a product is text of its field");
        CheckText(inquiry->Revision, bytes, "a revision is text of its field");
        fuzz::Require(inquiry->Revision.empty() || bytes.size() >= 36, "no text is behind the end");
    }
}

// The designators cover the page from its head on, without a gap.
void CheckDesignators(std::string_view bytes) {
    const auto designators = scsi::ParseDesignators(CByteView(bytes));
    std::size_t end = 4;
    for (const scsi::Designator& designator : designators) {
        const std::string_view text = designator.Bytes.Text();
        fuzz::Require(fuzz::IsInside(text, bytes), "a designator lies in its page");
        end += 4;
        fuzz::Require(text.empty() || text.data() == bytes.data() + end,
                      "a designator follows the one before");
        end += text.size();
        fuzz::Require(end <= bytes.size(), "no designator is cut");
    }
    const std::string name = scsi::WorldWideName(designators);
    const std::size_t digits = name.empty() ? 0 : name.size() - (name[0] == '0' ? 2 : 4);
    fuzz::Require(digits == 0 || (digits >= 16 && digits <= 32 && digits % 2 == 0),
                  "a world-wide name has 8 to 16 bytes");
    const auto identity = scsi::FindAtaIdentity(designators);
    if (identity) {
        CheckText(identity->Model, bytes, "a model stands in the page");
        CheckText(identity->Serial, bytes, "a serial number stands in the page");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::Text(data, size);
    CheckStandardData(bytes);
    CheckDesignators(bytes);
    const auto serial = scsi::ParseUnitSerial(CByteView(bytes));
    fuzz::Require(!serial || (bytes.size() >= 4 && data[1] == scsi::kUnitSerialPage),
                  "a serial number comes from its page");
    CheckText(serial.value_or(""), bytes, "a serial number is text of its page");
    return 0;
}
