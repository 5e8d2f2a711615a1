#include <gtest/gtest.h>
#include <ostra/wizard/ExpertWizard.h>
#include <ostra/wizard/ResourceDependency.h>
#include <ostra/wizard/WizardRegistry.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

namespace {

const std::wstring root = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\";

/// A machine's registry, in memory.
class AMachine : public testing::Test {
protected:
    AMachine() { EXPECT_EQ(0U, platform::BeginRegistryRehearsal()); }
    ~AMachine() override { platform::EndRegistryRehearsal(); }

    static void Write(const std::wstring& path, const StringMap& values = {}) {
        Registry registry(root + path + L"\\", L"");
        const HKEY key = registry.Open(nullptr, 0);
        for (const auto& [name, text] : values) registry.AddValue(key, name, text, REG_SZ);
    }
    static void WriteControl(const std::wstring& path, const std::wstring& prompt, const std::wstring& owner) {
        Write(path, {{L"Prompt", prompt}, {L"Owner", owner}, {L"Registry Name", L"Name"}, {L"Data Format", L"REG_SZ"}});
    }
    static std::vector<StringArray> Parameters(const ExpertWizardGUIPage& page) {
        std::vector<StringArray> lists(5);
        EXPECT_EQ(0, page.GetParameters({&lists[0], &lists[1], &lists[2], &lists[3], &lists[4]}));
        return lists;
    }

