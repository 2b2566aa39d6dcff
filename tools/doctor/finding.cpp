#include "tools/doctor/finding.h"

#include <algorithm>

namespace doctor {

namespace {

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size() + 1), ' ');
    return text;
}

// A line end in what a file holds must not begin a line of its own.
std::string OnOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace

void CFindings::Ok(const std::string& check, const std::string& what) {
    m_List.push_back({check, Verdict::kOk, OnOneLine(what), ""});
}

void CFindings::Warning(const std::string& check, const std::string& what,
                        const std::string& cure) {
    m_List.push_back({check, Verdict::kWarning, OnOneLine(what), OnOneLine(cure)});
}

void CFindings::Error(const std::string& check, const std::string& what, const std::string& cure) {
    m_List.push_back({check, Verdict::kError, OnOneLine(what), OnOneLine(cure)});
}

bool CFindings::HasErrors() const {
    return std::any_of(m_List.begin(), m_List.end(),
                       [](const Finding& finding) { return finding.Judgement == Verdict::kError; });
}

std::string ShowFinding(const Finding& finding) {
    constexpr std::size_t kWordWidth = 9;
    constexpr std::size_t kCheckWidth = 13;
    std::string line = Padded(Word(finding.Judgement), kWordWidth) +
                       Padded(finding.Check, kCheckWidth) + finding.What;
    return finding.Cure.empty() ? line : line + " -> " + finding.Cure;
}

json_text::Json DescribeFindings(const CFindings& findings) {
    json_text::Json json;
    json["format"] = "morla doctor";
    json["version"] = 1;
    Verdict worst = Verdict::kOk;
    json["findings"] = json_text::Json::array();
    for (const Finding& finding : findings.List()) {
        worst = std::max(worst, finding.Judgement);
        json_text::Json entry;
        entry["check"] = finding.Check;
        entry["verdict"] = Word(finding.Judgement);
        json_text::SetText(entry, "what", finding.What);
        if (!finding.Cure.empty()) {
            json_text::SetText(entry, "cure", finding.Cure);
        }
        json["findings"].push_back(entry);
    }
    json["verdict"] = Word(worst);
    return json;
}

}  // namespace doctor
