#include <gtest/gtest.h>
#include <ostra/registry/Registry.h>
#include <ostra/wizard/ExpertWizard.h>
#include <ostra/wizard/ResourceDependency.h>
#include <ostra/wizard/WizardRegistry.h>
#include <platform/base/registry_types.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

#include <algorithm>
#include <array>

namespace {

using Key = platform::SharedHandle<HKEY, RegCloseKey>;

const std::wstring product = L"SOFTWARE\\Norvane\\Ostra";
const std::wstring root = L"HKEY_LOCAL_MACHINE\\" + product + L"\\";

/// A machine's registry, in memory.
class AMachine : public testing::Test {
protected:
    AMachine() { EXPECT_EQ(0U, platform::BeginRegistryRehearsal()); }
    ~AMachine() override { platform::EndRegistryRehearsal(); }

    static void Write(const std::wstring& path, const std::wstring& name = {}, const std::wstring& text = {}) {
        Registry registry(root + L"ExpertWizard\\" + path + L"\\", L"");
        const HKEY key = registry.Open(nullptr, 0);
        if (!name.empty()) registry.AddValue(key, name, text, REG_SZ);
    }

    static void WriteControl(const std::wstring& path, const std::wstring& prompt, const std::wstring& owner) {
        Write(path, L"Prompt", prompt);
        Write(path, L"Owner", owner);
        Write(path, L"Registry Name", L"Name");
        Write(path, L"Data Format", L"REG_SZ");
    }

    /// Every key and value below a path, a line each.
    static void Walk(const std::wstring& path, StringArray& lines) {
        HKEY opened = nullptr;
        ASSERT_EQ(0, RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &opened));
        const Key key(opened);
        lines.push_back(path);
        std::array<wchar_t, 256> name{};
        std::array<BYTE, 256> data{};
        for (DWORD index = 0;; ++index) {
            DWORD size = 256, dataSize = 256, type = 0;
            if (RegEnumValueW(opened, index, name.data(), &size, nullptr, &type, data.data(), &dataSize) != 0) break;
            std::wstring line = std::wstring(name.data()) + L"=" + std::to_wstring(type) + L":";
            for (DWORD at = 0; at < dataSize; ++at) line += std::to_wstring(data[at]) + L" ";
            lines.push_back(line);
        }
        for (DWORD index = 0;; ++index) {
            DWORD size = 256;
            if (RegEnumKeyExW(opened, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) != 0) break;
            Walk(path + L"\\" + name.data(), lines);
        }
    }

    static StringArray Kinds(const ExpertWizardGUIPage& page) {
        StringArray names;
        for (const auto& component : page.Components()) names.push_back(component->Name());
        return names;
    }

    static std::vector<StringArray> Parameters(const ExpertWizardGUIPage& page) {
        std::vector<StringArray> lists(5);
        EXPECT_EQ(0, page.GetParameters({&lists[0], &lists[1], &lists[2], &lists[3], &lists[4]}));
        return lists;
    }

    tests::TemporaryHome _home;
    tests::CapturedOutput _output;
    tests::CapturedEvents _events;
};

class AMachineWithTheDefaultTemplates : public AMachine {
protected:
    AMachineWithTheDefaultTemplates() {
        WizardRegistry(L"").Create();
        _progress = _output.Take();
    }
    std::wstring _progress;
};

TEST_F(AMachineWithTheDefaultTemplates, GetsTheSameTreeWhenTheyAreWrittenAgain) {
    EXPECT_EQ(
        L"Adding root key.....\nAdding Expert Wizard......\nAdding Expert Wizard Groups......\n"
        L"Building File Share Registry......\nBuilding IIS Service Registry......\n"
        L"Building Marlin Registry......\nBuilding Print Spooler Registry......\n"
        L"Building Dependencies Registry......\n",
        _progress);
    StringArray once;
    StringArray twice;
    Walk(product, once);
    Write(L"Groups\\File Share\\GUI\\1", L"Prompt", L"changed");
    WizardRegistry writer(L"not looked at");
    writer.Create();
    writer.Create();
    Walk(product, twice);
    EXPECT_EQ(once, twice);
    EXPECT_EQ(StringArray{}, _events.TakeTexts());

    // 24 controls of five values, three lists of kinds, two pools of five values, the scheduler's.
    const auto values =
        std::count_if(once.begin(), once.end(), [](const auto& line) { return line.find(L'=') != std::wstring::npos; });
    EXPECT_EQ(24 * 5 + 3 + 2 * 5 + 1, values);
    Registry pool(root + L"ExpertWizard\\IPStack\\Network1\\", L"");
    pool.Open(nullptr, 1);
    EXPECT_EQ(L"255.255.240.0", pool.GetValue(L"Subnet Mask"));
    EXPECT_EQ(L"No", pool.GetValue(L"Initialized"));
    EXPECT_NE(once.end(), std::find(once.begin(), once.end(), L"IP Used=3:"));
    EXPECT_NE(once.end(), std::find(once.begin(), once.end(), L"Persistence=1:48 0 0 0 "));
}

