// morlactl ini: reading and changing an INI file.
#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/error_text.h"
#include "base/unique_fd.h"
#include "os/ini_file.h"
#include "os/profile_file.h"
#include "os/profile_string.h"
#include "tools/command.h"

namespace tools {

namespace {

using Names = std::vector<std::string>;

struct Arguments {
    std::string File;
    std::string Section;
    std::string Key;
    std::string Value;    // also the section that a copy goes to
    bool HasKey = false;  // delete: a key was given; list: a section
    bool HasDefault = false;
};

bool Contains(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// A list of the profile operations, of any length: the class gives up long ones.
Names ReadNames(const std::string& file, const char* section) {
    constexpr std::size_t kFirstSize = 65536;
    std::string list(kFirstSize, '\0');
    const auto isPerhapsCut = [&] {
        const auto size = static_cast<unsigned int>(list.size());
        return GetPrivateProfileString(section, nullptr, nullptr, list.data(), size,
                                       file.c_str()) >= size - 2;
    };
    while (isPerhapsCut()) {
        list.resize(2 * list.size());
    }
    Names names;
    for (const char* name = list.c_str(); *name != '\0'; name += names.back().size() + 1) {
        names.emplace_back(name);
    }
    return names;
}

Names SectionsOf(const CIniFile& ini) {
    return ReadNames(ini.GetFileName(), nullptr);
}

Names KeysOf(const CIniFile& ini, const std::string& section) {
    return ReadNames(ini.GetFileName(), section.c_str());
}

// What keeps the file from being opened with these flags: 0 or an errno number.
int OpenError(const std::string& name, int flags) {
    CUniqueFd file;
    return ini::OpenRegularFile(name.c_str(), flags, file);
}

std::string ErrorText(int error) {
    return error == EINVAL ? "not a regular file" : CErrorText(error).Get();
}

// 0 with the file open, else the exit code.
int OpenFile(CIniFile& ini, const std::string& name) {
    if (ini.Open(name.c_str(), true)) {
        return kSuccess;
    }
    const int error = OpenError(name, O_RDONLY);  // the class says only that it failed
    return Fail(error == ENOENT ? kNotFound : kFailure,
                "cannot open " + name + ": " + ErrorText(error));
}

int CannotWrite(const std::string& name) {
    const int error = OpenError(name, O_RDWR);
    return Fail(kFailure, "cannot write " + name + (error != 0 ? ": " + ErrorText(error) : ""));
}

int NoSection(const Arguments& arguments) {
    return Fail(kNotFound, "no section [" + arguments.Section + "] in " + arguments.File);
}

int NoKey(const Arguments& arguments) {
    return Fail(kNotFound, "no value for " + arguments.Key + " in section [" + arguments.Section +
                               "] of " + arguments.File);
}

// An empty value reads as missing.
int Get(const Arguments& arguments) {
    CIniFile ini;
    std::string value;
    if (arguments.HasDefault && !ini.Open(arguments.File.c_str(), true)) {
        PrintLine(arguments.Value);
        return kSuccess;
    }
    if (const int code = OpenFile(ini, arguments.File); code != kSuccess) {
        return code;
    }
    if (!ini.GetString(value, arguments.Section.c_str(), arguments.Key.c_str(), "")) {
        return Fail(kFailure, "the value of " + arguments.Key + " is too long");
    }
    if (value.empty() && !arguments.HasDefault) {
        return NoKey(arguments);
    }
    PrintLine(value.empty() ? arguments.Value : value);
    return kSuccess;
}

bool HasOuterBlanks(std::string_view text) {
    constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
    return !text.empty() && (kWhiteSpace.find(text.front()) != std::string_view::npos ||
                             kWhiteSpace.find(text.back()) != std::string_view::npos);
}

constexpr char kSectionRule[] =
    "a section's name is not empty and holds no \"]\", \";\" or line feed";

bool IsSectionName(const std::string& name) {
    return !name.empty() && name.find_first_of("]\n;") == std::string::npos;
}

// Why a setting would not be read back as it is written; empty when it would.
std::string WhyNotReadBack(const Arguments& arguments) {
    constexpr std::size_t kLineMax = 1023;
    if (!IsSectionName(arguments.Section)) {
        return kSectionRule;
    }
    if (arguments.Key.empty() || arguments.Key.front() == '[' ||
        arguments.Key.find_first_of("=;\n") != std::string::npos || HasOuterBlanks(arguments.Key)) {
        return "a key is not empty, begins with no \"[\", holds no \"=\", \";\" or line feed and has "
               "no blanks around it";
    }
    if (arguments.Value.empty()) {
        return "an empty value reads as missing (ini delete removes a key)";
    }
    if (arguments.Value.find_first_of(";\n") != std::string::npos ||
        HasOuterBlanks(arguments.Value)) {
        return "a value holds no \";\" or line feed and has no blanks around it";
    }
    if (std::max(arguments.Section.size() + 2, arguments.Key.size() + 1 + arguments.Value.size()) >=
        kLineMax) {
        return "a line of the file has less than 1,023 characters";
    }
    return "";
}

int Set(const Arguments& arguments) {
    if (const std::string why = WhyNotReadBack(arguments); !why.empty()) {
        return Fail(kFailure, "nothing was written: " + why);
    }
    CIniFile ini;
    (void)ini.Open(arguments.File.c_str(), false);
    if (!ini.SetString(arguments.Section.c_str(), arguments.Key.c_str(), arguments.Value.c_str())) {
        return CannotWrite(arguments.File);
    }
    std::string value;
    (void)ini.GetString(value, arguments.Section.c_str(), arguments.Key.c_str(), "");
    if (value != arguments.Value) {
        return Fail(kFailure,
                    "written, but another setting of this section and key comes first in " +
                        arguments.File + " and reads \"" + value + "\"");
    }
    return kSuccess;
}

// A read may find what a delete left: an indented line, or a second one of the same name.
int DeleteKey(const Arguments& arguments, CIniFile& ini) {
    if (!Contains(KeysOf(ini, arguments.Section), arguments.Key)) {
        return NoKey(arguments);
    }
    if (!ini.DeleteKey(arguments.Section.c_str(), arguments.Key.c_str())) {
        return Fail(kFailure, "cannot delete the key from " + arguments.File +
                                  " (an indented line is only read, never changed)");
    }
    return Contains(KeysOf(ini, arguments.Section), arguments.Key)
               ? Fail(kFailure, "deleted, but another setting of this section and key is in " +
                                    arguments.File)
               : static_cast<int>(kSuccess);
}

int DeleteSection(const Arguments& arguments, CIniFile& ini) {
    if (!ini.DeleteSection(arguments.Section.c_str())) {
        return Fail(kFailure, "cannot delete the section from " + arguments.File);
    }
    return Contains(SectionsOf(ini), arguments.Section)
               ? Fail(kFailure, "deleted, but another section of this name is in " + arguments.File)
               : static_cast<int>(kSuccess);
}

int Delete(const Arguments& arguments) {
    CIniFile ini;
    if (const int code = OpenFile(ini, arguments.File); code != kSuccess) {
        return code;
    }
    if (!Contains(SectionsOf(ini), arguments.Section)) {
        return NoSection(arguments);
    }
    return arguments.HasKey ? DeleteKey(arguments, ini) : DeleteSection(arguments, ini);
}

int List(const Arguments& arguments) {
    CIniFile ini;
    if (const int code = OpenFile(ini, arguments.File); code != kSuccess) {
        return code;
    }
    const Names sections = SectionsOf(ini);
    if (!arguments.HasKey) {
        for (const std::string& section : sections) {
            PrintLine(section);
        }
        return kSuccess;
    }
    if (!Contains(sections, arguments.Section)) {
        return NoSection(arguments);
    }
    for (const std::string& key : KeysOf(ini, arguments.Section)) {
        std::string value;
        (void)ini.GetString(value, arguments.Section.c_str(), key.c_str(), "");
        PrintLine(std::string(key).append("=").append(value));
    }
    return kSuccess;
}

int Copy(const Arguments& arguments) {
    if (!IsSectionName(arguments.Value)) {
        return Fail(kFailure, std::string("nothing was written: ") + kSectionRule);
    }
    CIniFile ini;
    if (const int code = OpenFile(ini, arguments.File); code != kSuccess) {
        return code;
    }
    if (!Contains(SectionsOf(ini), arguments.Section)) {
        return NoSection(arguments);
    }
    (void)ini.CopySection(arguments.Section.c_str(), arguments.Value.c_str());
    for (const std::string& key : KeysOf(ini, arguments.Section)) {
        std::string from;
        std::string to;
        (void)ini.GetString(from, arguments.Section.c_str(), key.c_str(), "");
        (void)ini.GetString(to, arguments.Value.c_str(), key.c_str(), "");
        if (from != to) {
            return Fail(kFailure, "cannot copy " + key + " in " + arguments.File);
        }
    }
    return kSuccess;
}

}  // namespace

void AddIniCommands(CLI::App& app, int& exitCode) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const group = app.add_subcommand("ini", "Read and change INI files");
    group->require_subcommand(1);

