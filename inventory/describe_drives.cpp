// Of the description: drives, partitions, volumes.
#include "inventory/describe.h"

namespace inventory {

namespace {

Json AddressOrNull(const CPciAddress& address) {
    return address.IsValid() ? Json(address.ToString()) : Json();
}

Json DescribePartition(const CSystemPartition& partition) {
    Json json;
    json["name"] = TextOrNull(partition.m_Name);
    json["number"] = partition.m_Number;
    SetFinding(json, "start", partition.m_Start);
    SetFinding(json, "size", partition.m_Size);
    json["type"] = TextOrNull(partition.m_Type);
    json["file_system"] = TextOrNull(partition.m_FileSystem);
    json["label"] = TextOrNull(partition.m_Label);
    json["uuid"] = TextOrNull(partition.m_Uuid);
    json["partition_name"] = TextOrNull(partition.m_PartitionName);
    json["partition_uuid"] = TextOrNull(partition.m_PartitionUuid);
    return json;
}

Json TextList(const std::vector<std::string>& texts) {
    Json list = Json::array();
    for (const std::string& each : texts) {
        list.push_back(text::ReplaceMalformed(each));
    }
    return list;
}

Json ScsiAddressOrNull(const std::optional<ScsiAddress>& address) {
    return address ? Json{{"host", address->Host},
                          {"channel", address->Channel},
                          {"target", address->Target},
                          {"lun", address->Lun}}
                   : Json();
}

void SetUsage(Json& json, const CFinding<VolumeUsage>& usage) {
    const bool isKnown = usage.IsKnown();
    json["size"] = isKnown ? Json(usage.Get().Size) : Json();
    json["free"] = isKnown ? Json(usage.Get().Free) : Json();
    json["available"] = isKnown ? Json(usage.Get().Available) : Json();
    if (!isKnown) {
        json["size_reason"] = TextOrNull(usage.Reason());
    }
}

}  // namespace

Json DescribeDrive(const CSystemDrive& drive) {
    Json json;
    json["name"] = TextOrNull(drive.m_Name);
    json["generic_node"] = TextOrNull(drive.m_GenericNode);
    json["kind"] = DriveKindName(drive.m_Kind);
    json["vendor"] = TextOrNull(drive.m_Vendor);
    json["model"] = TextOrNull(drive.m_Model);
    json["revision"] = TextOrNull(drive.m_Revision);
    json["transport"] = TextOrNull(drive.m_Transport);
    SetFinding(json, "size", drive.m_Size);
    SetFinding(json, "rotational", drive.m_IsRotational);
    SetFinding(json, "logical_block", drive.m_LogicalBlock);
    SetFinding(json, "physical_block", drive.m_PhysicalBlock);
    SetFinding(json, "removable", drive.m_IsRemovable);
    SetFinding(json, "wwn", drive.m_Wwn);
    SetFinding(json, "serial", drive.m_Serial);
    json["serial_source"] = TextOrNull(drive.m_SerialSource);
    json["host_address"] = AddressOrNull(drive.m_HostAddress);
    Json& others = json["other_host_addresses"] = Json::array();
    for (const CPciAddress& address : drive.m_OtherHostAddresses) {
        others.push_back(AddressOrNull(address));
    }
    json["scsi_address"] = ScsiAddressOrNull(drive.m_ScsiAddress);
    Json& partitions = json["partitions"] = Json::array();
    for (const CSystemPartition& partition : drive.m_Partitions) {
        partitions.push_back(DescribePartition(partition));
    }
    return json;
}

Json DescribeVolume(const CSystemVolume& volume) {
    Json json;
    json["name"] = TextOrNull(volume.m_Name);
    json["device"] = TextOrNull(volume.m_Device);
    json["file_system"] = TextOrNull(volume.m_Type);
    json["kind"] = VolumeKindName(volume.m_Kind);
    Json& points = json["mount_points"] = Json::array();
    for (const MountPoint& point : volume.m_MountPoints) {
        points.push_back({{"path", TextOrNull(point.Path)},
                          {"options", TextOrNull(point.Options)},
                          {"covered", point.IsCovered}});
    }
    json["label"] = TextOrNull(volume.m_Label);
    json["uuid"] = TextOrNull(volume.m_Uuid);
    SetUsage(json, volume.m_Usage);
    json["partitions"] = TextList(volume.m_Partitions);
    json["drives"] = TextList(volume.m_Drives);
    return json;
}

}  // namespace inventory
