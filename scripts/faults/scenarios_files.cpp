// Work on files that must be old or new behind any fault: registry and INI files.
#include <memory>

#include "os/ini_file.h"
#include "os/profile_string.h"
#include "os/registry.h"
#include "scripts/faults/scenario.h"

namespace {

constexpr char kTree[] = "/etc/quorvat/registry";
constexpr char kIni[] = "/tmp/faults/settings.ini";

std::string Tree(std::string_view text) {
    return "[HKEY_LOCAL_MACHINE]\nv=s=" + std::string(text) + "\n\n\n";
}

std::unique_ptr<CRegistry> OpenMachine() {
    auto key = std::make_unique<CRegistry>();
    (void)key->Open("HKEY_LOCAL_MACHINE", nullptr, -1);
    return key;
}

constexpr char kSettings[] =
    "; settings\n[first]\nkey=value\nother=1\n\n; of the second\n[second]\nkey=2\n";

// What a killed edit left. The file is changed in place, so that it may be neither.
void LookAtEdit(const std::string& text, std::string_view before, std::string_view after) {
    Outcome(text == before ? "left old" : text == after ? "left new" : "left in between");
}

// Runs one edit; behind it the file is the old or the new one, as the result says.
void Edit(const char* section, const char* key, const char* value, std::string_view before,
          std::string_view after) {
    if (IsLookBehindKill()) {
        LookAtEdit(ContentOf(kIni), before, after);
    } else {
        if (!before.empty()) {
            Put(kIni, before);
        } else {
            Put("/tmp/faults/other", "");
        }
        bool isDone = false;
        UnderFaultsHoldingNothing(
            [&] { isDone = WritePrivateProfileString(section, key, value, kIni); });
        const std::string text = ContentOf(kIni);
        Outcome(isDone ? "done" : "refused");
        Demand(text == (isDone ? after : before),
               (isDone ? "told done, but the file holds: " : "told refused, but the file holds: ") +
                   text);
    }
    Demand(WritePrivateProfileString(section, key, value, kIni) || value == nullptr,
           "the next edit fails");
}

}  // namespace

void RunRegistrySave() {
    std::unique_ptr<CRegistry> key;
    if (IsLookBehindKill()) {
        key = OpenMachine();
        std::string found;
        (void)key->QueryValue(found, "v");
        Outcome("left " + found);
        Demand(found == "old" || found == "new", "the registry reads: " + found);
    } else {
        Put(kTree, Tree("old"));
        Put("/etc/quorvat/registry.old", Tree("older"));
        key = OpenMachine();
        UnderFaultsHoldingNothing([&] {
            (void)key->SetValue("v", "new");
            key.reset();
        });
        const std::string text = ContentOf(kTree);
        Outcome(text == Tree("new") ? "done" : "refused");
        Demand(text == Tree("old") || text == Tree("new"), "the registry holds: " + text);
        key = OpenMachine();
    }
    Demand(key->SetValue("v", "next") == 0, "no further change");
    key.reset();
    Demand(ContentOf(kTree) == Tree("next"), "the next save left: " + ContentOf(kTree));
    Demand(!IsThere("/etc/quorvat/registry.new"), "registry.new is left");
}

void RunRegistryRead() {
    Put(kTree, Tree("first"));
    Put("/etc/quorvat/registry.old", Tree("first"));
    std::string found;
    UnderFaultsHoldingNothing([&] {
        CRegistry key;
        (void)key.Open("HKEY_LOCAL_MACHINE", nullptr, -1);
        (void)key.QueryValue(found, "v");
    });
    Outcome(found == "first" ? "done" : "refused");
    // What could not be read is not saved over: the file stays, or is the whole tree.
    const std::unique_ptr<CRegistry> key = OpenMachine();
    (void)key->SetValue("w", "x");
    Demand(ContentOf(kTree).starts_with("[HKEY_LOCAL_MACHINE]\nv=s=first\n"),
           "the registry holds: " + ContentOf(kTree));
}

void RunIniSet() {
    Edit("first", "other", "a longer value", kSettings,
         "; settings\n[first]\nkey=value\nother=a longer value\n\n; of the second\n[second]\n"
         "key=2\n");
}

void RunIniNewSection() {
    Edit("third", "key", "3", kSettings, std::string(kSettings) + "\n[third]\n\nkey=3\n");
}

void RunIniDelete() {
    Edit("first", nullptr, nullptr, kSettings, "\n; of the second\n[second]\nkey=2\n");
}

void RunIniCreate() {
    Edit("first", "key", "1", "", "\n[first]\n\nkey=1\n");
}
