// morlactl smbios: the structures of the firmware's SMBIOS tables.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <memory>

#include "base/error_text.h"
#include "base/kernel_file.h"
#include "hardware/smbios.h"
#include "tools/command.h"
#include "tools/smbios_report.h"

namespace tools {

namespace {

struct Arguments {
    std::string From;  // a folder with a captured pair of files; empty: this machine
    WantedType Type;
    bool AsJson = false;
};

// 0, else the exit code.
int ReadFile(const std::string& path, CDataStream& bytes) {
    std::string text;
    const int error = ReadKernelFile(path.c_str(), text, CDataStream::kFileMax);
    if (error != 0) {
        return Fail(error == ENOENT ? kNotFound : kFailure,
                    "cannot read " + path + ": " + CErrorText(error).Get());
    }
    bytes = CDataStream(CByteView(text));
    return kSuccess;
}

// 0 with `isComplete` set, else the exit code: there is no table.
int Connect(CSMBios& smbios, const std::string& from, bool& isComplete) {
    if (from.empty()) {
        isComplete = smbios.Connect();
        if (!smbios.GetData().IsEmpty()) {
            return kSuccess;
        }
        return Fail(kFailure, geteuid() == 0 ? "this machine gives no SMBIOS tables"
                                             : "this machine gives no SMBIOS tables to an "
                                               "ordinary user");
    }
    CDataStream header;
    CDataStream data;
    if (const int code = ReadFile(from + "/smbios_entry_point", header); code != kSuccess) {
        return code;
    }
    if (const int code = ReadFile(from + "/DMI", data); code != kSuccess) {
        return code;
    }
    isComplete = smbios.ConnectCopy(header, data);
    return data.IsEmpty() ? Fail(kFailure, "the table in " + from + " is empty")
                          : static_cast<int>(kSuccess);
}

int Show(const Arguments& arguments) {
    CSMBios smbios;
    bool isComplete = false;
    if (const int code = Connect(smbios, arguments.From, isComplete); code != kSuccess) {
        return code;
    }
    if (arguments.AsJson) {
        PrintLine(json_text::Dump(DescribeSmbios(smbios, isComplete, arguments.Type)));
    } else {
        for (const std::string& line : ListSmbios(smbios, arguments.Type)) {
            PrintLine(line);
        }
    }
    if (!isComplete) {
        std::string why = smbios.GetLastError();
        std::replace(why.begin(), why.end(), '\n', ' ');
        return Fail(kFailure, "the table breaks off: " + why);
    }
    if (arguments.Type && smbios.GetStructures(*arguments.Type).empty()) {
        return Fail(kNotFound, "no structure of type " + std::to_string(*arguments.Type));
    }
    return kSuccess;
}

}  // namespace

void AddSmbiosCommands(CLI::App& app, int& exitCode) {
    constexpr int kTypeMax = 255;
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const command = app.add_subcommand("smbios", "Show the firmware's SMBIOS tables");
    command->add_option("--from", arguments->From,
                        "A folder with the files smbios_entry_point and DMI, not this machine");
    command
        ->add_option_function<int>(
            "--type", [arguments](int type) { arguments->Type = static_cast<std::uint8_t>(type); },
            "Only structures of this type")
        ->check(CLI::Range(0, kTypeMax));
    command->add_flag("--json", arguments->AsJson, "Print JSON");
    command->callback([arguments, &exitCode] { exitCode = Show(*arguments); });
}

}  // namespace tools
