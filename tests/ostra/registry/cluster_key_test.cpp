#include <ostra/foundation/Persistence.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/registry_types.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <tuple>

namespace {

using namespace platform;
using tests::Operation;
using Bytes = std::vector<BYTE>;
using Box = tests::CapturedMessageBoxes::Box;
using Key = SharedHandle<HKEY, ClusterRegCloseKey>;

/// Of a cluster with a group Files and in it a resource Share; seen from the group's key.
class AClusterDatabase : public tests::EmbeddedClusterTest {
protected:
    AClusterDatabase() {
        Given({.groups = {{.name = L"Files", .resources = {{.name = L"Share", .type = L"File Share"}}}}});
        files.Reset(OpenClusterGroup(cluster.Get(), L"Files"));
        share.Reset(OpenClusterResource(cluster.Get(), L"Share"));
        key = std::make_unique<ClusterGroupKey>(files.Get(), cluster.Get());
    }

    /// The texts of the boxes shown since the last call, each of which must be a stop of the library's.
    StringArray TakeBoxes() {
        StringArray texts;
        for (const Box& box : std::exchange(boxes.boxes, {})) {
            EXPECT_EQ((Box{box.text, L"Norvane Ostra", 16}), box);
            texts.push_back(box.text);
        }
        return texts;
    }
    /// Nothing lasting can be made below a key that a restart of the cluster removes.
    static bool IsLasting(HKEY parent) {
        HKEY made = nullptr;
        ClusterRegCreateKey(parent, L"Lasting", REG_OPTION_NON_VOLATILE, KEY_READ, nullptr, &made, nullptr);
        return Key(made).Get() != nullptr;
    }

