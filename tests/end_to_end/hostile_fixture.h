// Plays an unprivileged user with a shell who may write where root set something up wrongly.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/end_to_end/daemon_fixture.h"

inline constexpr uid_t kAttacker = 65534;

// Runs `act` as the attacker in a process of its own, whose exit code is its result; 125 when it
// cannot become him. The second form awaits the end of it.
pid_t StartAttacker(const std::function<int()>& act);
int AsAttacker(const std::function<int()>& act);

// What he puts in the place of a file. Most of it is made by himself. A second name of root's file
// is made for him, as a kernel without fs.protected_hardlinks lets him.
enum class Plant {
    kLinkToFile,
    kLinkToNothing,
    kLinkToDevice,
    kFifo,
    kSocket,
    kOwnFile,
    kSecondName,
};
inline constexpr Plant kPlants[] = {Plant::kLinkToFile, Plant::kLinkToNothing, Plant::kLinkToDevice,
                                    Plant::kFifo,       Plant::kSocket,        Plant::kOwnFile,
                                    Plant::kSecondName};
const char* Name(Plant plant);
// 0 or an errno number. Nothing may stand at `path`.
int MakePlant(Plant plant, const std::string& path);

// A daemon whose machine has another user; what the plants lead to is root's.
class CHostileTest : public CDaemonTest {
protected:
    static constexpr char kTarget[] = "/root_files/target";
    static constexpr char kNothing[] = "/root_files/nothing";

    void SetUp() override;
    // A folder that everybody may write, without the sticky bit: the kernel's fs.protected_*
    // settings do not look there.
    static void MakeOpenFolder(const std::string& path);
    // Removes what is there and plants.
    static void Put(Plant plant, const std::string& path);
    // Nothing was written through a plant. `path` is where it was: the attacker's own file is
    // still empty.
    static void ExpectNothingFollowed(const std::string& path);
    // Runs a program with the words of `command` as root; exit code, -14 when it hung.
    int Run(const std::string& command);
    // Starts in the foreground; killed after some seconds, when it hangs or should not run.
    pid_t StartForeground(const std::function<void()>& prepare = {});
    void Kill(pid_t pid);
};
