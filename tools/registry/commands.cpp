// morlactl registry: reading and changing keys and values of the registry tree.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "os/registry.h"
#include "os/registry_state.h"
#include "tools/command.h"
#include "tools/registry/arguments.h"
#include "tools/registry/json.h"
#include "tools/registry/tree.h"
#include "tools/registry/value.h"

namespace tools {

namespace {

using Arguments = RegistryArguments;

int NoValue(const Arguments& arguments) {
    return Fail(kNotFound, "there is no value " + arguments.Name + " in " + arguments.Path);
}

// --- Reading ---

bool ReadValue(CRegistryNode& key, const std::string& name, RegistryValue& value) {
    bool isRead = false;
    (void)key.Visit(name.c_str(), [&](const StrMapRow& row) { isRead = ReadRow(row, value); });
    return isRead;
}

int Get(const Arguments& arguments, const KeyPath& /*path*/, const CRegistryNodeRef& key) {
    RegistryValue value;
    if (!key) {
        return NoKey(arguments);
    }
    if (!ReadValue(*key, arguments.Name, value)) {
        return NoValue(arguments);
    }
    if (arguments.IsExpanded && value.Type == kRegExpandSz) {
        CRegistry registry;
        (void)registry.QueryValue(value.Bytes, arguments.Name.c_str(), key.Get());
    }
    PrintLine(PrintData(value));
    return kSuccess;
}

void PrintKeys(const RegistryExport& tree) {
    for (const ExportedKey& key : tree.Keys) {
        const std::string indent = key.Path.empty() ? "" : "  ";
        if (!key.Path.empty()) {
            PrintLine("[" + JoinKeyPath(key.Path) + "]");
        }
        for (const auto& [name, value] : key.Values) {
            PrintLine(indent + name + " = " + TypeName(value.Type) + ": " + PrintData(value));
        }
    }
}

int List(const Arguments& arguments, const KeyPath& path, const CRegistryNodeRef& key) {
    if (!key) {
        return NoKey(arguments);
    }
    RegistryExport tree;
    tree.Path = path;
    if (!CollectKeys(key, arguments.IsRecursive, tree)) {
        return Fail(kFailure, "keys nest too deep below " + arguments.Path);
    }
    if (arguments.AsJson) {
        PrintLine(json_text::Dump(ExportToJson(tree)));
    } else {
        PrintKeys(tree);
    }
    return kSuccess;
}

// --- Changing ---

int Set(const Arguments& arguments, const KeyPath& /*path*/, const CRegistryNodeRef& key) {
    std::uint32_t type = 0;
    RegistryValue value;
    if (!ParseTypeName(arguments.Type, type) || !ParseData(type, arguments.Value, value)) {
        return Fail(kUsage, "\"" + arguments.Value + "\" is no " + arguments.Type);
    }
    if (!key) {
        return NoKey(arguments);
    }
    if (!arguments.IsForced && !SurvivesSave(arguments.Name, value)) {
        return WillBeLost("this value");
    }
    if (!StoreValue(*key, arguments.Name, value)) {
        return Fail(kFailure, arguments.Name + " is a key in " + arguments.Path);
    }
    return SaveTree();
}

int Create(const Arguments& arguments, const KeyPath& path, const CRegistryNodeRef& /*key*/) {
    for (const std::string& name : path) {
        if (!arguments.IsForced && !KeySurvivesSave(name)) {
            return WillBeLost("a key named \"" + name + "\"");
        }
    }
    CRegistry registry;
    if (registry.CreateKey(&RegistryState.Root(), arguments.Path.c_str(), false, -1) != 0) {
        return Fail(kFailure, "cannot create " + arguments.Path + ": a value is in the way");
    }
    return SaveTree();
}

int DeleteValue(const Arguments& arguments, const CRegistryNodeRef& key) {
    RegistryValue value;
    if (!ReadValue(*key, arguments.Name, value)) {
        return NoValue(arguments);
    }
    CRegistryNode* node = key.Get();
    CRegistry registry(node);
    if (registry.DeleteValue(arguments.Name.c_str()) != 0) {
        return Fail(kFailure, "cannot delete " + arguments.Name);
    }
    return SaveTree();
}

int Delete(const Arguments& arguments, const KeyPath& path, const CRegistryNodeRef& key) {
    if (!key) {
        return NoKey(arguments);
    }
    if (arguments.HasName) {
        return DeleteValue(arguments, key);
    }
    if (path.size() == 1) {
        return Fail(kFailure, "a predefined key stays");
    }
    CRegistryNode* parent = FindKey(KeyPath(path.begin(), path.end() - 1)).Get();
    CRegistry registry(parent);
    if (registry.DeleteKey(path.back().c_str()) != 0) {
        return Fail(kFailure, "cannot delete " + arguments.Path);
    }
    return SaveTree();
}

// --- The command line ---

using KeyCommand = int (*)(const Arguments&, const KeyPath&, const CRegistryNodeRef&);

// Checks the path, reads the tree and hands the key at the path (null when there is none) on.
int RunOnKey(const Arguments& arguments, bool isChange, KeyCommand run) {
    const KeyPath path = SplitKeyPath(arguments.Path);
    if (!BeginsWithPredefinedKey(path)) {
        return Fail(kUsage, "\"" + arguments.Path +
                                "\" does not begin with a predefined key, such as "
                                "HKEY_LOCAL_MACHINE");
    }
    if (const int code = LoadTree(isChange, arguments.IsForced); code != kSuccess) {
        return code;
    }
    return run(arguments, path, FindKey(path));
}

class CRegistryGroup {
public:
    CRegistryGroup(CLI::App& app, int& exitCode)
        : m_Group(app.add_subcommand("registry", "Read and change the registry")),
          m_ExitCode(exitCode) {
        m_Group->require_subcommand(1);
    }
    void AddReading();
    void AddChanging();
    void AddMoving();

private:
    CLI::App* AddKeyCommand(const char* name, const char* help, bool isChange, KeyCommand run);
    CLI::App* AddFileCommand(const char* name, const char* help,
                             int (*run)(const RegistryArguments&));
    CLI::Option* AddName(CLI::App* command) {
        return command->add_option("NAME", m_Arguments->Name, "A value's name");
    }
    void AddForce(CLI::App* command) {
        command->add_flag("--force", m_Arguments->IsForced,
                          "Go on although something cannot be read or will be lost");
    }

