#include <ostra/network/NTClusterDisks.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>

using platform::ToUtf8;

namespace programs {

namespace {

Json Row(const std::wstring& drive, Disk& disk, const std::wstring& label) {
    return {{"name", ToUtf8(drive)},
            {"signature", ToUtf8(disk.Signature())},
            {"label", ToUtf8(label)},
            {"use", disk.ResourceName().empty() ? "available" : "used"},
            {"resource", ToUtf8(disk.ResourceName())}};
}

void ListDisks(Context& context) {
    const NTClusterDisks disks(context.ClusterName());
    Json rows = Json::array();
    for (const auto& [drive, disk] : *disks.Availables()) {
        const auto label = disk->Attributes()->find(L"Volumne Lable");
        rows.push_back(Row(drive, *disk, label == disk->Attributes()->end() ? std::wstring() : label->second));
    }
    for (const auto& [drive, disk] : *disks.Used()) rows.push_back(Row(drive, *disk, disk->DiskName()));
    context.PrintList(
        {{"name", "DRIVE"}, {"signature", "SIGNATURE"}, {"label", "LABEL"}, {"use", "USE"}, {"resource", "RESOURCE"}},
        rows);
}

}  // namespace

void AddDiskCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "disk", "The disks that all nodes share");
    AddCommand(*family, run, "list", "Lists the shared disks, those that a new group may take first",
               {"disk list", "disk list --json"}, Effect::Reads, ListDisks);
}

}  // namespace programs
