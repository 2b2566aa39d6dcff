// What morlactl doctor says: one finding for each thing that it looked at.
#pragma once

#include <string>
#include <vector>

#include "inventory/json_text.h"
#include "tools/verdict.h"

namespace doctor {

using tools::Verdict;

struct Finding {
    std::string Check;  // what was looked at: "lock", "ring", ...
    Verdict Judgement;
    std::string What;  // one sentence without its full stop
    std::string Cure;  // what to do about it; empty for kOk
};

// In the order in which they are shown.
class CFindings {
public:
    void Ok(const std::string& check, const std::string& what);
    void Warning(const std::string& check, const std::string& what, const std::string& cure);
    void Error(const std::string& check, const std::string& what, const std::string& cure);

    [[nodiscard]] const std::vector<Finding>& List() const { return m_List; }
    [[nodiscard]] bool HasErrors() const;

private:
    std::vector<Finding> m_List;
};

// One line: the judgement, the check, what was found and, behind an arrow, the cure. Bytes that
// came from files are in it as they are.
[[nodiscard]] std::string ShowFinding(const Finding& finding);
// Layout version 1, in docs/morlactl.md.
[[nodiscard]] json_text::Json DescribeFindings(const CFindings& findings);

}  // namespace doctor
