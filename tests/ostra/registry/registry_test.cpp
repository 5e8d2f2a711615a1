#include <gtest/gtest.h>
#include <ostra/foundation/Persistence.h>
#include <ostra/registry/Registry.h>
#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

#include <filesystem>

namespace {

using Bytes = std::vector<BYTE>;
using Key = platform::SharedHandle<HKEY, RegCloseKey>;

const std::wstring base = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\";

class ARegistry : public testing::Test {
protected:
    static bool IsOpen(HKEY key, const std::wstring& path = {}) {
        HKEY copy = nullptr;
        RegOpenKeyExW(key, path.c_str(), 0, KEY_READ, &copy);
        return Key(copy).Get() != nullptr;
    }
    static bool Exists(const std::wstring& path) { return IsOpen(HKEY_LOCAL_MACHINE, path); }

    static std::pair<DWORD, Bytes> Stored(HKEY key, const wchar_t* name) {
        DWORD type = 0, size = 1000;
        Bytes data(size);
        EXPECT_EQ(0, RegQueryValueExW(key, name, nullptr, &type, data.data(), &size));
        data.resize(size);
        return {type, data};
    }

    tests::TemporaryHome _home;
    tests::CapturedOutput _output;
    tests::CapturedEvents _events;
};

/// An open key, in memory.
class AnOpenRegistry : public ARegistry {
protected:
    AnOpenRegistry() {
        EXPECT_EQ(0U, platform::BeginRegistryRehearsal());
        _key = _registry.Open(nullptr, 0);
        EXPECT_NE(nullptr, _key);
    }
    ~AnOpenRegistry() override { platform::EndRegistryRehearsal(); }