    const auto add = [&](const char* name, const char* help, int (*run)(const Arguments&)) {
        CLI::App* const command = group->add_subcommand(name, help);
        command->add_option("FILE", arguments->File, "The INI file")->required();
        command->callback([arguments, &exitCode, run] { exitCode = run(*arguments); });
        return command;
    };
    const auto addSection = [&](CLI::App* command) {
        return command->add_option("SECTION", arguments->Section, "A section's name");
    };
    const auto addKey = [&](CLI::App* command) {
        return command->add_option("KEY", arguments->Key, "A key's name");
    };
    const auto note = [arguments](bool Arguments::*field) {
        return [arguments, field](const std::string& /*text*/) {
            (*arguments).*field = true;
        };
    };

    CLI::App* const get = add("get", "Print a value", Get);
    addSection(get)->required();
    addKey(get)->required();
    get->add_option("--default", arguments->Value, "What to print when there is no value")
        ->each(note(&Arguments::HasDefault));

    CLI::App* const set = add("set", "Set a value; makes the file and the section", Set);
    addSection(set)->required();
    addKey(set)->required();
    set->add_option("VALUE", arguments->Value, "The value")->required();

    CLI::App* const remove = add("delete", "Delete a key, or a whole section", Delete);
    addSection(remove)->required();
    addKey(remove)->each(note(&Arguments::HasKey));

    CLI::App* const list = add("list", "Print the sections, or the settings of one", List);
    addSection(list)->each(note(&Arguments::HasKey));

    CLI::App* const copy = add("copy", "Copy the settings of a section into another", Copy);
    copy->add_option("FROM", arguments->Section, "A section's name")->required();
    copy->add_option("TO", arguments->Value, "A section's name")->required();
}

}  // namespace tools
