#include <gtest/gtest.h>
#include <ostra/foundation/Persistence.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <tests/ostra/registry/DatabaseCluster.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

namespace {

using namespace platform;
using tests::FailingCluster;
using tests::Operation;
using Bytes = std::vector<BYTE>;
using Box = tests::CapturedMessageBoxes::Box;
using Key = SharedHandle<HKEY, ClusterRegCloseKey>;

class AClusterDatabase : public testing::Test {
protected:
    HCLUSTER Cluster() const { return _handle.Get(); }

    /// The texts of the boxes shown since the last call, each of which must be a stop of the library's.
    StringArray TakeBoxes() {
        StringArray texts;
        for (const Box& box : std::exchange(_boxes.boxes, {})) {
            EXPECT_EQ((Box{box.text, L"Norvane Ostra", 16}), box);
            texts.push_back(box.text);
        }
        return texts;
    }

    /// A value of the group.
    std::pair<DWORD, Bytes> Stored(const std::wstring& name) {
        std::pair<DWORD, Bytes> value;
        _database->store->QueryValue(_database->At(L"Groups\\Files"), name, value.first, value.second);
        return value;
    }

    std::shared_ptr<tests::DatabaseCluster> _database = std::make_shared<tests::DatabaseCluster>();
    FailingCluster _failing{L"Database", _database};
    SharedHandle<HCLUSTER, CloseCluster> _handle{OpenCluster(L"Database")};
    tests::CapturedMessageBoxes _boxes;
    tests::CapturedOutput _output;
    tests::CapturedEvents _events;
};

/// A key whose parameter strings and values a test can write where it likes.
class AGroupKey : public AClusterDatabase {
protected:
    AGroupKey() {
        _database->AddObject(L"Files", L"Groups\\Files");
        _group = SharedHandle<HGROUP, CloseClusterGroup>(OpenClusterGroup(Cluster(), L"Files"));
        _key = std::make_unique<ClusterGroupKey>(_group.Get(), Cluster());
        EXPECT_TRUE(_key->Valid());
    }

    std::wstring ValueOf(DWORD type, const Bytes& data) {
        EXPECT_EQ(0U, ClusterRegSetValue(_key->Handle(), L"V", type, data.data(), static_cast<DWORD>(data.size())));
        return _key->GetValue(L"V");
    }

