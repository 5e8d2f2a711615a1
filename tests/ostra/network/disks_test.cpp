#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/Resource.h>
#include <ostra/network/NTClusterDisks.h>
#include <tests/ostra/cluster/ObservedCluster.h>

namespace {

StringArray DrivesOf(const NTClusterDisks::DiskMap* disks) {
    StringArray drives;
    for (const auto& [drive, disk] : *disks) drives.push_back(drive);
    return drives;
}

using SharedDisks = tests::ObservedCluster;
using tests::Operation;

TEST_F(SharedDisks, AreInUseOrAvailableOnceHoweverManyNodesReportThem) {
    AddDisk(L"E:", 0x0A1B2C3D, 1);
    AddDisk(L"F:", 0x9A3F, 2);
    AddDisk(L"G:", 0xFFFFFFFE, 3);
    PhysicalDisk type(L"Payroll", cluster);
    Resource held(L"Disk F:", &type, cluster, L"Payroll", 0);
    const StringArray signature{L"Signature=REG_DWORD:39487"};
    ASSERT_EQ(1, held.Create(group, &signature, 0));
    const long users = Users();

    for (const auto& disks :
         {std::make_unique<NTClusterDisks>(cluster), std::make_unique<NTClusterDisks>(L"Payroll")}) {
        EXPECT_EQ((StringArray{L"F:"}), DrivesOf(disks->Used()));
        EXPECT_EQ((StringArray{L"E:", L"G:"}), DrivesOf(disks->Availables()));
        EXPECT_EQ((StringMap{{L"E:", L"a1b2c3d"}, {L"G:", L"fffffffe"}}), *disks->AvailableDrives());

        Disk* used = disks->Find(disks->Used(), L"F:");
        ASSERT_NE(nullptr, used);
        EXPECT_EQ(L"Disk F:", used->ResourceName());
        EXPECT_EQ(L"2", used->ID());
        EXPECT_EQ(L"Data", used->DiskName());
        EXPECT_EQ(L"beef", used->SerialNumber());
        EXPECT_EQ(L"10", used->SCSIAddress());
        EXPECT_EQ(L"9a3f", used->Signature());
        EXPECT_EQ(used, disks->FindBySignatureInDWORD(disks->Used(), L"39487"));

        Disk* free = disks->Find(disks->Availables(), L"G:");
        ASSERT_NE(nullptr, free);
        EXPECT_EQ((StringMap{{L"Signature", L"fffffffe"},
                             {L"SCSI Address", L"10"},
                             {L"Disk Number", L"3"},
                             {L"Partition", L"G:"},
                             {L"Volumne Lable", L"Data"}}),
                  *free->Attributes());
        EXPECT_EQ(free, disks->FindBySignatureInDWORD(disks->Availables(), L"-2"));
        EXPECT_EQ(nullptr, disks->FindBySignatureInDWORD(disks->Availables(), L"4294967294"));
        EXPECT_EQ(nullptr, disks->Find(disks->Availables(), L"F:"));
        EXPECT_EQ(nullptr, disks->FindBySignature(disks->Availables(), L"fffffffe"));  // keys are drives
    }
    EXPECT_EQ(users, Users());
}

TEST_F(SharedDisks, AreWithoutThoseThatCouldNotBeAskedFor) {
    AddDisk(L"E:", 1);
    service->FailItem(Operation::Enumerate, 0, 31);  // N1; N2 reports the disk as well
    EXPECT_EQ((StringArray{L"E:"}), DrivesOf(NTClusterDisks(cluster).Availables()));
    service->Heal();
    for (const Operation operation : {Operation::Enumerate, Operation::Find, Operation::Control}) {
        service->Fail(operation, 5);
        EXPECT_EQ(StringArray(), DrivesOf(NTClusterDisks(cluster).Availables()));
        service->Heal();
    }
    for (const auto& disks : {std::make_unique<NTClusterDisks>(HCLUSTER{}), std::make_unique<NTClusterDisks>(L"Other")})
        EXPECT_TRUE(disks->Availables()->empty() && disks->Used()->empty());
}

TEST(ADisk, ReadsItsSignatureAsHexadecimal) {
    Disk disk(L"7", L"Data");
    EXPECT_EQ(L"7", disk.ID());
    EXPECT_EQ(0u, disk.SignatureInDecimalDWORD());
    EXPECT_EQ(39487u, disk.SignatureInDecimalDWORD(L"9a3f"));
    disk.Set(L"Disk E:", L"1", L"E:", L"1f", L"", L"", L"");
    EXPECT_EQ(L"1f", disk.Signature());
    disk.Set(L"Signature", L"ffffffff");
    disk.Set(L"Partition", L"F:");
    EXPECT_EQ(L"ffffffff", disk.Signature());
    EXPECT_EQ(0xFFFFFFFFu, disk.SignatureInDecimalDWORD());
    EXPECT_EQ(L"F:", disk.Partition());
}

}  // namespace