    Registry _registry{base, L""};
    HKEY _key = nullptr;
};

TEST_F(ARegistry, OpensItsPathComponentByComponentUpToTheLastBackslash) {
    Registry reading(base + L"Ostra\\", L"");
    EXPECT_EQ(1, reading.Valid());
    EXPECT_EQ(nullptr, reading.Open(nullptr, 1));
    const StringArray reports = _events.TakeTexts();
    ASSERT_EQ(4U, reports.size());
    EXPECT_EQ(0U, reports[0].find(L"Registry::Open. Failure opening SOFTWARE The "));
    EXPECT_EQ(0U, reports[2].find(L"Registry::Open. Failure opening Ostra The "));
    EXPECT_EQ(L"RegistryKey::Open( ). Invalid key:SOFTWARE\\Norvane\\Ostra\\", reports[3]);
    EXPECT_FALSE(Exists(L"SOFTWARE"));

    EXPECT_NE(nullptr, Registry(base + L"Ostra\\Last", L"").Open(nullptr, 0));
    EXPECT_FALSE(Exists(L"SOFTWARE\\Norvane\\Ostra\\Last"));
    EXPECT_NE(nullptr, reading.Open(nullptr, 1));

    std::wstring deep;
    for (int level = 1; level <= 51; ++level) deep += std::to_wstring(level) + L"\\";
    EXPECT_NE(nullptr, Registry(L"HKEY_LOCAL_MACHINE\\" + deep, L"").Open(nullptr, 0));
    EXPECT_TRUE(Exists(deep.substr(0, deep.find(L"51\\"))));
    EXPECT_FALSE(Exists(deep));
}

TEST_F(ARegistry, RefusesAPathWithoutARootKeyOfThatExactName) {
    for (const wchar_t* path : {L"hkey_local_machine\\SOFTWARE\\", L"HKEY_LOCAL_MACHINE", L"SOFTWARE\\", L"\\"}) {
        Registry registry(path, L"");
        EXPECT_EQ(0, registry.Valid());
        EXPECT_EQ(nullptr, registry.Open(nullptr, 0));
        const std::wstring root = std::wstring(path).substr(0, std::wstring(path).find(L'\\'));
        EXPECT_EQ((StringArray{L"Registry::Initialize( ). Invalid root key. " + root,
                               std::wstring(L"RegistryKey::Open( ). Invalid key:") + path}),
                  _events.TakeTexts());
    }
    Registry later(L"", L"");
    EXPECT_EQ(0, later.Valid());
    EXPECT_EQ(L"", later.GetValue(L"V"));
    EXPECT_EQ(0, later.GetChildren(nullptr));
    EXPECT_EQ(nullptr, later.AddKey(L"Sub"));
    EXPECT_EQ(1, later.Initialize(base));
    EXPECT_NE(nullptr, later.Open(nullptr, 0));
}

TEST_F(ARegistry, OpensAnewBelowTheKeyThatIsOpen) {
    std::filesystem::create_directories(_home.Path() / "hosts" / "Other");
    for (const std::wstring host : {L"Other", L""}) {
        Registry registry(L"HKEY_LOCAL_MACHINE\\A\\", host);
        const HKEY outer = registry.Open(nullptr, 0);
        EXPECT_EQ(nullptr, registry.Open(nullptr, 1));
        const HKEY inner = registry.Open(nullptr, 0);
        ASSERT_NE(nullptr, inner);
        EXPECT_FALSE(IsOpen(outer));
        EXPECT_EQ(host.empty(), Exists(L"A\\A"));
        EXPECT_EQ(1, registry.AddValue(inner, L"V", 300));
        EXPECT_EQ(L"300", registry.GetValue(L"V"));
    }
    _events.Take();
    Registry unreachable(base, L"Nowhere");
    EXPECT_EQ(nullptr, unreachable.Open(nullptr, 0));
    EXPECT_EQ(StringArray{L"RegistryKey::Open( ). Failure opening host:Nowhere"}, _events.TakeTexts());
}

TEST_F(ARegistry, ClosesItsOwnKeyOnceAndLeavesTheOthersToTheCaller) {
    HKEY own = nullptr;
    Key added;
    {
        Registry registry(base, L"");
        own = registry.Open(nullptr, 0);
        added.Reset(registry.AddKey(L"Sub"));
        HKEY other = registry.GetHandle(L"Sub");
        EXPECT_EQ(0, registry.Close(other));
        EXPECT_FALSE(IsOpen(other) || IsOpen(own));
        EXPECT_EQ(0, registry.Close(nullptr));
        EXPECT_EQ(nullptr, registry.GetHandle(L"Sub"));
        registry.Initialize(base);
        own = registry.Open(nullptr, 1);
        EXPECT_TRUE(IsOpen(own));
    }
    EXPECT_FALSE(IsOpen(own));
    EXPECT_TRUE(IsOpen(added.Get()));
}

TEST_F(AnOpenRegistry, StoresTextsAsUtf16WithANullAndAnEmptyTextAsNothing) {
    const struct {
        const wchar_t* text;
        DWORD type;
        Bytes data;
    } rows[] = {
        {L"ab", REG_SZ, {'a', 0, 'b', 0, 0, 0}},
        {L"", REG_SZ, {}},
        {L"\U0001F600", REG_EXPAND_SZ, {0x3D, 0xD8, 0x00, 0xDE, 0, 0}},
        {L"a", REG_MULTI_SZ, {'a', 0, 0, 0}},
        {L"a", REG_BINARY, {'a', 0, 0, 0}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(1, _registry.AddValue(_key, L"V", row.text, row.type));
        EXPECT_EQ(std::pair(row.type, row.data), Stored(_key, L"V"));
        EXPECT_EQ(row.text, _registry.GetValue(L"V"));
    }
    EXPECT_EQ(1, _registry.AddValue(_key, L"N", 300));
    EXPECT_EQ(std::pair(REG_DWORD, Bytes{0x2C, 1, 0, 0}), Stored(_key, L"N"));

    EXPECT_EQ(0, _registry.AddValue(nullptr, L"V", L"x", REG_SZ) + _registry.AddValue(nullptr, L"V", 1));
    const StringArray reports = _events.TakeTexts();
    EXPECT_EQ(0U, reports.at(0).find(L"Registry::AddValue( ). Failure calling RegSetValue( ). The "));
    EXPECT_EQ(L"Registry::AddValue( ). Failure calling RegSetValue( ).", reports.at(1));
}

TEST_F(AnOpenRegistry, ReadsAnyDataWithoutLeavingIt) {
    const std::wstring whole(5'000, L'\x6161');
    const struct {
        DWORD type;
        Bytes data;
        std::wstring text, ofKey;
    } rows[] = {
        {REG_SZ, {'a', 0, 'b'}, L"a", L"a"},
        {REG_BINARY, {'a'}, L"", L""},
        {REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, L"a", L"a"},
        {REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}, L"-1", L"-1"},
        {REG_DWORD, {1, 2, 3}, L"", L""},
        {11, {1, 2, 3, 4, 5, 6, 7, 8}, L"", L""},
        {REG_SZ, Bytes(10'000, 'a'), whole, whole},
        {REG_SZ, Bytes(10'001, 'a'), L"", whole},
        {REG_SZ, Bytes(40'001, 'a'), L"", L""},
    };
    for (const auto& row : rows) {
        RegSetValueExW(_key, L"V", 0, row.type, row.data.data(), static_cast<DWORD>(row.data.size()));
        EXPECT_EQ(row.text, _registry.GetValue(L"V")) << row.type << " " << row.data.size();
        EXPECT_EQ(row.ofKey, _registry.GetValue(L"V", _key)) << row.type << " " << row.data.size();
    }
    EXPECT_EQ(L"", _registry.GetValue(L"None", _key));
    EXPECT_EQ(StringArray{}, _events.TakeTexts());
    EXPECT_EQ(L"", _registry.GetValue(L"None"));
    EXPECT_EQ(0U, _events.TakeTexts().at(0).find(
                      L"Registry::GetValue( ). Failure calling RegQueryValueEx( ) for None.\nThe "));
}

TEST_F(AnOpenRegistry, FormatsRawDataAndTracesListsAndBytes) {
    const Bytes list = {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0};
    const struct {
        DWORD type;
        Bytes data;
        const wchar_t *text, *trace;
    } rows[] = {
        {REG_SZ, list, L"a", L""},
        {REG_RESOURCE_LIST, list, L"", L""},
        {REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}, L"4294967295", L""},
        {REG_DWORD, {1, 2}, L"", L""},
        {REG_EXPAND_SZ, list, L"a", L"Multiple strings:\nString 0: a\n"},
        {REG_DWORD_BIG_ENDIAN, list, L"a", L"Multiple strings:\nString 0: a\n"},
        {REG_LINK, list, L"a", L"Multiple strings:\nString 0: a\n"},
        {REG_MULTI_SZ, list, L"a", L"Multiple strings:\nString 0: a\n"},
        {REG_BINARY, list, L"a", L"Binary data: size:10"},
    };
    for (const auto& row : rows) {
        const auto size = static_cast<DWORD>(row.data.size());
        EXPECT_EQ(row.text, _registry.FormatData(reinterpret_cast<const wchar_t*>(row.data.data()), row.type, size));
        EXPECT_EQ(row.trace, _output.Take()) << row.type;
    }
    EXPECT_EQ(L"", _registry.FormatData(nullptr, REG_SZ, 8));
    Bytes ended = {'a', 0, 'b', 0, 0, 0};
    EXPECT_EQ(L"ab", _registry.FormatData(REG_EXPAND_SZ, L"V", ended.data()));
    EXPECT_EQ(L"", _registry.FormatData(11, L"V", Bytes(8, 1).data())) << "a number, which no null ends";
}

TEST_F(AnOpenRegistry, ListsTheFirstThousandSubkeysAndNamesOfAnyLength) {
    const std::wstring longest(255, L'z');
    RegCloseKey(_registry.AddKey(longest));
    for (int index = 0; index < 999; ++index) RegCloseKey(_registry.AddKey(std::to_wstring(10'000 + index)));
    EXPECT_EQ(longest, _registry.SubKeys().at(999));
    StringArray names = {L"before"};
    EXPECT_EQ(1000, _registry.GetChildren(&names, nullptr));
    EXPECT_EQ(longest, names.at(1000));
    RegCloseKey(_registry.AddKey(L"10999"));
    EXPECT_EQ(1000, _registry.GetChildren(nullptr));
}

TEST_F(AnOpenRegistry, AddsKeysBelowPathsAndHandlesWithAValueWhenOneIsNamed) {
    RegCloseKey(_registry.AddKey(L"Sub"));
    const Key byPath(_registry.AddKey(L"Sub", L"Path", L"V", L"1", REG_SZ));
    const Key byHandle(_registry.AddKey(byPath.Get(), L"Handle", L"", L"1", REG_SZ));
    EXPECT_EQ(L"1", _registry.GetValue(L"V", byPath.Get()));
    EXPECT_EQ(L"", _registry.GetValue(L"", byHandle.Get()));
    EXPECT_TRUE(Exists(L"SOFTWARE\\Norvane\\Sub\\Path\\Handle"));
    EXPECT_EQ(nullptr, _registry.AddKey(L"None", L"Path", L"V", L"1", REG_SZ));
    EXPECT_EQ(nullptr, _registry.AddKey(nullptr, L"Path", L"V", L"1", REG_SZ));
    EXPECT_EQ(nullptr, _registry.AddKey(L"\t"));
    const StringArray reports = _events.TakeTexts();
    EXPECT_EQ(0U, reports.at(0).find(L"Registry::GetHandle( ). Failure calling RegOpenKeyEx( ). None.\nThe "));
    EXPECT_EQ(L"RegsitryKey::AddKey( ). Failure calling RegCreateKeyEx( ). for \t", reports.at(1));
}

TEST_F(ARegistry, KeepsAPersistentTextForTheNextObjectAndNothingInArchives) {
    struct Pool : Persistence {
        void SetPersistence(const std::wstring& text) override { _persistentData = text; }
    } pool, read;
    pool.SetPersistence(L"10.0.0.1 10.0.0.2");
    {
        Registry writing(base, L"");
        const HKEY key = writing.Open(nullptr, 0);
        writing << pool;
        EXPECT_EQ(std::pair(REG_BINARY, platform::ToUtf16(L"10.0.0.1 10.0.0.2")), Stored(key, L"Persistence"));
    }
    Registry reading(base, L"");
    reading.Open(nullptr, 1);
    std::wstring text;
    reading >> read >> text;
    EXPECT_EQ(L"10.0.0.1 10.0.0.2", read.PersistentData());
    EXPECT_EQ(text, read.PersistentData());

    Bytes bytes;
    CArchive archive(bytes, CArchive::Mode::Store);
    archive << reading;
    archive >> reading;
    EXPECT_EQ(Bytes{}, bytes);
    EXPECT_EQ(L"operator << CArchive& operator >> CArchive", _output.Take());
}

}  // namespace
