#include <ostra/cluster/PredefinedResourceTypes.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

namespace {

/// The defaults of a kind, common before private, one a line.
std::wstring DefaultsOf(ResourceType& type) {
    type.InitializeParameters();
    std::wstring lines;
    for (const std::size_t list : {0U, 1U})
        for (const std::wstring& parameter : type.Parameters(list)) lines += parameter + L"\n";
    return lines;
}

using AFileShare = tests::ClusterWorld;

TEST(AResourceType, HasTheDefaultsOfItsKind) {
    const std::pair<const wchar_t*, const wchar_t*> kinds[] = {
        {L"File Share", L"ShareName=REG_SZ:\nPath=REG_SZ:\nMaxUsers=REG_DWORD:4294967295\nPermissions=REG_DWORD:127\n"},
        {L"Generic Application", L"CommandLine=REG_SZ:c:\\bin\\noise.exe\nCurrentDirectory=REG_SZ:c:\\bin\\\n"},
        {L"Generic Service", L"CommandLine=REG_SZ:c:\\bin\\noise.exe\nCurrentDiectory=REG_SZ:c:\\bin\\\n"},
        {L"IIS Virtual Root",
         L"SeparateMonitor=REG_DWORD:0\nDirectory=REG_SZ:G:\\HTML\nAlias=REG_SZ:/Home\nServiceName=REG_SZ:W3SVC\n"
         L"AccessMask=REG_DWORD:1\n"},
        {L"IP Address", L""},
        {L"Network Name", L"Name=REG_SZ:OstraNetwork\n"},
        {L"Physical Disk", L""},
        {L"Print Spooler", L"JobCompletionTimeout=REG_DWORD:160000\nDefaultSpoolDirectory=REG_SZ:Spooler\n"},
        {L"Time Service", L""},
    };
    tests::CapturedOutput output;
    for (const auto& [name, defaults] : kinds) {
        const auto type = MakeResourceType(name, nullptr, L"");
        for (int i = 0; i < 2; ++i) EXPECT_EQ(defaults, DefaultsOf(*type));
        EXPECT_EQ(name, static_cast<const ClusterComponent&>(*type).Name()) << "by which collections find it";
    }
    EXPECT_EQ(L"", DefaultsOf(*MakeResourceType(L"SQL Server", nullptr, L"Payroll")));
    EXPECT_EQ(L"ResourceType::InitializeParameters( ). To be implemented by the derived class!\n", output.Take());
}

TEST(AResourceType, ExchangesItsDefaultsForTheCallersStrings) {
    const StringArray given{L"Path=REG_SZ:G:\\HTML", L"Description=REG_SZ:Files", L"SeparateMonitor=REG_DWORD:1",
                            L"no name", L"DefaultSpoolDirectory=REG_SZ:Q"};
    StringArray others{L"Path=REG_SZ:G:\\HTML", L"no name", L"DefaultSpoolDirectory=REG_SZ:Q"};
    PrintSpooler spooler(L"", nullptr);
    spooler.InitializeParameters();
    spooler.UpdateParameters(&given);
    EXPECT_EQ((StringArray{L"Description=REG_SZ:Files", L"SeparateMonitor=REG_DWORD:1"}), spooler.Parameters(0));
    EXPECT_EQ(others, spooler.Parameters(1));
    EXPECT_EQ((StringArray{L"DefaultSpoolDirectory=REG_SZ:Q"}), spooler.Parameters(2));
    spooler.UpdateParameters(&spooler.Parameters(1));  // its own list
    EXPECT_EQ(others, spooler.Parameters(1));
    EXPECT_EQ(StringArray(), spooler.Parameters(0));

    PhysicalDisk disk(L"", nullptr);
    disk.UpdateParameters(&given);
    disk.InitializeParameters();  // leaves them
    EXPECT_EQ(others, disk.Parameters(1));
    disk.UpdateParameters(nullptr);
    EXPECT_EQ(StringArray(), disk.Parameters(1));

    IISVirtualRoot root(L"", nullptr);
    root.UpdateParameters(&given);
    others.push_back(L"ServiceName=REG_SZ:W3SVC");
    EXPECT_EQ(others, root.Parameters(1));
}

TEST_F(AFileShare, IsNamedAfterItsResourceAndTheDriveOfItsDisk) {
    AddDisk(L"E:", 0x9A3F);
    AddDisk(L"F:", 0xFFFFFF00, 4);
    AddDisk(L"H:", 0x2000, 5);
    PhysicalDisk type(L"Test", cluster);
    Made(L"Disk H:", type, {L"Signature=REG_DWORD:8192"});
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> rows[] = {
        {L"", L"File Share for X(1)", L"1"},
        {L"G:\\", L"File Share for X(2)", L"2G"},
        {L"F:\\", L"no number", L"2G"},
        {L"39487", L"(1)", L"1E"},
        {L"-256", L"(1)", L"1F"},
        {L"8192", L"(1)", L"1H"},
        {L"9a3f", L"(1)", L"1H"},
        {L"4294967040", L"(1)", L"1H"},
    };
    FileShare share(L"Test", cluster);
    share.SetDefault(L"HTMLPath", L"G:\\HTML");
    for (const auto& [path, resource, name] : rows) {
        share.SetDefault(L"Path", path);
        share.SetDefault(L"ShareName", resource);
        EXPECT_TRUE(DefaultsOf(share).starts_with(std::wstring(L"ShareName=REG_SZ:FileShare") + name +
                                                  L"\nPath=REG_SZ:G:\\HTML\n"))
            << path;
    }
    EXPECT_EQ(L"1 FileShare::SetDefault( ). Selected disk drive not found. Signature in DWORD:4294967040",
              NewReports().back());
}

}  // namespace
