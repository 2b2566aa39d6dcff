// Where a drive hangs, read out of the path of its device: transport and ways to host adapters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hardware/pci_address.h"

namespace drive_place {

// The transport that the components of a resolved device path show: "usb", "sata", "sas", "fc",
// "iscsi", "virtio", "vmbus", "xen", "mmc", "nvme"; empty when they show none. Parallel ATA counts
// as "sata", because the kernel drives both alike.
[[nodiscard]] std::string Transport(std::string_view devicePath);

// Whether `left` comes before `right` as people count drives: by the first two letters, then by the
// letters' number (sdz before sdaa), letters, and numbers.
[[nodiscard]] bool IsNameBefore(std::string_view left, std::string_view right);

// The device's folder in /sys, resolved; of an NVMe drive with several paths, those of all its
// controllers. Empty when it vanished.
[[nodiscard]] std::vector<std::string> ReadControllerFolders(const std::string& deviceFolder);

// The PCI functions above the folders, each once, in their order.
[[nodiscard]] std::vector<CPciAddress> HostAddresses(const std::vector<std::string>& folders);

// The nearest folder above the device that has the attribute; empty when there is none.
[[nodiscard]] std::string FindFolderAbove(std::string folder, const char* attribute);

}  // namespace drive_place