    tests::FailingCluster failing{L"Test"};
    tests::CapturedMessageBoxes boxes;
    tests::CapturedEvents events;
    SharedHandle<HCLUSTER, CloseCluster> cluster{OpenCluster(L"Test")};
    SharedHandle<HGROUP, CloseClusterGroup> files;
    SharedHandle<HRESOURCE, CloseClusterResource> share;
    std::unique_ptr<ClusterGroupKey> key;
};

TEST_F(AClusterDatabase, StoresParameterStringsUnderTheirTypeAsUtf16WithANull) {
    const std::tuple<const wchar_t*, DWORD, Bytes> rows[] = {
        {L"A=REG_SZ:c:\\b=1", REG_SZ, ToUtf16(L"c:\\b=1")},
        {L"A=REG_SZ:\U0001F600", REG_SZ, {0x3D, 0xD8, 0x00, 0xDE, 0, 0}},
        {L"A=REG_SZ:", REG_SZ, {0, 0}},
        {L"A=REG_EXPAND_SZ:x", REG_EXPAND_SZ, {'x', 0, 0, 0}},
        {L"A=REG_MULTI_SZ:x", REG_MULTI_SZ, {'x', 0, 0, 0}},
        {L"A=REG_BINARY:x", REG_BINARY, {'x', 0, 0, 0}},
        {L"A=REG_DWORD:4294967295", REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}},
        {L"A=REG_DWORD: -2x", REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto& [parameter, type, data] : rows) {
        const StringArray parameters = {parameter};
        EXPECT_EQ(1, key->SetParameters(&parameters, key->Handle())) << ToUtf8(parameter);
        DWORD storedType = 0, size = 100;
        Bytes stored(size);
        EXPECT_EQ(0U, ClusterRegQueryValue(key->Handle(), L"A", &storedType, stored.data(), &size));
        stored.resize(size);
        EXPECT_EQ(std::pair(type, data), std::pair(storedType, stored)) << ToUtf8(parameter);
    }
    EXPECT_EQ(StringArray{}, events.TakeTexts());
    const StringArray odd = {L"B=reg_sz:1", L"C=2", L"REG_SZ:3"};
    EXPECT_EQ(1, key->SetParameters(&odd, L"Root"));
    EXPECT_EQ(L"123", key->GetValue(L"B") + key->GetValue(L"C") + key->GetValue(L""));
    EXPECT_EQ((StringArray{L"ClusterKey::WriteMode( ). Invalid write mode reg_sz",
                           L"ClusterKey::WriteMode( ). Invalid write mode "}),
              events.TakeTexts());
    const StringArray parameters = {L"Text=REG_SZ:t", L"Number=REG_DWORD:160000"};
    EXPECT_EQ(1, key->SetParameters(&parameters, L"Printers"));
    EXPECT_EQ(160000, key->GetValueAsInt(L"Number", key->Handle()));
    const Key printers(key->GetHandle(L"Printers"));
    EXPECT_EQ(L"t", key->GetValue(L"Text", printers.Get()));
    EXPECT_FALSE(IsLasting(printers.Get()));
}

TEST_F(AClusterDatabase, KeepsTheTextOfAnObject) {
    struct Text : Persistence {
        void SetPersistence(const std::wstring& text) override { _persistentData = text; }
    } given, read;
    given.SetPersistence(L"\u00dc \U0001F600\n");
    *key << given;
    *key >> read;
    EXPECT_EQ(given.PersistentData(), read.PersistentData());
}

TEST_F(AClusterDatabase, SaysWhichParametersItCouldNotWriteAndGoesOn) {
    const StringArray parameters = {L"A=REG_SZ:1", L"B=REG_DWORD:2"}, none;
    for (const int call : {1, 2}) {
        failing->FailCall(Operation::SetValue, call, error::AccessDenied);
        EXPECT_EQ(2 - call, key->SetParameters(&parameters, key->Handle()));
    }
    EXPECT_EQ(L"2", key->GetValue(L"B"));
    const std::pair<const StringArray*, const wchar_t*> useless[] = {
        {&none, L"Root"}, {nullptr, L"Root"}, {&parameters, L"Missing"}};
    for (const auto& [given, name] : useless) EXPECT_EQ(0, key->SetParameters(given, name));
    const std::wstring text = L"Failure calling ClusterRegSetValue( CString ).";
    const std::wstring parameter = L"ClusterKey::SetParameters( ). Failure calling AddValue( ).";
    const std::wstring name = L"ClusterKey::SetParamters( CString ). Invalid key name:";
    EXPECT_EQ((StringArray{text, parameter + L"A=REG_SZ:1", L"Failure calling ClusterRegSetValue( DWORD ).",
                           parameter + L"B=REG_DWORD:2", name + L"Root", name + L"Missing"}),
              TakeBoxes());
}

TEST_F(AClusterDatabase, ReadsAnyDataWithoutLeavingIt) {
    const std::tuple<DWORD, Bytes, std::wstring> rows[] = {
        {REG_SZ, Bytes(65'001, 'a'), std::wstring(32'500, L'\x6161')},
        {REG_SZ, Bytes(65'002, 'a'), L""},
        {REG_NONE, {'a', 0}, L""},
        {11, {'a', 0}, L""},
    };
    for (const auto& [type, data, text] : rows) {
        ClusterRegSetValue(key->Handle(), L"V", type, data.data(), static_cast<DWORD>(data.size()));
        EXPECT_EQ(text, key->GetValue(L"V")) << type << " " << data.size();
    }
    EXPECT_EQ(L"Not a defined type", printed.Take());
    EXPECT_EQ(StringArray{L"ClusterKey::FormatDataValue( ). Illegal data type."}, TakeBoxes());
    EXPECT_EQ(StringArray{}, events.TakeTexts());
    EXPECT_EQ(L"", key->GetValue(L"None"));
    EXPECT_TRUE(events.TakeTexts().at(0).starts_with(
        L"ClusterKey::GetValue( ). Failure calling ClusterRegQueryValue( ).NoneThe "));
}

TEST_F(AClusterDatabase, OwnsWhatItOpensForItselfAndDeletesOnlyKeysWithoutSubkeys) {
    EXPECT_EQ(key->Root(), key->GetHandle(L"Root"));
    const Key added(key->AddKey(L"A", L"", L"")), below(key->AddKey(L"A", L"B", L"", L"", REG_SZ));
    EXPECT_EQ(0, key->Delete(L"A") + key->Delete(nullptr, L"A"));
    EXPECT_EQ(1, key->Delete(key->Root(), L"A\\B"));
    EXPECT_EQ(1, key->Delete(L"A"));
    const HKEY own = key->Handle(), callers = key->AddKey(L"C", L"", L"");
    key.reset();
    EXPECT_EQ(static_cast<LONG>(error::InvalidHandle), ClusterRegCloseKey(own));
    EXPECT_EQ(0, ClusterRegCloseKey(callers));
}

TEST_F(AClusterDatabase, ListsSubkeysAndWholeTreesWithinTheirLimits) {
    const Key many(key->AddKey(L"Many", L"S", L"deep"));
    for (int index = 0; index < 202; ++index)
        ClusterRegCloseKey(key->AddKey(many.Get(), std::to_wstring(index), L"", L"", REG_SZ));
    StringArray names;
    EXPECT_EQ(200, key->GetChildren(&names, many.Get()));
    failing->FailCall(Operation::SubkeyAt, 2, error::GeneralFailure);
    EXPECT_EQ(199, key->GetChildren(&names, many.Get()));
    EXPECT_EQ(0, key->GetChildren(&names, nullptr));

    for (int index = 100; index < 125; ++index) key->AddValue(key->Handle(), L"V" + std::to_wstring(index), 1);
    key->AddValue(key->Handle(), L"U", std::wstring(100, L'u'), REG_SZ);
    key->AddValue(key->Handle(), L"T", L"", REG_SZ);
    printed.Take();
    key->Info();  // of the first twenty values; the longest text and the empty one are left out
    std::wstring expected = L"ClusterGroupKey::Info( ). On entry\nName = Files\n";
    for (int index = 100; index < 117; ++index) expected += L"V" + std::to_wstring(index) + L" = 1\n";
    EXPECT_EQ(expected + L"S = deep\n", printed.Take());
}

TEST_F(AClusterDatabase, HasPlacesForResourcesNetworksPoolsAndSchedulersOrReportsThatItHasNot) {
    ClusterResourceKey parameters(share.Get(), cluster.Get());
    const StringArray given = {L"MaxUsers=REG_DWORD:7", L"ShareName=REG_SZ:public"};
    EXPECT_EQ(1, parameters.SetParameters(&given, L"Parameters"));
    EXPECT_EQ(L"7 public", parameters.GetValue(L"MaxUsers") + L" " + parameters.GetValue(L"ShareName"));
    EXPECT_EQ(1, parameters.Delete(parameters.Root(), L"Parameters"));
    failing->FailCall(Operation::OpenKey, 1, error::FileNotFound);
    EXPECT_EQ(0, ClusterNetworksKey(cluster.Get()).Valid());
    EXPECT_EQ(0, ClusterSchedulerKey(L"Test", L"Scheduler").Valid());
    EXPECT_EQ(0, ClusterResourceKey(share.Get(), cluster.Get()).Valid());
    StringArray texts = TakeBoxes();
    for (const std::wstring name : {L"ClusterResourceKey", L"ClusterSchedulerKey", L"ClusterNetworksKey"}) {
        ASSERT_TRUE(texts.back().starts_with(name + L"::" + name + L"( ). Failure calling ClusterRegOpenKey( ).The "));
        texts.pop_back();
    }
    EXPECT_EQ(2U, events.TakeTexts().size());
    failing->FailCall(Operation::CreateKey, 3, error::DiskFull);
    EXPECT_EQ(0, ClusterIPStackKey(cluster.Get(), L"WAN").Valid());
    EXPECT_EQ((StringArray{L"ClusterKey::Add( ). Failure calling ClusterRegCreateKey( ).",
                           L"ClusterIPStackKey::ClusterIPStackKey( ). Failure opening ClusterIPStackKey."}),
              TakeBoxes());

    EXPECT_TRUE(ClusterNetworksKey(L"Test").Valid());
    EXPECT_TRUE(IsLasting(ClusterIPStackKey(L"Test", L"LAN").Handle()));
    EXPECT_TRUE(IsLasting(Key(ClusterKey(L"Test").GetHandle(L"Ostra\\ExpertWizard\\IPStack\\LAN")).Get()));
    EXPECT_FALSE(IsLasting(ClusterSchedulerKey(L"Test", L"Passing").Handle()));
    EXPECT_TRUE(IsLasting(ClusterSchedulerKey(L"Test", L"ExpertWizard").Handle())) << "as it was made before";
    EXPECT_EQ(StringArray{}, TakeBoxes());
    EXPECT_EQ(nullptr, ClusterResourceKey(nullptr, cluster.Get()).Root());
    EXPECT_EQ(nullptr, ClusterGroupKey(nullptr, cluster.Get()).Root());
}

TEST_F(AClusterDatabase, StaysUsableWhenItCannotBeOpened) {
    ClusterKey unknown(L"No such cluster");
    failing->Fail(Operation::RootKey, error::GeneralFailure);
    ClusterKey rootless(L"Test");
    EXPECT_EQ((StringArray{L"ClusterKey::ClusterKey( ). Failure opening cluster:No such cluster",
                           L"ClusterKey::Initialize( ). Failure calling GetClusterKey( )."}),
              TakeBoxes());
    for (ClusterKey* place : {&unknown, &rootless}) {
        EXPECT_EQ(0, place->Valid() + place->Info());
        EXPECT_EQ(nullptr, place->AddKey(L"Root", L"Ostra", L"", L"", REG_SZ));
        EXPECT_EQ(L"", place->GetValue(L"Persistence"));
    }
}

}  // namespace