TEST_F(AMachineWithTheDefaultTemplates, HasFourPagesWithTheirControlsAndComponents) {
    const ExpertWizard wizard;
    EXPECT_EQ(1, wizard.Valid());
    EXPECT_EQ(4, wizard.NumberOfGroups());
    EXPECT_EQ(4, wizard.NumberOfPages());
    EXPECT_EQ(1, wizard.IsValidExpertGroupType(L"Print Spooler"));
    EXPECT_EQ(0, wizard.IsValidExpertGroupType(L"print spooler"));
    EXPECT_EQ(nullptr, wizard.GetPage(L"Nothing"));

    const ExpertWizardGUIPage& share = *wizard.GetPage(L"File Share");
    EXPECT_EQ((StringArray{L"Physical Disk", L"IP Address", L"Network Name", L"File Share"}), Kinds(share));
    EXPECT_EQ((std::vector<DWORD>{1, 2, 3, 4, 5, 6, 7}), share.ControlIndex());
    EXPECT_EQ((std::vector<StringArray>{{L"Signature=REG_DWORD:"},
                                        {L"Network=REG_SZ:", L"SubnetMask=REG_SZ:", L"Address=REG_SZ:"},
                                        {L"Name=REG_SZ:"},
                                        {L"ShareName=REG_SZ:", L"Path=REG_SZ:"},
                                        {}}),
              Parameters(share));
    EXPECT_EQ((StringArray{L"DefaultSpoolDirectory=REG_SZ:", L"JobCompletionTimeout=REG_DWORD:"}),
              Parameters(*wizard.GetPage(L"Print Spooler"))[4]);
    EXPECT_NE(nullptr, wizard.GetPage(L"Print Spooler")->GetControl(L"Spool Foler:"));
    EXPECT_EQ((StringArray{L"Directory=REG_SZ:", L"Alias=REG_SZ:"}),
              Parameters(*wizard.GetPage(L"IIS Virtual Root"))[4]);
    EXPECT_EQ(5, wizard.GetPage(L"IIS Virtual Root")->NumberOfComponents());

    const ExpertWizardGUIPage& marlin = *wizard.GetPage(L"Marlin");
    EXPECT_EQ(3, marlin.NumberOfControls());
    EXPECT_EQ(StringArray{L""}, Kinds(marlin));
    EXPECT_EQ((StringArray{L"??\?=REG_SZ:", L"??\?=REG_SZ:"}), Parameters(marlin)[3]);
}

TEST_F(AMachineWithTheDefaultTemplates, TurnsWhatIsEnteredIntoParametersOfTheOwners) {
    const ExpertWizard wizard;
    ExpertWizardGUIPage page(*wizard.GetPage(L"File Share"));
    page.SetValue(L"Share Name:", L"public");
    page.SetValue(L"Disk Drive:", L"305419896");
    const std::vector<StringArray> lists = Parameters(page);
    EXPECT_EQ(L"ShareName=REG_SZ:public", lists[3].at(0));
    EXPECT_EQ(L"Signature=REG_DWORD:305419896", lists[0].at(0));
    EXPECT_EQ(L"ShareName=REG_SZ:", Parameters(*wizard.GetPage(L"File Share"))[3].at(0));
    StringArray values = {L"before"};
    EXPECT_EQ(8, page.GetValues(&values));
    EXPECT_EQ((StringArray{L"before", L"public", L"", L"", L"", L"", L"", L"305419896"}), values);

    _events.Take();
    page.SetValue(L"share name:", L"other");
    EXPECT_EQ(StringArray{L"ExpertWizardGUIPage::SetValue( ). Failure finding control share name:"},
              _events.TakeTexts());
    StringArray disks;
    EXPECT_EQ(0, page.GetParameters({&disks, nullptr}));
    EXPECT_EQ(StringArray{L"Signature=REG_DWORD:305419896"}, disks);

    page.Add(new ExpertWizardGUIControl(L"Zone:", L"Time Service", L"Zone", L"REG_SZ", L"UTC", L"CEditCtrl"));
    _events.Take();
    EXPECT_EQ(lists, Parameters(page));
    EXPECT_EQ(StringArray{L"ExpertWizardGUIPage::GetParameters( ). Invalid control owner.Time Service"},
              _events.TakeTexts());
}

