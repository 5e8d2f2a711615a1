#include <platform/engines/embedded/shared_disks.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/control_codes.h>
#include <platform/engines/embedded/online_checks.h>

#include <algorithm>

namespace platform::embedded {

namespace {

// A partition's record: flags, device name and volume label of 260 UTF-16 units each, serial number, and fields that
// this engine leaves zero (longest file name, file system flags, file system name of 32 units).
constexpr std::size_t unitsOfText = 260;
constexpr std::size_t textSize = unitsOfText * 2;
constexpr std::size_t nameAt = 4;
constexpr std::size_t labelAt = nameAt + textSize;
constexpr std::size_t serialAt = labelAt + textSize;
constexpr std::size_t recordSize = serialAt + 4 + 4 + 4 + 64;

void PutText(std::vector<BYTE>& record, std::size_t at, const std::wstring& text) {
    const std::vector<BYTE> bytes = ToUtf16(CutToUnits(text, unitsOfText - 1));
    std::ranges::copy(bytes, record.begin() + static_cast<std::ptrdiff_t>(at));
}

std::vector<BYTE> PartitionRecord(const DiskPartition& partition) {
    std::vector<BYTE> record(recordSize);
    PutText(record, nameAt, partition.drive);
    PutText(record, labelAt, partition.label);
    for (std::size_t byte = 0; byte < 4; ++byte) {
        record[serialAt + byte] = static_cast<BYTE>(partition.serialNumber >> (8 * byte));
    }
    return record;
}

void AppendDisk(std::vector<BYTE>& list, const SharedDisk& disk) {
    AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_SIGNATURE, disk.signature);
    AppendValueEntry(list, CLUSPROP_SYNTAX_SCSI_ADDRESS, disk.scsiAddress);
    AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_NUMBER, disk.number);
    for (const DiskPartition& partition : disk.partitions) {
        AppendValueEntry(list, CLUSPROP_SYNTAX_PARTITION_INFO, PartitionRecord(partition));
    }
}

void AppendEndMark(std::vector<BYTE>& list) {
    list.insert(list.end(), 4, BYTE{0});
}

}  // namespace

DWORD DescribeDiskOf(ClusterStore& store, const ResourceRecord& resource, std::vector<BYTE>& list) {
    DWORD signature = 0;
    if (const DWORD code = ReadSignature(store, resource, signature)) return code;
    const SharedDisk* const disk = store.Model().DiskOf(signature);
    if (!disk) return error::ResourceNotAvailable;
    list.clear();
    AppendDisk(list, *disk);
    AppendEndMark(list);
    return error::Success;
}

DWORD DescribeAvailableDisks(ClusterStore& store, std::vector<BYTE>& list) {
    std::set<DWORD> taken;
    for (const auto& [id, resource] : store.Model().resources.All()) {
        if (!IsPhysicalDisk(store.Model(), resource)) continue;
        DWORD signature = 0;
        if (const DWORD code = ReadSignature(store, resource, signature)) return code;
        taken.insert(signature);
    }
    list.clear();
    for (const auto& [id, disk] : store.Model().disks) {
        if (!taken.contains(disk.signature)) AppendDisk(list, disk);
    }
    AppendEndMark(list);
    return error::Success;
}

}  // namespace platform::embedded
