// morlactl process: finding a process and showing what is known about it.
#include <CLI/CLI.hpp>
#include <climits>
#include <memory>

#include "inventory/json_text.h"
#include "os/process.h"
#include "tools/command.h"

namespace tools {

using json_text::Json;

namespace {

struct Memory {
    unsigned long Size = 0;  // all in bytes
    unsigned long Peak = 0;
    unsigned long Swap = 0;
    unsigned long WithoutLibraries = 0;
};

int Find(const std::string& name) {
    unsigned int pid = CProcess::kNone;
    if (!CProcess::FindProcess(pid, name.c_str())) {
        return Fail(kNotFound, "no process is named \"" + name + "\"");
    }
    PrintLine(std::to_string(pid));
    return kSuccess;
}

// Kernel threads and ended processes have no program and no memory.
Json Describe(unsigned int pid, const std::string& name) {
    Json json;
    json["pid"] = pid;
    json_text::SetText(json, "name", name);
    std::string path;
    if (CProcess::GetProcessPath(path, pid)) {
        json_text::SetText(json, "path", path);
    } else {
        json["path"] = nullptr;
    }
    Memory memory;
    unsigned long unused = 0;
    if (CProcess::GetProcessMemoryInfo(pid, &memory.Size, &memory.Peak, &memory.Swap, &unused,
                                       &memory.WithoutLibraries)) {
        json["memory"] = {{"size", memory.Size},
                          {"peak", memory.Peak},
                          {"swap", memory.Swap},
                          {"size_without_libraries", memory.WithoutLibraries}};
    } else {
        json["memory"] = nullptr;
    }
    return json;
}

void PrintDescription(const Json& json) {
    constexpr std::size_t kNameWidth = 24;
    const auto print = [](std::string name, const std::string& value) {
        name.resize(kNameWidth, ' ');
        PrintLine(name + value);
    };
    for (const char* const field : {"name", "path"}) {
        std::string text = "-";
        (void)json_text::GetText(json, field, text);
        print(field, text);
    }
    for (const auto& [name, bytes] : json["memory"].items()) {
        print(name, bytes.dump() + " bytes");
    }
}

int Show(unsigned int pid, bool asJson) {
    std::string name;
    if (!CProcess::GetProcessName(name, pid)) {
        return Fail(kNotFound, "there is no process " + std::to_string(pid));
    }
    const Json json = Describe(pid, name);
    if (asJson) {
        PrintLine(json_text::Dump(json));
    } else {
        PrintDescription(json);
    }
    return kSuccess;
}

}  // namespace

void AddProcessCommands(CLI::App& app, int& exitCode) {
    struct Arguments {
        std::string Name;
        unsigned int Pid = 0;
        bool AsJson = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const group = app.add_subcommand("process", "Find and show processes");
    group->require_subcommand(1);

    CLI::App* const find = group->add_subcommand("find", "Print the number of a process");
    find->add_option("NAME", arguments->Name, "The kernel's name of it, at most 15 characters")
        ->required();
    find->callback([arguments, &exitCode] { exitCode = Find(arguments->Name); });

    CLI::App* const show = group->add_subcommand("show", "Print what is known about a process");
    show->add_option("PID", arguments->Pid, "Its number")
        ->required()
        ->check(CLI::Range(1, INT_MAX));
    show->add_flag("--json", arguments->AsJson, "Print JSON");
    show->callback([arguments, &exitCode] { exitCode = Show(arguments->Pid, arguments->AsJson); });
}

}  // namespace tools
