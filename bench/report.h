// The table on standard output, line by line as results come, and the same as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/comparison.h"

namespace bench {

class CReport {
public:
    CReport();
    // Nothing: what the comparison needs does not exist yet.
    void Add(const Comparison& comparison, const Outcome& outcome);
    void AddFailure(const Comparison& comparison, const char* why);
    void Add(const Growth& growth, const std::vector<Point>& points);

    [[nodiscard]] bool IsEmpty() const { return m_Rows.empty() && m_Growth.empty(); }
    // Writes the JSON file unless its name is empty. True when every run was valid.
    bool Finish(const std::string& jsonFile) const;

private:
    void PrintRow(const Comparison& comparison, const std::string& ours, const std::string& peer,
                  const std::string& ratio, const std::string& verdict,
                  const std::string& survival);

    nlohmann::json m_Rows = nlohmann::json::array();
    nlohmann::json m_Growth = nlohmann::json::array();
    bool m_IsHeadPrinted = false;
    bool m_IsValid = true;
};

}  // namespace bench