TEST_F(AMachineWithTheDefaultTemplates, KnowsWhichKindsAKindDependsOn) {
    const ResourceDependency share(L"File Share");
    EXPECT_EQ((StringArray{L"Network Name", L"Physical Disk"}), share.DependentResources());
    EXPECT_EQ(1, share.IsDependent(L"Network Name"));
    EXPECT_EQ(0, share.IsDependent(L"network name"));
    EXPECT_EQ(0, share.IsDependent(L"IP Address"));
    _output.Take();
    share.Info();
    EXPECT_EQ(
        L"ResourceDependency::Info( void ). On entry.\nResourceDependency::Info( ). NumberOfDependencies:2\n"
        L"Network Name\nPhysical Disk\n",
        _output.Take());
    EXPECT_EQ(StringArray{L"IP Address"}, ResourceDependency(L"Network Name").DependentResources());
    EXPECT_EQ((StringArray{L"File Share", L"IP Address"}),
              ResourceDependency(L"IIS Virtual Root").DependentResources());
    for (const wchar_t* kind : {L"Time Service", L"Generic Application", L"Nothing"})
        EXPECT_EQ(0, ResourceDependency(kind).NumberOfDependencies());
    EXPECT_EQ(0, ResourceDependency(1).NumberOfDependencies());
}

TEST_F(AMachine, WithoutTemplatesHasNoPages) {
    ExpertWizard wizard;
    EXPECT_EQ(0, wizard.Valid());
    EXPECT_EQ(0, wizard.NumberOfPages());
    EXPECT_EQ(0, wizard.IsValidExpertGroupType(L"File Share"));
    EXPECT_EQ(0, wizard.Initialize());
}

TEST_F(AMachine, ReadsOddTemplatesAsFarAsTheyGo) {
    WriteControl(L"Groups\\Odd\\GUI\\2", L"First", L"IP Address");
    WriteControl(L"Groups\\Odd\\GUI\\10", L"Second", L"Network Name");
    WriteControl(L"Groups\\Odd\\GUI\\-3y", L"Third", L"ip address");
    Write(L"Groups\\Odd\\GUI\\x");
    Write(L"Groups\\Odd\\Components", L"Names", L"A,, B ,");
    Write(L"Groups\\No controls\\Components", L"Names", L"A");
    _output.Take();
    ExpertWizard wizard;
    EXPECT_EQ(L"ExpertWizardGUIPage::ExpertWizardGUIPage( ). Failure opening registry key: " + root +
                  L"ExpertWizard\\Groups\\No controls\n",
              _output.Take());
    EXPECT_EQ(2, wizard.NumberOfPages());
    EXPECT_EQ(0, wizard.GetPage(L"No controls")->NumberOfComponents());

    const ExpertWizardGUIPage& odd = *wizard.GetPage(L"Odd");
    EXPECT_EQ((StringArray{L"A", L"", L" B ", L""}), Kinds(odd));
    EXPECT_EQ((std::vector<DWORD>{0xFFFFFFFD, 10, 2, 0}), odd.ControlIndex());
    EXPECT_EQ(4, odd.NumberOfControls());
    EXPECT_EQ(L"", odd.Controls()[3]->PromptText());
    _events.Take();
    EXPECT_EQ((std::vector<StringArray>{{}, {L"Name=REG_SZ:"}, {L"Name=REG_SZ:"}, {}, {}}), Parameters(odd));
    EXPECT_EQ(2U, _events.Take().size());

    EXPECT_EQ(1, wizard.Initialize());
    EXPECT_EQ(4, wizard.NumberOfPages());
    EXPECT_EQ(2, wizard.NumberOfGroups());
    EXPECT_EQ(wizard.Pages()[3].get(), wizard.GetPage(L"Odd"));
}

}  // namespace