    tests::TemporaryHome _home;
    tests::CapturedOutput _output;
    tests::CapturedEvents _events;
    WizardRegistry _writer{L"not looked at"};
};

TEST_F(AMachine, HasDefaultsAndTurnsWhatIsEnteredIntoParametersOfTheOwners) {
    Write(L"Groups\\File Share\\GUI\\1", {{L"Prompt", L"changed"}});
    _writer.Create();
    EXPECT_EQ(0, _writer.Failures());
    EXPECT_EQ((StringArray{L"Network Name", L"Physical Disk"}), ResourceDependency(L"File Share").DependentResources());
    EXPECT_EQ(0, ResourceDependency(L"Time Service").NumberOfDependencies());
    EXPECT_EQ(0, ResourceDependency(L"Nothing").NumberOfDependencies());

    const ExpertWizard wizard;
    ExpertWizardGUIPage page(*wizard.GetPage(L"File Share"));
    page.SetValue(L"Share Name:", L"public");
    page.SetValue(L"Disk Drive:", L"305419896");
    const std::vector<StringArray> lists = Parameters(page);
    EXPECT_EQ(L"ShareName=REG_SZ:public", lists[3].at(0));
    EXPECT_EQ(L"Signature=REG_DWORD:305419896", lists[0].at(0));
    EXPECT_EQ(L"ShareName=REG_SZ:", Parameters(*wizard.GetPage(L"File Share"))[3].at(0)) << "a copy was filled in";
    EXPECT_EQ((StringArray{L"??\?=REG_SZ:", L"??\?=REG_SZ:"}), Parameters(*wizard.GetPage(L"Marlin"))[3]);
    StringArray disks;
    EXPECT_EQ(0, page.GetParameters({&disks, nullptr}));
    EXPECT_EQ(lists[0], disks);

    page.SetValue(L"share name:", L"other");
    EXPECT_EQ(platform::error::FileNotFound, GetLastError());
    page.Add(new ExpertWizardGUIControl(L"Zone:", L"Time Service", L"Zone", L"REG_SZ", L"UTC", L"CEditCtrl"));
    EXPECT_EQ(lists, Parameters(page));
    EXPECT_EQ((StringArray{L"ExpertWizardGUIPage::SetValue( ). Failure finding control share name:",
                           L"ExpertWizardGUIPage::GetParameters( ). Invalid control owner.Time Service"}),
              _events.TakeTexts());
    EXPECT_EQ(platform::error::InvalidParameter, GetLastError());
}

TEST_F(AMachine, ReadsOddTemplatesAsFarAsTheyGo) {
    EXPECT_EQ(0, ExpertWizard().Valid()) << "there is no template yet";
    WriteControl(L"Groups\\Odd\\GUI\\2", L"First", L"IP Address");
    WriteControl(L"Groups\\Odd\\GUI\\10", L"Second", L"Network Name");
    WriteControl(L"Groups\\Odd\\GUI\\-3y", L"Third", L"ip address");
    Write(L"Groups\\Odd\\GUI\\x");
    Write(L"Groups\\Odd\\Components", {{L"Names", L"A,, B ,"}});
    Write(L"Groups\\No controls\\Components", {{L"Names", L"A"}});
    struct Meddler : tests::CapturedOutput {
        void Write(std::wstring_view text) override {
            CapturedOutput::Write(text);
            code = RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Groups\\Odd\\GUI\\x");
        }
        LONG code = 0;
    } meddler;
    ExpertWizard wizard;
    EXPECT_EQ(L"ExpertWizardGUIPage::ExpertWizardGUIPage( ). Failure opening registry key: " + root +
                  L"Groups\\No controls\n",
              meddler.Take());
    EXPECT_NE(0, meddler.code) << "nothing changes in the midst of a reading";
    EXPECT_EQ(2, wizard.NumberOfPages());
    EXPECT_EQ(0, wizard.GetPage(L"No controls")->NumberOfComponents());

    const ExpertWizardGUIPage& odd = *wizard.GetPage(L"Odd");
    StringArray kinds;
    for (const auto& component : odd.Components()) kinds.push_back(component->Name());
    EXPECT_EQ((StringArray{L"A", L"", L" B ", L""}), kinds);
    EXPECT_EQ((std::vector<DWORD>{0xFFFFFFFD, 10, 2, 0}), odd.ControlIndex());
    EXPECT_EQ(4, odd.NumberOfControls());
    EXPECT_EQ((std::vector<StringArray>{{}, {L"Name=REG_SZ:"}, {L"Name=REG_SZ:"}, {}, {}}), Parameters(odd));

    EXPECT_EQ(1, wizard.Initialize());
    EXPECT_EQ(4, wizard.NumberOfPages());
    EXPECT_EQ(wizard.Pages()[3].get(), wizard.GetPage(L"Odd")) << "the newest reading counts";
}

TEST_F(AMachine, ReadsItsTemplatesAgainOnceTheyHaveChanged) {
    WriteControl(L"Groups\\Odd\\GUI\\1", L"First", L"IP Address");
    Write(L"Groups\\Odd\\Components", {{L"Names", L"A"}});
    Write(L"Dependencies\\A\\B");
    const auto seen = [] {
        const ExpertWizard wizard;
        return wizard.GetPage(L"Odd")->Controls()[0]->PromptText() + std::to_wstring(wizard.NumberOfGroups()) +
               std::to_wstring(ResourceDependency(L"A").NumberOfDependencies());
    };
    const auto change = [] {
        WriteControl(L"Groups\\Odd\\GUI\\1", L"Second", L"IP Address");
        Write(L"Groups\\Other\\GUI");  // without kinds, so that it is reported each time
        Write(L"Dependencies\\A\\C");
    };
    for (int turn = 0; turn < 2; ++turn) EXPECT_EQ(L"First11", seen());
    platform::TransactRegistry([&] {
        change();
        EXPECT_EQ(L"Second22", seen());
        return DWORD{1};  // undone
    });
    EXPECT_EQ(L"First11", seen());

    ExpertWizard wizard;  // whose pages are known
    wizard.Pages()[0]->SetValue(L"First", L"x");
    EXPECT_EQ(L"", ExpertWizard().Pages()[0]->Controls()[0]->Value());
    change();
    for (int turn = 0; turn < 2; ++turn) EXPECT_EQ(L"Second22", seen());
    EXPECT_EQ(2, wizard.GetExpertGroupNames());
    EXPECT_EQ(1, wizard.Initialize());
    EXPECT_EQ(3, wizard.NumberOfPages());
}

TEST_F(AMachine, TellsHowMuchOfTheDefaultTemplatesCouldNotBeWritten) {
    Write(L"Groups");
    HKEY volatileKey = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\IPStack", 0, nullptr,
                    REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &volatileKey, nullptr);
    RegCloseKey(volatileKey);
    _writer.Create();
    EXPECT_EQ(12, _writer.Failures()) << "two pools of five values cannot stand below a key that does not last";
    EXPECT_EQ(4, ExpertWizard().NumberOfPages());
}

}  // namespace
