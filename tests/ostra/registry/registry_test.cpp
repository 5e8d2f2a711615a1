#include <gtest/gtest.h>
#include <ostra/foundation/Persistence.h>
#include <ostra/registry/Registry.h>
#include <platform/base/last_error.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

#include <filesystem>

namespace {

using Bytes = std::vector<BYTE>;
using Key = platform::SharedHandle<HKEY, RegCloseKey>;

const std::wstring base = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\";

/// In memory; with a key that is open.
class ARegistry : public testing::Test {
protected:
    ARegistry() {
        EXPECT_EQ(0U, platform::BeginRegistryRehearsal());
        key = registry.Open(nullptr, 0);
        EXPECT_NE(nullptr, key);
    }
    ~ARegistry() override { platform::EndRegistryRehearsal(); }

    static bool IsOpen(HKEY parent, const std::wstring& path = {}) {
        HKEY copy = nullptr;
        RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &copy);
        return Key(copy).Get() != nullptr;
    }
    static bool Exists(const std::wstring& path) { return IsOpen(HKEY_LOCAL_MACHINE, path); }

    std::pair<DWORD, Bytes> Stored(const wchar_t* name) const {
        DWORD type = 0, size = 1000;
        Bytes data(size);
        EXPECT_EQ(0, RegQueryValueExW(key, name, nullptr, &type, data.data(), &size));
        data.resize(size);
        return {type, data};
    }

    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::CapturedEvents events;
    Registry registry{base, L""};
    HKEY key = nullptr;
};

TEST_F(ARegistry, OpensItsPathComponentByComponentUpToTheLastBackslash) {
    Registry reading(base + L"A\\B\\", L"");
    EXPECT_EQ(nullptr, reading.Open(nullptr, 1));
    const StringArray reports = events.TakeTexts();
    EXPECT_TRUE(reports.at(0).starts_with(L"Registry::Open. Failure opening A The "));
    EXPECT_TRUE(reports.at(1).starts_with(L"Registry::Open. Failure opening B The "));
    EXPECT_EQ(L"RegistryKey::Open( ). Invalid key:SOFTWARE\\Norvane\\A\\B\\", reports.at(2));
    EXPECT_FALSE(Exists(L"SOFTWARE\\Norvane\\A"));
    EXPECT_NE(nullptr, Registry(base + L"A\\B\\Last", L"").Open(nullptr, 0));
    EXPECT_FALSE(Exists(L"SOFTWARE\\Norvane\\A\\B\\Last"));
    EXPECT_NE(nullptr, reading.Open(nullptr, 1));
}

TEST_F(ARegistry, RefusesAPathWithoutARootKeyOfThatExactName) {
    for (const std::wstring path : {L"hkey_local_machine\\SOFTWARE\\", L"HKEY_LOCAL_MACHINE", L"SOFTWARE\\", L"\\"}) {
        Registry wrong(path, L"");
        EXPECT_EQ(0, wrong.Valid() + wrong.GetChildren(nullptr));
        EXPECT_EQ(nullptr, wrong.Open(nullptr, 0));
        EXPECT_EQ((StringArray{L"Registry::Initialize( ). Invalid root key. " + path.substr(0, path.find(L'\\')),
                               L"RegistryKey::Open( ). Invalid key:" + path}),
                  events.TakeTexts());
        EXPECT_EQ(87U, GetLastError());
        EXPECT_EQ(1, wrong.Initialize(base));
        EXPECT_NE(nullptr, wrong.Open(nullptr, 1));
    }
}

TEST_F(ARegistry, OpensAnewBelowTheKeyThatIsOpenAlsoOnAnotherHost) {
    std::filesystem::create_directories(home.Path() / "hosts" / "Other");
    for (const std::wstring host : {L"Other", L""}) {
        Registry other(L"HKEY_LOCAL_MACHINE\\A\\", host);
        const HKEY outer = other.Open(nullptr, 0);
        EXPECT_EQ(nullptr, other.Open(nullptr, 1));
        const HKEY inner = other.Open(nullptr, 0);
        EXPECT_FALSE(IsOpen(outer));
        EXPECT_EQ(host.empty(), Exists(L"A\\A"));
        EXPECT_EQ(1, other.AddValue(inner, L"V", 300));
        EXPECT_EQ(L"300", other.GetValue(L"V"));
    }
    events.Take();
    EXPECT_EQ(nullptr, Registry(base, L"Nowhere").Open(nullptr, 0));
    EXPECT_EQ(StringArray{L"RegistryKey::Open( ). Failure opening host:Nowhere"}, events.TakeTexts());
    EXPECT_EQ(53U, GetLastError());
    EXPECT_EQ(nullptr, Registry(L"SOFTWARE\\", L"Nowhere").Open(nullptr, 0));
    EXPECT_EQ(L"RegistryKey::Open( ). Failure opening host:Nowhere", events.TakeTexts().back()) << "the host is first";
}

TEST_F(ARegistry, ClosesItsOwnKeyOnceAndLeavesTheOthersToTheCaller) {
    auto closing = std::make_unique<Registry>(base, L"");
    const HKEY first = closing->Open(nullptr, 0);
    const Key added(closing->AddKey(L"Sub"));
    const HKEY other = closing->GetHandle(L"Sub");
    closing->Close(other);
    EXPECT_FALSE(IsOpen(other) || IsOpen(first) || closing->GetHandle(L"Sub"));
    EXPECT_EQ(L"", closing->GetValue(L"V"));
    EXPECT_EQ(6U, GetLastError());
    closing->Initialize(base);
    const HKEY second = closing->Open(nullptr, 1);
    EXPECT_TRUE(IsOpen(second));
    closing.reset();
    EXPECT_FALSE(IsOpen(second));
    EXPECT_TRUE(IsOpen(added.Get()));
}

