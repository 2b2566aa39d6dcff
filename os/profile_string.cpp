#include "os/profile_string.h"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <new>
#include <optional>
#include <string_view>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/unique_fd.h"
#include "os/ini_editor.h"
#include "os/ini_query.h"
#include "os/profile_file.h"
#include "trace/debug.h"

namespace {

// The answer to the query, or nothing when what it asks for is not there.
std::optional<std::size_t> AskFile(const char* fileName, ini::CQuery& query) {
    CUniqueFd file;
    if (ini::OpenRegularFile(fileName, O_RDONLY, file) != 0) {
        if (Debug.IsTracingActive()) {
            Debug.Print(4, "GetPrivateProfileString: Cannot open %s\n", fileName);
        }
        return std::nullopt;
    }
    ini::CLineReader reader(file.Get());
    std::string_view line = reader.Next();
    while (!line.empty() && query.Take(line)) {
        line = reader.Next();
    }
    return query.Finish();
}

bool AppendOrWarn(const char* fileName, const ini::Change& change, bool isNew) {
    if (ini::AppendSection(fileName, change, isNew) != 0) {
        Debug.Print(1, "WritePrivateProfileString: ## WARNING: append open error: %s\n", fileName);
        return false;
    }
    return true;
}

bool EditFile(int file, const char* fileName, const ini::Change& change) {
    if (!ini::IsEditable(file)) {
        return false;
    }
    ini::CEditPlanner planner(change);
    ini::CLineReader reader(file);
    std::string_view line = reader.Next();
    while (!line.empty() && planner.Take(line)) {
        line = reader.Next();
    }
    if (reader.HasFailed()) {
        return false;
    }
    const ini::Edit edit = planner.Finish();
    switch (edit.What) {
    case ini::Edit::Kind::kReplace:
        return ini::WriteLines(file, edit.WriteAt, edit.TailFrom, change, edit.BlankFirst);
    case ini::Edit::Kind::kAppendSection: return AppendOrWarn(fileName, change, false);
    case ini::Edit::Kind::kNone: break;
    }
    return false;
}

bool ChangeFile(const char* fileName, const ini::Change& change) {
    CUniqueFd file;
    const int error = ini::OpenRegularFile(fileName, O_RDWR, file);
    if (error == ENOENT) {
        return !change.IsSet() || AppendOrWarn(fileName, change, true);
    }
    if (error != 0) {
        if (Debug.IsTracingActive()) {
            Debug.Print(4, "WritePrivateProfileString: Cannot open %s (errno=%d: %s)\n", fileName,
                        error, CErrorText(error).Get());
        }
        return false;
    }
    return EditFile(file.Get(), fileName, change);
}

std::optional<std::string_view> TextOrNothing(const char* text) {
    return text != nullptr ? std::optional<std::string_view>(text) : std::nullopt;
}

// Memory can only run out before the first byte is written.
bool ChangeFileOrFail(const char* fileName, const ini::Change& change) {
    try {
        return ChangeFile(fileName, change);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

unsigned int GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                     char* buffer, unsigned int size, const char* fileName) {
    if (buffer == nullptr || fileName == nullptr) {
        return 0;
    }
    const CCancellationHold hold;
    ini::CResultBuffer result(buffer, size);
    ini::CQuery query(section, key, result);
    std::optional<std::size_t> length = AskFile(fileName, query);
    if (!length && section != nullptr && key != nullptr && defaultValue != nullptr) {
        length = result.PlaceText(defaultValue);
    }
    return static_cast<unsigned int>(length.value_or(0));
}

bool WritePrivateProfileString(const char* section, const char* key, const char* value,
                               const char* fileName) {
    const bool isTraced = Debug.IsTracingActive();
    if (section == nullptr) {
        if (isTraced) {
            Debug.Print(4, "WritePrivateProfileString: ## WARNING: invalid pointer to AppName\n");
        }
        return false;
    }
    if (fileName == nullptr) {
        if (isTraced) {
            Debug.Print(4, "WritePrivateProfileString: ## WARNING: invalid pointer to FileName\n");
        }
        return false;
    }
    const CCancellationHold hold;
    if (isTraced) {
        Debug.Print(4, "WritePrivateProfileString(%s, %s, %s, %s)\n", section,
                    key != nullptr ? key : "<nil>", value != nullptr ? value : "<nil>", fileName);
    }
    const bool isDone = ChangeFileOrFail(
        fileName, {.Section = section, .Key = TextOrNothing(key), .Value = TextOrNothing(value)});
    if (isTraced) {
        Debug.Print(4, "WritePrivateProfileString rc=0x%04x\n", isDone ? 1U : 0U);
    }
    return isDone;
}
