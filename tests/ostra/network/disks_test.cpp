#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/network/NTClusterDisks.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

namespace {

using SharedDisks = tests::ClusterWorld;
using tests::Operation;

StringArray DrivesOf(const NTClusterDisks::DiskMap* disks) {
    StringArray drives;
    for (const auto& [drive, disk] : *disks) drives.push_back(drive);
    return drives;
}

TEST_F(SharedDisks, AreInUseOrAvailableOnceHoweverManyNodesReportThem) {
    AddDisk(L"E:", 0x0A1B2C3D, 1);
    AddDisk(L"F:", 0x9A3F, 2);
    AddDisk(L"G:", 0xFFFFFFFE, 3);
    AddDisk(L"F:", 4);  // a drive that is in use
    PhysicalDisk type(L"Test", cluster);
    const auto holder = Made(L"Disk F:", type, {L"Signature=REG_DWORD:39487"});
    for (const auto& disks : {std::make_unique<NTClusterDisks>(cluster), std::make_unique<NTClusterDisks>(L"Test")}) {
        EXPECT_EQ((StringArray{L"F:"}), DrivesOf(disks->Used()));
        EXPECT_EQ((StringMap{{L"E:", L"a1b2c3d"}, {L"G:", L"fffffffe"}}), *disks->AvailableDrives());

        Disk* used = disks->Find(disks->Used(), L"F:");
        ASSERT_NE(nullptr, used);
        EXPECT_EQ(L"Disk F: 2 Data beef 10 9a3f", used->ResourceName() + L" " + used->ID() + L" " + used->DiskName() +
                                                      L" " + used->SerialNumber() + L" " + used->SCSIAddress() + L" " +
                                                      used->Signature());
        EXPECT_EQ(used, disks->FindBySignatureInDWORD(disks->Used(), L"39487"));

        Disk* free = disks->Find(disks->Availables(), L"G:");
        ASSERT_NE(nullptr, free);
        EXPECT_EQ(L"Data", free->Attributes()->at(L"Volumne Lable"));
        EXPECT_FALSE(free->Attributes()->contains(L"Serial Number"));
        EXPECT_EQ(free, disks->FindBySignatureInDWORD(disks->Availables(), L"-2"));
        EXPECT_EQ(nullptr, disks->FindBySignatureInDWORD(disks->Availables(), L"4294967294"));
        EXPECT_EQ(nullptr, disks->FindBySignature(disks->Availables(), L"fffffffe"));  // keys are drives
    }
}

TEST_F(SharedDisks, AreWithoutThoseThatCouldNotBeAskedFor) {
    AddDisk(L"E:", 1);
    failing->FailItem(Operation::Enumerate, 0, 31);  // N1; N2 reports the disk as well
    EXPECT_EQ((StringArray{L"E:"}), DrivesOf(NTClusterDisks(cluster).Availables()));
    failing->Heal();
    for (const Operation operation : {Operation::Enumerate, Operation::Find, Operation::Control}) {
        failing->Fail(operation, 5);
        EXPECT_EQ(StringArray(), DrivesOf(NTClusterDisks(cluster).Availables()));
        failing->Heal();
    }
    for (const auto& disks : {std::make_unique<NTClusterDisks>(HCLUSTER{}), std::make_unique<NTClusterDisks>(L"Other")})
        EXPECT_TRUE(disks->Availables()->empty() && disks->Used()->empty());
}

TEST(ADisk, ReadsItsSignatureAsHexadecimal) {
    Disk disk;
    EXPECT_EQ(39487u, disk.SignatureInDecimalDWORD(L"9a3f"));
    disk.Set(L"Disk E:", L"1", L"E:", L"1f", L"", L"", L"");
    EXPECT_EQ(L"1f E:", disk.Signature() + L" " + disk.Partition());
    disk.Set(L"Signature", L"ffffffff");
    disk.Set(L"Partition", L"F:");
    EXPECT_EQ(L"ffffffff F:", disk.Signature() + L" " + disk.Partition());
    EXPECT_EQ(0xFFFFFFFFu, disk.SignatureInDecimalDWORD());
}

}  // namespace
