#include "bench/report.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>

namespace bench {

namespace {

__attribute__((format(printf, 1, 2))) std::string Text(const char* format, ...) {
    char text[64];
    va_list args;
    va_start(args, format);
    (void)std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// Three digits that count, with the unit that keeps the number short.
std::string Amount(double value, const std::string& unit) {
    if (unit != "ns") {
        return Text("%.0f ", value) + unit;
    }
    for (const char* larger : {"ns", "us", "ms"}) {
        if (value < 1000) {
            return (value < 100 ? Text("%.1f ", value) : Text("%.0f ", value)) + larger;
        }
        value /= 1000;
    }
    return Text("%.2f s", value);
}

std::string Verdict(const Comparison& comparison, const Ratio& ratio) {
    if (comparison.Goal == 0) {
        return "for information";
    }
    return ratio.Median <= comparison.Goal ? "met" : "falls short";
}

}  // namespace

CReport::CReport() {
    (void)std::setvbuf(stdout, nullptr, _IOLBF, 0);
}

void CReport::PrintRow(const Comparison& comparison, const std::string& ours,
                       const std::string& peer, const std::string& ratio,
                       const std::string& verdict, const std::string& survival) {
    constexpr char kFormat[] = "%-3s %-33s %9s   %-33s %9s   %-21s %-8s %-15s %s\n";
    if (!m_IsHeadPrinted) {
        (void)std::printf(kFormat, "#", "work", "ours", "measured against", "peer",
                          "ratio (quartiles)", "goal", "verdict", "survives kill -9");
        m_IsHeadPrinted = true;
    }
    const std::string goal = comparison.Goal > 0 ? Text("<= %.3g", comparison.Goal) : "";
    (void)std::printf(kFormat, comparison.Number.c_str(), comparison.Work.c_str(), ours.c_str(),
                      comparison.Against.c_str(), peer.c_str(), ratio.c_str(), goal.c_str(),
                      verdict.c_str(), survival.c_str());
}

void CReport::Add(const Comparison& comparison, const Outcome& outcome) {
    const Ratio& ratio = outcome.Measured;
    const std::string verdict = Verdict(comparison, ratio);
    nlohmann::json row{{"row", comparison.Number}, {"name", comparison.Name},
                       {"work", comparison.Work},  {"against", comparison.Against},
                       {"goal", comparison.Goal},  {"unit", comparison.Unit},
                       {"ours", ratio.Ours},       {"peer", ratio.Peer},
                       {"ratio", ratio.Median},    {"low", ratio.Low},
                       {"high", ratio.High},       {"pairs", ratio.Pairs},
                       {"verdict", verdict},       {"survives", outcome.Survival}};
    PrintRow(comparison, Amount(ratio.Ours, comparison.Unit), Amount(ratio.Peer, comparison.Unit),
             Text("%.3f (%.3f-%.3f)", ratio.Median, ratio.Low, ratio.High), verdict,
             outcome.Survival);
    if (!outcome.Note.empty()) {
        row["note"] = outcome.Note;
        (void)std::printf("    %s\n", outcome.Note.c_str());
    }
    m_Rows.push_back(std::move(row));
}

void CReport::AddFailure(const Comparison& comparison, const char* why) {
    m_IsValid = false;
    PrintRow(comparison, "", "", "", std::string("NOT VALID: ") + why, "");
    m_Rows.push_back({{"row", comparison.Number}, {"name", comparison.Name}, {"failure", why}});
}

void CReport::Add(const Growth& growth, const std::vector<Point>& points) {
    (void)std::printf("\n%s, by %s%s%s\n", growth.Work.c_str(), growth.Sizes.c_str(),
                      growth.Against.empty() ? "" : "; peer: ", growth.Against.c_str());
    nlohmann::json list = nlohmann::json::array();
    for (const Point& point : points) {
        (void)std::printf("  %9.0f %12s %12s\n", point.Size, Amount(point.Ours, "ns").c_str(),
                          point.Peer < 0 ? "" : Amount(point.Peer, "ns").c_str());
        list.push_back({point.Size, point.Ours, point.Peer});
    }
    m_Growth.push_back({{"name", growth.Name},
                        {"work", growth.Work},
                        {"sizes", growth.Sizes},
                        {"against", growth.Against},
                        {"points", list}});
}

bool CReport::Finish(const std::string& jsonFile) const {
    if (jsonFile.empty()) {
        return m_IsValid;
    }
    std::ofstream file(jsonFile);
    file << nlohmann::json{{"rows", m_Rows}, {"growth", m_Growth}}.dump(2) << '\n';
    file.close();
    return m_IsValid && file.good();
}

}  // namespace bench
