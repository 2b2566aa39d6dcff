#include "bench/service_peers.h"

#include <glib.h>
#include <ini.h>
#include <sqlite3.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t kSectionLines = 20;

void Require(bool isDone, const char* what) {
    if (!isDone) {
        throw std::runtime_error(what);
    }
}

struct KeyFileCloser {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFilePtr = std::unique_ptr<GKeyFile, KeyFileCloser>;

KeyFilePtr LoadKeyFile(const std::string& name) {
    KeyFilePtr file(g_key_file_new());
    Require(g_key_file_load_from_file(file.get(), name.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr),
            "GKeyFile did not load");
    return file;
}

}  // namespace

std::string IniText(std::size_t lines) {
    std::string text;
    for (std::size_t i = 0; i < lines; ++i) {
        if (i % kSectionLines == 0) {
            text += "[Section" + std::to_string(i / kSectionLines) + "]\n";
        } else {
            text += "Key" + std::to_string(i) + "=the value of line " + std::to_string(i) + "\n";
        }
    }
    return text;
}

IniKey MiddleKey(std::size_t lines) {
    const std::size_t line = lines / 2 + (lines / 2 % kSectionLines == 0 ? 1 : 0);
    return {"Section" + std::to_string(line / kSectionLines), "Key" + std::to_string(line)};
}

std::string ReadWithInih(const std::string& file, const IniKey& key) {
    struct Search {
        const IniKey& Wanted;
        std::string Found;
    } search{key, {}};
    const auto take = [](void* user, const char* section, const char* name, const char* value) {
        auto& wanted = *static_cast<Search*>(user);
        if (wanted.Wanted.Section == section && wanted.Wanted.Key == name) {
            wanted.Found = value;
        }
        return 1;
    };
    Require(ini_parse(file.c_str(), take, &search) == 0, "inih did not read");
    return search.Found;
}

std::string ReadWithKeyFile(const std::string& file, const IniKey& key) {
    const KeyFilePtr loaded = LoadKeyFile(file);
    const std::unique_ptr<char, decltype(&g_free)> value(
        g_key_file_get_value(loaded.get(), key.Section.c_str(), key.Key.c_str(), nullptr), &g_free);
    return value == nullptr ? "" : value.get();
}

void ChangeWithKeyFile(const std::string& file, const IniKey& key, const std::string& value) {
    const KeyFilePtr loaded = LoadKeyFile(file);
    g_key_file_set_value(loaded.get(), key.Section.c_str(), key.Key.c_str(), value.c_str());
    Require(g_key_file_save_to_file(loaded.get(), file.c_str(), nullptr), "GKeyFile did not save");
}

struct CSqliteValues::Handles {
    sqlite3* Database = nullptr;
    sqlite3_stmt* Insert = nullptr;
    sqlite3_stmt* Select = nullptr;
};

CSqliteValues::CSqliteValues() : m_Handles(std::make_unique<Handles>()) {
    Handles& h = *m_Handles;
    const bool isOpen =
        sqlite3_open(":memory:", &h.Database) == SQLITE_OK &&
        sqlite3_exec(h.Database,
                     "CREATE TABLE v(path TEXT, name TEXT, value INTEGER,"
                     " PRIMARY KEY(path, name)) WITHOUT ROWID",
                     nullptr, nullptr, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(h.Database, "INSERT INTO v VALUES(?,?,?)", -1, &h.Insert, nullptr) ==
            SQLITE_OK &&
        sqlite3_prepare_v2(h.Database, "SELECT value FROM v WHERE path=? AND name=?", -1, &h.Select,
                           nullptr) == SQLITE_OK;
    Require(isOpen, "SQLite did not open");
}

CSqliteValues::~CSqliteValues() {
    sqlite3_finalize(m_Handles->Insert);
    sqlite3_finalize(m_Handles->Select);
    sqlite3_close(m_Handles->Database);
}

void CSqliteValues::Add(const std::string& path, const std::string& name, int value) {
    sqlite3_stmt* const insert = m_Handles->Insert;
    sqlite3_bind_text(insert, 1, path.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 2, name.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(insert, 3, value);
    Require(sqlite3_step(insert) == SQLITE_DONE, "SQLite did not insert");
    sqlite3_reset(insert);
}

int CSqliteValues::Read(const char* path, const char* name) {
    sqlite3_stmt* const select = m_Handles->Select;
    sqlite3_bind_text(select, 1, path, -1, SQLITE_STATIC);
    sqlite3_bind_text(select, 2, name, -1, SQLITE_STATIC);
    Require(sqlite3_step(select) == SQLITE_ROW, "SQLite did not find");
    const int value = sqlite3_column_int(select, 0);
    sqlite3_reset(select);
    return value;
}

}  // namespace bench