    CLI::App* m_Group;
    int& m_ExitCode;
    std::shared_ptr<RegistryArguments> m_Arguments = std::make_shared<RegistryArguments>();
};

CLI::App* CRegistryGroup::AddKeyCommand(const char* name, const char* help, bool isChange,
                                        KeyCommand run) {
    CLI::App* const command = m_Group->add_subcommand(name, help);
    command
        ->add_option("PATH", m_Arguments->Path,
                     "A key, from a predefined key on: HKEY_LOCAL_MACHINE/SOFTWARE")
        ->required();
    AddForce(command);
    command->callback([arguments = m_Arguments, &exitCode = m_ExitCode, isChange, run] {
        exitCode = RunOnKey(*arguments, isChange, run);
    });
    return command;
}

CLI::App* CRegistryGroup::AddFileCommand(const char* name, const char* help,
                                         int (*run)(const RegistryArguments&)) {
    CLI::App* const command = m_Group->add_subcommand(name, help);
    command->callback(
        [arguments = m_Arguments, &exitCode = m_ExitCode, run] { exitCode = run(*arguments); });
    return command;
}

void CRegistryGroup::AddReading() {
    CLI::App* const get = AddKeyCommand("get", "Print a value", false, Get);
    AddName(get)->required();
    get->add_flag("--expand", m_Arguments->IsExpanded,
                  "Replace %NAME% in expandable texts by environment variables");

    CLI::App* const list = AddKeyCommand("list", "Print the values and keys of a key", false, List);
    list->add_flag("--recursive", m_Arguments->IsRecursive, "And everything below it");
    list->add_flag("--json", m_Arguments->AsJson, "Print JSON");
}

void CRegistryGroup::AddChanging() {
    CLI::App* const set = AddKeyCommand("set", "Set a value of an existing key", true, Set);
    AddName(set)->required();
    set->add_option("VALUE", m_Arguments->Value,
                    "A text, a number (decimal or 0x), or bytes in hexadecimal")
        ->required();
    set->add_option("--type", m_Arguments->Type, "What the value is")
        ->check(CLI::IsMember({"string", "expand", "dword", "binary"}))
        ->capture_default_str();

    AddKeyCommand("create", "Create a key and those above it", true, Create);

    CLI::App* const remove =
        AddKeyCommand("delete", "Delete a value, or a key and everything below it", true, Delete);
    AddName(remove)->each(
        [arguments = m_Arguments](const std::string& /*name*/) { arguments->HasName = true; });
}

void CRegistryGroup::AddMoving() {
    AddKeyCommand("export", "Print a key and everything below it as JSON", false, ExportTree);

    CLI::App* const import =
        AddFileCommand("import", "Set everything that an export holds", ImportTree);
    import->add_option("FILE", m_Arguments->File, "The export; \"-\" or none: standard input");
    AddForce(import);

    CLI::App* const check =
        AddFileCommand("check", "Report what a save would change in a tree file", CheckTreeFile);
    check->add_option("FILE", m_Arguments->File, "The tree file")->required();
}

}  // namespace

int NoKey(const RegistryArguments& arguments) {
    return Fail(kNotFound, "there is no key " + arguments.Path);
}

int WillBeLost(const std::string& what) {
    return Fail(kFailure,
                what +
                    " would not survive a save: names hold no \"=\", \"]\" or line feed, "
                    "texts no line feed, and a line has at most 1,022 characters (--force "
                    "writes it all the same)");
}

void AddRegistryCommands(CLI::App& app, int& exitCode) {
    CRegistryGroup group(app, exitCode);
    group.AddReading();
    group.AddChanging();
    group.AddMoving();
}

}  // namespace tools
