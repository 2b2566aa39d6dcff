// Each line is read and written back by the registry itself, alone in a small tree; this file only
// knows how lines are cut and how keys nest.
#include "tools/registry/check.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "base/text_safety.h"
#include "os/registry_node.h"
#include "tools/registry/value.h"

namespace tools {

namespace {

constexpr std::size_t kPieceMax = 1023;  // characters, a line feed included

class CTreeChecker {
public:
    explicit CTreeChecker(const FindingVisitor& visit) : m_Visit(visit) {}
    void Run(std::string_view text);

private:
    using Names = std::map<std::string, std::size_t, std::less<>>;  // the line of each entry

    void TakeLine(std::string_view line, bool hasFeed);
    void TakePiece(std::string_view piece);
    void TakeEntry(std::string_view piece, const StrMapRow& row, std::string_view written);
    void TakeName(const std::string& name);
    void Report(bool isLoss, std::string what) {
        m_IsAnythingFound = true;
        m_Visit({m_Line, isLoss, std::move(what)});
    }

    const FindingVisitor& m_Visit;
    std::vector<Names> m_Path{1};  // of the keys from the root down; empty when the root has ended
    std::size_t m_Line = 0;
    bool m_IsRestReported = false;
    bool m_IsAnythingFound = false;
};

void CTreeChecker::Run(std::string_view text) {
    const std::string_view whole = text;
    while (!text.empty()) {
        const std::size_t feed = text.find('\n');
        ++m_Line;
        TakeLine(text.substr(0, feed), feed != std::string_view::npos);
        text.remove_prefix(std::min(feed, text.size() - 1) + 1);
    }
    if (!m_Path.empty()) {
        Report(false, "the file ends inside a key: closing lines are added");
    }
    if (!m_IsAnythingFound) {
        CRegistryNode root;
        std::string written;
        (void)root.restoreNode(whole);
        root.dumpNode(written);
        if (written != whole) {
            Report(false, "entries are written in another order");
        }
    }
}

// A line feed that does not fit behind its line becomes an empty piece of its own.
void CTreeChecker::TakeLine(std::string_view line, bool hasFeed) {
    if (m_Path.empty()) {
        if (!line.empty() && !m_IsRestReported) {
            Report(true, "nothing from here on is read: the tree has ended before");
            m_IsRestReported = true;
        }
        return;
    }
    if (line.size() >= kPieceMax) {
        Report(true, "longer than 1,022 characters: cut into pieces that are read as lines");
    }
    while (line.size() >= kPieceMax) {
        TakePiece(line.substr(0, kPieceMax));
        line.remove_prefix(kPieceMax);
    }
    if (hasFeed || !line.empty()) {
        TakePiece(line);
    }
}

void CTreeChecker::TakePiece(std::string_view piece) {
    if (m_Path.empty()) {
        return;
    }
    const std::size_t zero = piece.find('\0');
    if (zero != std::string_view::npos) {
        Report(true, "what follows a zero byte is dropped");
        piece = piece.substr(0, zero);
    }
    if (piece.empty()) {
        m_Path.pop_back();
        return;
    }
    CRegistryNode alone;
    std::string written;
    (void)alone.restoreNode(std::string(piece) + "\n");
    if (alone.Count() == 0) {
        Report(
            true,
            "skipped: no \"=s=\", \"=es=\", \"=d=\" or \"=b=\" behind the name (a name that holds "
            "\"=\", or the rest of a text that held a line feed?)");
        return;
    }
    alone.dumpNode(written);
    TakeEntry(piece, *alone.RowAt(0), std::string_view(written).substr(0, written.find('\n')));
}

// Whether every number between the blanks of a binary value is one byte.
bool IsBytes(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\v\f\r";
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
        if (text.empty()) {
            return true;
        }
        const std::string_view number = text.substr(0, text.find_first_of(kBlanks));
        std::string byte;
        if (number.size() > 2 ||
            !text::ParseHex(std::string(2 - number.size(), '0').append(number), byte)) {
            return false;
        }
        text.remove_prefix(number.size());
    }
}

// Whether the data behind the name and the tag says what was read from it, in another notation.
bool IsSameData(std::string_view data, const RegistryValue& value) {
    RegistryValue strict;
    if (value.Type == kRegBinary) {
        return IsBytes(data);
    }
    return ParseData(value.Type, data, strict) && strict == value;
}

// `written` is the line that a save makes of the entry that was read from `piece`.
void CTreeChecker::TakeEntry(std::string_view piece, const StrMapRow& row,
                             std::string_view written) {
    const std::string name = row.Name;
    TakeName(name);
    if (row.Type == kRegSubkey) {
        m_Path.emplace_back();
        if (piece != written) {
            Report(true, "what follows the first \"]\" is dropped (a name that holds \"]\"?)");
        }
        return;
    }
    constexpr std::size_t kTagSize = 3;  // of the types whose notation can differ
    RegistryValue value;
    if (written.size() >= kPieceMax && piece.size() < kPieceMax) {
        Report(true, "written out it is longer than 1,022 characters: the next reading cuts it");
    } else if (piece != written && ReadRow(row, value)) {
        const bool isSame = IsSameData(piece.substr(name.size() + kTagSize), value);
        Report(!isSame, (isSame ? "written as: " : "read only in part, written as: ") +
                            std::string(written));
    }
}

void CTreeChecker::TakeName(const std::string& name) {
    const auto [entry, isNew] = m_Path.back().try_emplace(name, m_Line);
    if (!isNew) {
        Report(true,
               "replaces the entry of the same name in line " + std::to_string(entry->second));
        entry->second = m_Line;
    }
}

}  // namespace

void CheckTreeText(std::string_view text, const FindingVisitor& visit) {
    CTreeChecker(visit).Run(text);
}

}  // namespace tools
