// Every fixed path of the system, in one place.
//
// There is no prefix, setter or environment override: tests run in a private root instead.
#pragma once

namespace paths {

// The daemon.
inline constexpr char kInstanceLock[] = "/var/lock/zentd";  // CFileLock appends ".lock"
inline constexpr char kLockDirectory[] = "/var/lock";
inline constexpr char kPidFile[] = "/var/run/zentd.pid";
inline constexpr char kRunLevelFile[] = "/etc/quorvat/RunLevel";
inline constexpr char kSystemctl[] = "/usr/bin/systemctl";
inline constexpr char kRunLevelProgram[] = "/sbin/runlevel";
inline constexpr char kSmbusDevice[] = "/dev/pci/smbus";

// What starts it, and what it is started with.
inline constexpr char kServiceEnvironment[] = "/etc/default/morla";
inline constexpr char kSwitchLibrary[] = "libswitch.so";  // found by the loader
inline constexpr char kLoaderCache[] = "/etc/ld.so.cache";
// Where the loader looks last, in its order.
inline constexpr const char* kLibraryFolders[] = {"/lib/x86_64-linux-gnu",
                                                  "/usr/lib/x86_64-linux-gnu",
                                                  "/lib64",
                                                  "/usr/lib64",
                                                  "/lib",
                                                  "/usr/lib"};
inline constexpr char kProgramPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin";

// Tracing.
inline constexpr char kTraceConfigDirectory[] = "/etc/velmor/OskariaSuite/TraceConfig";
inline constexpr char kTraceDirectory[] = "/var/log/quorvat";
inline constexpr char kProcSelfStatus[] = "/proc/self/status";

// Processes.
inline constexpr char kProc[] = "/proc";
inline constexpr char kProcLocks[] = "/proc/locks";
inline constexpr char kProcSelfExe[] = "/proc/self/exe";
inline constexpr char kProcSelfTask[] = "/proc/self/task/";
inline constexpr char kProcSelfUidMap[] = "/proc/self/uid_map";
inline constexpr char kProcSelfGidMap[] = "/proc/self/gid_map";
inline constexpr char kProcSelfSetgroups[] = "/proc/self/setgroups";
inline constexpr char kNullDevice[] = "/dev/null";

// The reference switch library and its modules.
inline constexpr char kSwitchConfigFile[] = "/etc/quorvat/switch.ini";
inline constexpr char kModuleDirectory[] = "/usr/lib/morla/modules";  // unless the file names one
inline constexpr char kProcLoadAverage[] = "/proc/loadavg";
inline constexpr char kProcMemoryInfo[] = "/proc/meminfo";

// The registry.
inline constexpr char kRegistryDirectory[] = "/etc/quorvat";
inline constexpr char kRegistry[] = "/etc/quorvat/registry";
inline constexpr char kRegistryOld[] = "/etc/quorvat/registry.old";
inline constexpr char kRegistryTemp[] = "/etc/quorvat/registry.new";
inline constexpr char kRegistryDefault[] = "/etc/quorvat/registry.default";

// Firmware tables.
inline constexpr char kSmbiosEntryPoint[] = "/sys/firmware/dmi/tables/smbios_entry_point";
inline constexpr char kSmbiosTable[] = "/sys/firmware/dmi/tables/DMI";
inline constexpr char kEfiSystab[] = "/sys/firmware/efi/systab";
inline constexpr char kProcEfiSystab[] = "/proc/efi/systab";  // of old kernels
inline constexpr char kMemoryDevice[] = "/dev/mem";
inline constexpr char kHypervisorSmbios[] = "/vmfs/devices/char/mem/smbios";

// PCI functions.
inline constexpr char kProcBusPci[] = "/proc/bus/pci";

// Adapters and buses.
inline constexpr char kAdapterNames[] = "/etc/quorvat/Adapter.ini";
inline constexpr char kPciIds[] = "/usr/share/misc/pci.ids";
inline constexpr char kHardwareDataPciIds[] = "/usr/share/hwdata/pci.ids";
inline constexpr char kSysPciDevices[] = "/sys/bus/pci/devices";
inline constexpr char kSysPnpDevices[] = "/sys/bus/pnp/devices";
inline constexpr char kSysClass[] = "/sys/class";
inline constexpr char kProcIoPorts[] = "/proc/ioports";

// Drives and volumes.
inline constexpr char kMtab[] = "/etc/mtab";
inline constexpr char kSysBlock[] = "/sys/block";             // whole drives
inline constexpr char kSysClassBlock[] = "/sys/class/block";  // partitions too
inline constexpr char kSysDevBlock[] = "/sys/dev/block";      // by their numbers
inline constexpr char kSysScsiGeneric[] = "/sys/class/scsi_generic";
inline constexpr char kDevices[] = "/dev";
inline constexpr char kRootDevice[] = "/dev/root";  // has a node on few systems
inline constexpr char kDiskByLabel[] = "/dev/disk/by-label";
inline constexpr char kDiskByUuid[] = "/dev/disk/by-uuid";
inline constexpr char kDiskByPartitionLabel[] = "/dev/disk/by-partlabel";
inline constexpr char kDiskByPartitionUuid[] = "/dev/disk/by-partuuid";
inline constexpr char kUdevRecords[] = "/run/udev/data";

// What modules keep from one start to the next.
inline constexpr char kStateDirectory[] = "/var/lib/morla";
inline constexpr char kInventoryState[] = "/var/lib/morla/inventory";

}  // namespace paths
