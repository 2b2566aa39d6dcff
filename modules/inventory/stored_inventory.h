// The last two inventories, as files that survive a restart and a crash.
#pragma once

#include <string>

// The last stored text. Empty when there is none.
[[nodiscard]] std::string LoadLastInventory();

// Makes `text` the last inventory, and what was the last one the previous one if `keepsLast`. At
// every moment each of the two files is whole, also after a crash. Makes the state folder, which
// only root may read because of the serial numbers. 0, or the errno number of what failed; the
// last inventory is then the old one.
[[nodiscard]] int StoreInventory(const std::string& text, bool keepsLast);