    SharedHandle<HGROUP, CloseClusterGroup> _group;
    std::unique_ptr<ClusterGroupKey> _key;
};

TEST_F(AGroupKey, StoresParameterStringsUnderTheirTypeAsUtf16WithANull) {
    const struct {
        const wchar_t* parameter;
        const wchar_t* name;
        DWORD type;
        Bytes data;
    } rows[] = {
        {L"CommandLine=REG_SZ:c:\\b=1", L"CommandLine", REG_SZ, ToUtf16(L"c:\\b=1")},
        {L"A=REG_SZ:\U0001F600", L"A", REG_SZ, {0x3D, 0xD8, 0x00, 0xDE, 0, 0}},
        {L"Path=REG_SZ:", L"Path", REG_SZ, {0, 0}},
        {L"A=REG_EXPAND_SZ:x", L"A", REG_EXPAND_SZ, {'x', 0, 0, 0}},
        {L"A=REG_MULTI_SZ:x", L"A", REG_MULTI_SZ, {'x', 0, 0, 0}},
        {L"A=REG_BINARY:x", L"A", REG_BINARY, {'x', 0, 0, 0}},
        {L"MaxUsers=REG_DWORD:4294967295", L"MaxUsers", REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}},
        {L"A=REG_DWORD: -2x", L"A", REG_DWORD, {0xFE, 0xFF, 0xFF, 0xFF}},
        {L"A=REG_DWORD:x", L"A", REG_DWORD, {0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        const StringArray parameters = {row.parameter};
        EXPECT_EQ(1, _key->SetParameters(&parameters, _key->Handle())) << ToUtf8(row.parameter);
        EXPECT_EQ(std::pair(row.type, row.data), Stored(row.name)) << ToUtf8(row.parameter);
    }
    EXPECT_EQ(StringArray{}, _events.TakeTexts());

    const StringArray odd = {L"B=REG_QWORD:1", L"C=reg_sz:2", L"D=3", L"REG_SZ:4"};
    EXPECT_EQ(1, _key->SetParameters(&odd, L"Root"));
    EXPECT_EQ(L"1 2 3 4", _key->GetValue(L"B") + L" " + _key->GetValue(L"C") + L" " + _key->GetValue(L"D") + L" " +
                              _key->GetValue(L""));
    EXPECT_EQ((StringArray{L"ClusterKey::WriteMode( ). Invalid write mode REG_QWORD",
                           L"ClusterKey::WriteMode( ). Invalid write mode reg_sz",
                           L"ClusterKey::WriteMode( ). Invalid write mode "}),
              _events.TakeTexts());
}

TEST_F(AGroupKey, PutsNumbersOnTheCurrentKeyAndTextsOnTheNamedOneWhichIsVolatile) {
    const StringArray parameters = {L"Text=REG_SZ:t", L"Number=REG_DWORD:160000"};
    EXPECT_EQ(1, _key->SetParameters(&parameters, L"Printers"));
    EXPECT_EQ(160000, _key->GetValueAsInt(L"Number", _key->Handle()));
    EXPECT_EQ(L"t", _key->GetValue(L"Text", Key(_key->GetHandle(L"Printers")).Get()));
    _database->store->RemoveVolatileKeys();
    EXPECT_EQ(0, _database->At(L"Groups\\Files\\Printers"));
    EXPECT_EQ(StringArray{}, TakeBoxes());
}

TEST_F(AGroupKey, ReportsParametersThatItCannotWriteAndGoesOn) {
    const StringArray parameters = {L"A=REG_SZ:1", L"B=REG_DWORD:2"};
    const StringArray boxes = {L"Failure calling ClusterRegSetValue( CString ).",
                               L"ClusterKey::SetParameters( ). Failure calling AddValue( ).A=REG_SZ:1",
                               L"Failure calling ClusterRegSetValue( DWORD ).",
                               L"ClusterKey::SetParameters( ). Failure calling AddValue( ).B=REG_DWORD:2"};
    _failing->Fail(Operation::SetValue, error::AccessDenied);
    EXPECT_EQ(0, _key->SetParameters(&parameters, _key->Handle()));
    EXPECT_EQ(boxes, TakeBoxes());
    _failing->FailCall(Operation::SetValue, 1, error::AccessDenied);
    EXPECT_EQ(1, _key->SetParameters(&parameters, L"Root"));
    EXPECT_EQ(L"2", _key->GetValue(L"B"));
    TakeBoxes();

    const StringArray none;
    EXPECT_EQ(0, _key->SetParameters(&none, L"Root") + _key->SetParameters(&none, _key->Handle()));
    EXPECT_EQ(StringArray{}, TakeBoxes());
    EXPECT_EQ(0, _key->SetParameters(nullptr, L"Root") + _key->SetParameters(&parameters, L"Missing"));
    EXPECT_EQ((StringArray{L"ClusterKey::SetParamters( CString ). Invalid key name:Root",
                           L"ClusterKey::SetParamters( CString ). Invalid key name:Missing"}),
              TakeBoxes());
}

TEST_F(AGroupKey, ReadsAnyDataWithoutLeavingIt) {
    const struct {
        DWORD type;
        Bytes data;
        std::wstring text;
    } rows[] = {
        {REG_SZ, {0x3D, 0xD8, 'a', 0}, L"\xFFFD\x0061"},
        {REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, L"a"},
        {REG_DWORD, {1, 2, 3}, L""},
        {REG_SZ, Bytes(65'001, 'a'), std::wstring(32'500, L'\x6161')},
        {REG_SZ, Bytes(65'002, 'a'), L""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, ValueOf(row.type, row.data)) << row.type << " " << row.data.size();
    EXPECT_EQ(StringArray{}, TakeBoxes());
    EXPECT_EQ(StringArray{}, _events.TakeTexts());

    EXPECT_EQ(L"", ValueOf(REG_NONE, {'a', 0}));
    EXPECT_EQ(L"Not a defined type", _output.Take());
    EXPECT_EQ(L"", ValueOf(11, {'a', 0}));
    EXPECT_EQ(StringArray{L"ClusterKey::FormatDataValue( ). Illegal data type."}, TakeBoxes());
    EXPECT_EQ(L"", _key->GetValue(L"None"));
    EXPECT_EQ(1U, _events.TakeTexts().size());
}

TEST_F(AGroupKey, OwnsWhatItOpensForItselfAndLeavesTheRestToTheCaller) {
    _failing->ForgetCalls();
    EXPECT_EQ(_key->Root(), _key->GetHandle(L"Root"));
    EXPECT_EQ(0U, _failing->Log().size());
    const HKEY added = _key->AddKey(L"Sub", L"", L"");
    const HKEY own = _key->Handle();
    _key.reset();
    EXPECT_EQ(static_cast<LONG>(error::InvalidHandle), ClusterRegCloseKey(own));
    EXPECT_EQ(0, ClusterRegCloseKey(added));
}

TEST_F(AGroupKey, DeletesOnlyKeysWithoutSubkeys) {
    _database->Make(L"Groups\\Files\\A\\B");
    EXPECT_EQ(0, _key->Delete(L"A"));
    EXPECT_EQ(1, _key->Delete(_key->Root(), L"A\\B"));
    EXPECT_EQ(1, _key->Delete(L"A"));
    _output.Take();
    EXPECT_EQ(0, _key->Delete(nullptr, L"A"));
    EXPECT_EQ(L"ClusterKey::Delete( HKEY, CString ). On entry. name:A\nClusterKey::Delete( ). Invalid key handle",
              _output.Take());
}

TEST_F(AGroupKey, ListsSubkeysAndItsWholeTreeWithinTheirLimits) {
    for (int index = 0; index < 202; ++index) _database->Make(L"Many\\" + std::to_wstring(index));
    ClusterKey root(Cluster());
    const Key many(root.GetHandle(L"Many"));
    StringArray names;
    EXPECT_EQ(200, root.GetChildren(&names, many.Get()));
    EXPECT_EQ(0, root.GetChildren(&names, nullptr));
    EXPECT_EQ(200U, names.size());
    _failing->FailCall(Operation::SubkeyAt, 2, error::GeneralFailure);
    EXPECT_EQ(199, root.GetChildren(&names, many.Get()));
    EXPECT_EQ(StringArray{L"ClusterKey::GetChildren( ). Failure calling ClusterRegEnumKey( )."}, _events.TakeTexts());

    for (int index = 100; index < 125; ++index) _key->AddValue(_key->Handle(), L"V" + std::to_wstring(index), 1);
    _key->AddValue(_key->Handle(), L"U", std::wstring(100, L'u'), REG_SZ);
    _key->AddValue(_key->Handle(), L"T", L"", REG_SZ);
    ClusterRegCloseKey(_key->AddKey(L"Sub", L"S", L"deep"));
    _output.Take();
    _key->Info();
    std::wstring expected = L"ClusterGroupKey::Info( ). On entry\n";  // the longest text and the empty one left out
    for (int index = 100; index < 118; ++index) expected += L"V" + std::to_wstring(index) + L" = 1\n";
    EXPECT_EQ(expected + L"S = deep\n", _output.Take());
}

TEST_F(AGroupKey, HandsAPersistentTextToTheNextObject) {
    struct Job : Persistence {
        explicit Job(const std::wstring& text = {}) { _persistentData = text; }
        void SetPersistence(const std::wstring& text) override { _persistentData = text; }
    } job(L"12:00 Online \U0001F600"), read;
    *_key << job;
    EXPECT_EQ(std::pair(REG_BINARY, ToUtf16(job.PersistentData())), Stored(L"Persistence"));
    ClusterGroupKey(_group.Get(), Cluster()) >> read;
    EXPECT_EQ(job.PersistentData(), read.PersistentData());
}

TEST_F(AClusterDatabase, ReportsThatItCannotBeOpenedAndStaysUsable) {
    ClusterKey unknown(L"No such cluster");
    EXPECT_EQ(StringArray{L"ClusterKey::ClusterKey( ). Failure opening cluster:No such cluster"}, TakeBoxes());
    EXPECT_EQ(StringArray{}, _events.TakeTexts());

    _failing->Fail(Operation::RootKey, error::GeneralFailure);
    ClusterKey failing(L"Database");
    const std::wstring text = L"ClusterKey::Initialize( ). Failure calling GetClusterKey( ).";
    EXPECT_EQ(StringArray{text}, TakeBoxes());
    EXPECT_EQ(StringArray{text}, _events.TakeTexts());

    for (ClusterKey* key : {&unknown, &failing}) {
        EXPECT_EQ(0, key->Valid());
        EXPECT_EQ(nullptr, key->GetHandle(L"Ostra"));
        EXPECT_EQ(nullptr, key->GetHandle(L"Ostra", nullptr));
        EXPECT_EQ(nullptr, key->AddKey(L"Root", L"Ostra", L"", L"", REG_SZ));
        EXPECT_EQ(L"", key->GetValue(L"Persistence"));
        EXPECT_EQ(0, key->Info());
    }
}

TEST_F(AClusterDatabase, OpensAResourcesParametersOnlyWhenTheyExist) {
    _database->AddObject(L"Share", L"Resources\\Share");
    const SharedHandle<HRESOURCE, CloseClusterResource> share(OpenClusterResource(Cluster(), L"Share"));
    EXPECT_EQ(0, ClusterResourceKey(share.Get(), Cluster()).Valid());
    EXPECT_EQ(0, _database->At(L"Resources\\Share\\Parameters"));
    EXPECT_EQ(0U, TakeBoxes().at(0).find(
                      L"ClusterResourceKey::ClusterResourceKey( ). Failure calling ClusterRegOpenKey( ).The "));

    _database->Make(L"Resources\\Share\\Parameters");
    ClusterResourceKey key(share.Get(), Cluster());
    const StringArray parameters = {L"MaxUsers=REG_DWORD:7", L"ShareName=REG_SZ:public"};
    EXPECT_EQ(1, key.SetParameters(&parameters, L"Parameters"));
    _output.Take();
    key.Info();
    EXPECT_EQ(L"MaxUsers = 7\nShareName = public\n", _output.Take());

    EXPECT_EQ(0, ClusterResourceKey(nullptr, Cluster()).Valid());
    EXPECT_EQ(L"ClusterResoruceKey::ClusterResourceKey( ). Failure calling GetClusterResourceKey( ). ", _output.Take());
    EXPECT_EQ(nullptr, ClusterGroupKey(nullptr, Cluster()).Root());
    EXPECT_EQ(L"ClusterGroupKey::ClusterGroupKey( ). Failure calling GetClusterGroupKey( ). ", _output.Take());
}

TEST_F(AClusterDatabase, CreatesAnAddressPoolForGood) {
    EXPECT_EQ(1, ClusterIPStackKey(L"Database", L"LAN").Valid());
    _database->store->RemoveVolatileKeys();
    EXPECT_NE(0, _database->At(L"Ostra\\ExpertWizard\\IPStack\\LAN"));
    EXPECT_EQ(StringArray{}, TakeBoxes());

    _failing->FailCall(Operation::CreateKey, 3, error::DiskFull);
    EXPECT_EQ(0, ClusterIPStackKey(Cluster(), L"WAN").Valid());
    EXPECT_EQ((StringArray{L"ClusterKey::Add( ). Failure calling ClusterRegCreateKey( ).",
                           L"ClusterIPStackKey::ClusterIPStackKey( ). Failure opening ClusterIPStackKey."}),
              TakeBoxes());
}

TEST_F(AClusterDatabase, KeepsASchedulersKeyAcrossARestartOnlyWhenItWasMadeLasting) {
    EXPECT_EQ(0, ClusterSchedulerKey(L"Database", L"Scheduler").Valid());
    EXPECT_EQ(0, _database->At(L"Ostra"));
    const std::wstring text = L"ClusterSchedulerKey::ClusterSchedulerKey( ). Failure calling ClusterRegOpenKey( ).";
    EXPECT_EQ(0U, TakeBoxes().at(0).find(text));
    EXPECT_EQ(0U, _events.TakeTexts().at(0).find(text));
    EXPECT_EQ(0, ClusterNetworksKey(Cluster()).Valid());
    EXPECT_EQ(1U, TakeBoxes().size());

    _database->Make(L"Ostra\\Lasting");
    EXPECT_EQ(1, ClusterSchedulerKey(L"Database", L"Lasting").Valid());
    EXPECT_EQ(1, ClusterSchedulerKey(L"Database", L"Passing").Valid());
    _database->store->RemoveVolatileKeys();
    EXPECT_NE(0, _database->At(L"Ostra\\Lasting"));
    EXPECT_EQ(0, _database->At(L"Ostra\\Passing"));
}

using AnEmbeddedCluster = tests::EmbeddedClusterTest;

TEST_F(AnEmbeddedCluster, HasTheKeysOfItsGroupsResourcesAndNetworks) {
    Given({.networks = {{.name = L"LAN"}},
           .groups = {{.name = L"Files", .resources = {{.name = L"Share", .type = L"File Share"}}}}});
    tests::CapturedMessageBoxes boxes;
    const SharedHandle<HCLUSTER, CloseCluster> cluster(OpenCluster(L"Test"));
    const SharedHandle<HRESOURCE, CloseClusterResource> share(OpenClusterResource(cluster.Get(), L"Share"));
    const SharedHandle<HGROUP, CloseClusterGroup> files(OpenClusterGroup(cluster.Get(), L"Files"));
    EXPECT_TRUE(ClusterResourceKey(share.Get(), cluster.Get()).Valid() &&
                ClusterGroupKey(files.Get(), cluster.Get()).Valid() && ClusterNetworksKey(L"Test").Valid() &&
                ClusterIPStackKey(L"Test", L"LAN").Valid() && ClusterSchedulerKey(L"Test", L"Scheduler").Valid());
    EXPECT_EQ(0U, boxes.boxes.size());
}

}  // namespace
