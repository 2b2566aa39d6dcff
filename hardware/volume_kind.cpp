#include "hardware/volume_kind.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::string_view kFusePrefix = "fuse.";

constexpr std::string_view kNetworkTypes[] = {
    "9p",       "acfs",      "afpfs",     "afs",      "beegfs",   "beegfs_nodev", "ceph",
    "cifs",     "coda",      "curlftpfs", "cvmfs2",   "davfs",    "davfs2",       "gcsfuse",
    "gfarm",    "glusterfs", "gpfs",      "juicefs",  "lizardfs", "lustre",       "mfs",
    "moosefs",  "ncp",       "ncpfs",     "nfs",      "nfs3",     "nfs4",         "orangefs",
    "panfs",    "pvfs2",     "rclone",    "s3fs",     "smb2",     "smb3",         "smbfs",
    "smbnetfs", "sshfs",     "vboxsf",    "virtiofs", "vmhgfs",   "vmhgfs-fuse",
};
constexpr std::string_view kPseudoTypes[] = {
    "apparmorfs", "bdev",       "binder",         "binfmt_misc", "bpf",    "cgroup",   "cgroup2",
    "configfs",   "cpuset",     "debugfs",        "devfs",       "devpts", "devtmpfs", "efivarfs",
    "functionfs", "fusectl",    "gvfsd-fuse",     "hugetlbfs",   "lxcfs",  "mqueue",   "nfsd",
    "nsfs",       "pipefs",     "portal",         "proc",        "pstore", "ramfs",    "resctrl",
    "rpc_pipefs", "securityfs", "selinuxfs",      "smackfs",     "sockfs", "sysfs",    "tracefs",
    "usbdevfs",   "usbfs",      "vmware-vmblock", "xenfs",
};
constexpr std::string_view kLayeredTypes[] = {
    "aufs", "ecryptfs", "overlay", "overlayfs", "shiftfs", "unionfs",
};

template <std::size_t Size>
bool IsOneOf(std::string_view type, const std::string_view (&types)[Size]) {
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

bool IsRemoteDevice(std::string_view device) {
    // A colon behind a slash belongs to a path ("/dev/disk/by-path/pci-0000:00:1f.2-ata-1").
    const std::size_t colon = device.find(':');
    return device.starts_with("//") ||
           (colon != std::string_view::npos && colon != 0 && colon < device.find('/') &&
            device.find('/') != std::string_view::npos);
}

}  // namespace

const char* VolumeKindName(VolumeKind kind) {
    switch (kind) {
    case VolumeKind::kDisk: return "disk";
    case VolumeKind::kNetwork: return "network";
    case VolumeKind::kPseudo: return "pseudo";
    case VolumeKind::kAutomount: return "automount";
    case VolumeKind::kUserSpace: return "user space";
    case VolumeKind::kLayered: return "layered";
    case VolumeKind::kOther: break;
    }
    return "other";
}

VolumeKind ClassifyVolume(std::string_view type, std::string_view device) {
    const bool isFuse = type.starts_with(kFusePrefix);
    const std::string_view name = isFuse ? type.substr(kFusePrefix.size()) : type;
    if (IsOneOf(name, kNetworkTypes)) {
        return VolumeKind::kNetwork;
    }
    if (IsOneOf(name, kPseudoTypes)) {
        return VolumeKind::kPseudo;
    }
    if (isFuse || type == "fuse") {
        return VolumeKind::kUserSpace;
    }
    if (type == "autofs") {
        return VolumeKind::kAutomount;
    }
    if (IsOneOf(name, kLayeredTypes)) {
        return VolumeKind::kLayered;
    }
    if (IsRemoteDevice(device)) {
        return VolumeKind::kNetwork;
    }
    // The device of ZFS is the name of a pool and a data set.
    return device.starts_with('/') || type == "zfs" ? VolumeKind::kDisk : VolumeKind::kOther;
}