TEST_F(ARegistry, StoresTextsAsUtf16WithANullAndAnEmptyTextAsNothing) {
    EXPECT_EQ(1, registry.AddValue(key, L"V", L"\U0001F600", REG_MULTI_SZ));
    EXPECT_EQ(std::pair(REG_MULTI_SZ, Bytes{0x3D, 0xD8, 0x00, 0xDE, 0, 0}), Stored(L"V"));
    EXPECT_EQ(1, registry.AddValue(key, L"V", L"", REG_SZ));
    EXPECT_EQ(std::pair(REG_SZ, Bytes{}), Stored(L"V"));
    EXPECT_EQ(1, registry.AddValue(key, L"V", 300));
    EXPECT_EQ(std::pair(REG_DWORD, Bytes{0x2C, 1, 0, 0}), Stored(L"V"));
    for (const int written : {registry.AddValue(nullptr, L"V", L"x", REG_SZ), registry.AddValue(nullptr, L"V", 1)})
        EXPECT_EQ(0, written);
    const StringArray reports = events.TakeTexts();
    EXPECT_TRUE(reports.at(0).starts_with(L"Registry::AddValue( ). Failure calling RegSetValue( ). The "));
    EXPECT_EQ(L"Registry::AddValue( ). Failure calling RegSetValue( ).", reports.at(1));

    struct Pool : Persistence {
        void SetPersistence(const std::wstring& text) override { _persistentData = text; }
    } pool, read;
    pool.SetPersistence(L"10.0.0.1 10.0.0.2");
    registry << pool;
    EXPECT_EQ(std::pair(REG_BINARY, platform::ToUtf16(pool.PersistentData())), Stored(L"Persistence"));
    registry >> read;
    EXPECT_EQ(pool.PersistentData(), read.PersistentData());
}

TEST_F(ARegistry, ReadsAnyDataWithoutLeavingIt) {
    const std::wstring most(5'000, L'\x6161');
    const std::tuple<DWORD, Bytes, std::wstring> rows[] = {
        {REG_SZ, {'a', 0, 'b'}, L"a"},
        {REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, L"a"},
        {REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}, L"-1"},
        {REG_DWORD, {1, 2, 3}, L""},
        {11, {1, 2, 3, 4, 5, 6, 7, 8}, L""},
        {REG_SZ, Bytes(10'000, 'a'), most},
        {REG_SZ, Bytes(10'001, 'a'), most},  // which only a caller's key may have
        {REG_SZ, Bytes(40'001, 'a'), L""},
    };
    for (const auto& [type, data, text] : rows) {
        RegSetValueExW(key, L"V", 0, type, data.data(), static_cast<DWORD>(data.size()));
        EXPECT_EQ(text, registry.GetValue(L"V", key)) << type << " " << data.size();
        EXPECT_EQ(data.size() > 10'000 ? L"" : text, registry.GetValue(L"V")) << type << " " << data.size();
    }
    EXPECT_EQ(L"", registry.GetValue(L"None", key));
    EXPECT_EQ(StringArray{}, events.TakeTexts());
    EXPECT_EQ(L"", registry.GetValue(L"None"));
    EXPECT_TRUE(events.TakeTexts().at(0).starts_with(
        L"Registry::GetValue( ). Failure calling RegQueryValueEx( ) for None.\nThe "));
    Bytes ended = {'a', 0, 'b', 0, 0, 0};
    EXPECT_EQ(L"ab", registry.FormatData(REG_EXPAND_SZ, L"V", ended.data()));
    EXPECT_EQ(L"", registry.FormatData(11, L"V", Bytes(8, 1).data())) << "a number, which no null ends";
}

TEST_F(ARegistry, AddsKeysBelowPathsAndHandlesAndListsTheFirstThousand) {
    const std::wstring longest(255, L'z');
    const Key byPath(registry.AddKey(L"", longest, L"V", L"1", REG_SZ));
    const Key byHandle(registry.AddKey(byPath.Get(), L"Handle", L"", L"1", REG_SZ));
    const Key below(registry.AddKey(longest, L"Path", L"", L"1", REG_SZ));
    EXPECT_EQ(L"1", registry.GetValue(L"V", byPath.Get()));
    EXPECT_EQ(L"", registry.GetValue(L"", byHandle.Get()) + registry.GetValue(L"", below.Get()));
    EXPECT_TRUE(Exists(L"SOFTWARE\\Norvane\\" + longest + L"\\Handle"));
    EXPECT_EQ(nullptr, registry.AddKey(L"None", L"Path", L"V", L"1", REG_SZ));
    EXPECT_EQ(nullptr, registry.AddKey(nullptr, L"Path", L"V", L"1", REG_SZ));
    EXPECT_EQ(nullptr, registry.AddKey(L"\t"));
    const StringArray reports = events.TakeTexts();
    EXPECT_TRUE(reports.at(0).starts_with(L"Registry::GetHandle( ). Failure calling RegOpenKeyEx( ). None.\nThe "));
    EXPECT_EQ(L"RegsitryKey::AddKey( ). Failure calling RegCreateKeyEx( ). for \t", reports.at(1));

    EXPECT_EQ(longest, registry.SubKeys().back());
    for (int index = 0; index < 1000; ++index) RegCloseKey(registry.AddKey(std::to_wstring(10'000 + index)));
    StringArray names = {L"before"};
    EXPECT_EQ(1000, registry.GetChildren(&names, nullptr));
    EXPECT_EQ(L"10999", names.at(1000));
    EXPECT_EQ(1000U, registry.SubKeys().size());
}

}  // namespace
