#include "tools/doctor/process_text.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace doctor {

namespace {

// Calls `visit` with each piece of the text that a separator ends; the last may lack it.
template <typename Visitor>
void ForEachPiece(std::string_view text, char separator, Visitor visit) {
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        visit(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

void AddVariable(std::string_view name, std::string_view value, Variables& variables) {
    if (!name.empty()) {
        variables.insert_or_assign(std::string(name), std::string(value));
    }
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string_view Unquote(std::string_view value) {
    const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                          (value.front() == '"' || value.front() == '\'');
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

bool IsFlocked(std::string_view locks, dev_t device, ino_t file) {
    std::array<char, 64> key{};
    const int length = std::snprintf(key.data(), key.size(), " %02x:%02x:%llu ", major(device),
                                     minor(device), static_cast<unsigned long long>(file));
    const std::string_view wanted(key.data(), static_cast<std::size_t>(length));
    bool isLocked = false;
    ForEachPiece(locks, '\n', [&](std::string_view line) {
        // A process that waits for the lock is listed behind "->".
        isLocked = isLocked || (line.find(" FLOCK ") != std::string_view::npos &&
                                line.find("->") == std::string_view::npos &&
                                line.find(wanted) != std::string_view::npos);
    });
    return isLocked;
}

bool HoldsFlock(std::string_view fdinfo) {
    bool holds = false;
    ForEachPiece(fdinfo, '\n', [&](std::string_view line) {
        holds =
            holds || (line.starts_with("lock:") && line.find(" FLOCK ") != std::string_view::npos);
    });
    return holds;
}

Variables ParseEnvironment(std::string_view text) {
    Variables variables;
    ForEachPiece(text, '\0', [&](std::string_view piece) {
        const std::size_t equals = piece.find('=');
        if (equals != std::string_view::npos) {
            AddVariable(piece.substr(0, equals), piece.substr(equals + 1), variables);
        }
    });
    return variables;
}

Variables ParseEnvironmentFile(std::string_view text) {
    Variables variables;
    ForEachPiece(text, '\n', [&](std::string_view piece) {
        const std::string_view line = Trim(piece);
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos && line.front() != '#' && line.front() != ';') {
            AddVariable(Trim(line.substr(0, equals)), Unquote(Trim(line.substr(equals + 1))),
                        variables);
        }
    });
    return variables;
}

}  // namespace doctor
