#include <ostra/network/IPStack.h>

#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <tests/ostra/registry/DatabaseCluster.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FailingClusterService.h>
#include <tests/support/TemporaryHome.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>

namespace {

using tests::Operation;

std::wstring Take(IPStack& pool) {
    const std::wstring address = pool.GetIP(0);
    pool.RemoveUsedIP();
    pool.SaveCurrentState();
    return address;
}

class AnAddressPool : public testing::Test {
protected:
    using Value = std::pair<DWORD, std::vector<BYTE>>;

    AnAddressPool() { platform::ClusterDirectory::Register(L"C", _cluster); }
    ~AnAddressPool() override { platform::ClusterDirectory::Register(L"C", nullptr); }

    static std::unique_ptr<IPStack> Create(const std::wstring& start, const std::wstring& end) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", start, end);
    }
    static std::unique_ptr<IPStack> Open(int reset = 0) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", reset);
    }
    static Value Number(DWORD number) {
        const auto bytes = std::bit_cast<std::array<BYTE, 4>>(number);
        return {REG_DWORD, {bytes.begin(), bytes.end()}};
    }
    static Value Text(DWORD type, const std::wstring& text) { return {type, platform::ToUtf16(text)}; }
    platform::KeyId Key() { return _database->Make(L"Ostra\\ExpertWizard\\IPStack\\net-1"); }
    void Store(const std::wstring& name, const Value& value) {
        EXPECT_EQ(0U, _database->store->SetValue(Key(), name, value.first, value.second));
    }
    Value Stored(const std::wstring& name) {
        Value value;
        _database->store->QueryValue(Key(), name, value.first, value.second);
        return value;
    }
    std::wstring StoredText(const std::wstring& name) { return platform::FromUtf16(Stored(name).second); }
    /// The names of the values that were written since the last call.
    StringArray Written() {
        StringArray names;
        for (const std::wstring& call : _cluster->Log()) names.push_back(call.substr(call.find(L' ') + 1));
        _cluster->ForgetCalls();
        return names;
    }

    tests::TemporaryHome _home;
    tests::CapturedOutput _output;
    tests::CapturedMessageBoxes _boxes;
    tests::CapturedEvents _events;
    std::shared_ptr<tests::DatabaseCluster> _database = std::make_shared<tests::DatabaseCluster>();
    std::shared_ptr<tests::FailingClusterService> _cluster = std::make_shared<tests::FailingClusterService>(_database);
};

TEST_F(AnAddressPool, HandsOutItsAddressesInOrderUntilItIsExhausted) {
    const auto pool = Create(L"10.1.2.9", L"10.1.2.11");
    for (int asked = 0; asked < 2; ++asked) EXPECT_EQ(L"10.1.2.9", pool->GetIP(0));
    EXPECT_EQ(1, pool->RemoveUsedIP());
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n", pool->PersistentData());
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n10.1.2.9\n", StoredText(L"Persistence"));  // by text; not saved yet
    EXPECT_EQ(L"10.1.2.10", Take(*pool));
    EXPECT_EQ(L"10.1.2.11", Take(*pool));
    _output.Take();
    EXPECT_EQ(L"", pool->GetIP(0));
    EXPECT_EQ(
        L"IPStack::GetIP( ). Looking for 10.1.2.11\n"
        L"IPStack::GetNextIPAddress( CString& ). On exit. _address:\n"
        L"IPStack::GetIP( ). No IP Address to give!\n",
        _output.Take());
    EXPECT_EQ(0, pool->WasUsed(L""));
    EXPECT_EQ(L"", StoredText(L"Persistence"));
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n10.1.2.9\n", StoredText(L"IP Used"));

    const StringArray returned = {L"10.1.2.10"};
    EXPECT_EQ(0, pool->RecycleIPAddresses(&returned) + pool->RecycleIPAddresses(nullptr));
    EXPECT_EQ(L"", pool->PersistentData());
    EXPECT_EQ(1, pool->WasUsed(L"10.1.2.10"));
    EXPECT_EQ(L"10.1.2.10", pool->GetIP(0));
}

TEST_F(AnAddressPool, OutlivesItsObjectAndTakesBackWhatNothingHolds) {
    auto pool = Create(L"10.1.2.11", L"10.1.2.50");
    pool->SetRangeAndMask(pool->StartingAddress(), pool->EndingAddress(), L"255.255.255.0");
    pool->SetInitialized(1);
    for (int taken = 0; taken < 3; ++taken) Take(*pool);
    pool = Open();
    EXPECT_EQ(40, pool->GetNumberOfAddressesCreated());
    EXPECT_EQ(L"10.1.2.50", pool->EndingAddress());
    EXPECT_EQ(1, pool->IsInitialized());
    EXPECT_EQ(3U, pool->IPAddressesToBeRecycled()->size());
    EXPECT_EQ(L"10.1.2.14", Take(*pool));
    EXPECT_EQ(1, pool->AddIPAddressBeingUsed(L"10.1.2.12"));
    EXPECT_EQ(2, pool->AddIPAddressBeingUsed(L"10.9.9.9"));
    EXPECT_EQ(0, pool->GetIPAddressesToBeRecycled());
    EXPECT_EQ(2, pool->RecycleIPAddresses());
    EXPECT_EQ(L"10.1.2.12\n10.1.2.14\n", StoredText(L"IP Used"));  // 14 was taken since the pool was opened
    EXPECT_EQ(L"10.1.2.11", Open()->GetIP(0));
    EXPECT_EQ(0, Open(1)->IsInitialized());
    EXPECT_EQ(1, pool->IsInitialized());
}

TEST(APoolInAClusterFile, IsTheSameInEveryProcess) {
    const tests::TemporaryHome home;
    const tests::CapturedOutput output;
    std::shared_ptr<platform::ClusterService> service;
    ASSERT_EQ(0U, platform::ClusterDirectory::Create(L"Shared", L"embedded", service));
    {
        IPStack pool(L"net-1", L"Shared", L"255.255.255.0", L"10.1.2.1", L"10.1.2.4");
        pool.SetRangeAndMask(pool.StartingAddress(), pool.EndingAddress(), pool.SubnetMask());
    }
    service.reset();
    const auto taken = [] { return Take(*std::make_unique<IPStack>(L"net-1", L"Shared", L"255.255.255.0", 0)); };
    const pid_t child = ::fork();
    if (child == 0) ::_exit(taken() == L"10.1.2.1" && taken() == L"10.1.2.2" ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_EQ(L"10.1.2.3", taken());
}

TEST_F(AnAddressPool, WritesItsValuesInOrderAndWithTheirTypes) {
    const auto pool = Create(L"10.1.2.1", L"10.1.2.1");
    Written();
    EXPECT_EQ(0, pool->RecycleIPAddresses());
    pool->GetIP(0);
    EXPECT_EQ(StringArray(), Written());
    pool->SaveCurrentState();
    EXPECT_EQ((StringArray{L"Persistence", L"IP Used"}), Written());
    EXPECT_EQ(Text(REG_BINARY, L"10.1.2.1\n"), Stored(L"Persistence"));
    pool->SetRangeAndMask(L"1.1.1.1", L"2.2.2.2", L"255.0.0.0");
    EXPECT_EQ((StringArray{L"IP Range", L"Subnet Mask", L"Addresses created"}), Written());
    EXPECT_EQ(Text(REG_SZ, L"1.1.1.1:2.2.2.2"), Stored(L"IP Range"));
    EXPECT_EQ(L"10.1.2.0", pool->StartingAddress());
    EXPECT_EQ(Number(1), Stored(L"Addresses created"));
    pool->CreateRegistryEntries();
    EXPECT_EQ(
        (StringArray{L"Initialized", L"IP Used", L"Persistence", L"Subnet Mask", L"Cluster Name", L"Next IP Address"}),
        Written());
    EXPECT_EQ(L"No 255.255.255.0 C",
              StoredText(L"Initialized") + L" " + StoredText(L"Subnet Mask") + L" " + StoredText(L"Cluster Name"));
    for (const wchar_t* name : {L"IP Used", L"Persistence"}) EXPECT_EQ(Text(REG_BINARY, L""), Stored(name));
}

TEST_F(AnAddressPool, ReadsWholeLinesUpToTheFirstEmptyOne) {
    const auto pool = Open();
    const std::wstring endless(1'000'000, L'7');
    const std::pair<std::wstring, const wchar_t*> rows[] = {
        {L"\n1.1.1.1\n", L""},
        {endless, L""},
        {L"2.2.2.2\n1.1.1.1\n3.3", L"1.1.1.1\n2.2.2.2\n"},
        {L"9.9.9.9\n\n8.8.8.8\n", L"1.1.1.1\n2.2.2.2\n9.9.9.9\n"},
        {L"gar bage\r\n", L"1.1.1.1\n2.2.2.2\n9.9.9.9\ngar bage\r\n"}};
    for (const auto& [text, persisted] : rows) {
        pool->SetPersistence(text);
        EXPECT_EQ(persisted, pool->PersistentData());
    }
    pool->SetPersistence(endless + L"\n");
    EXPECT_EQ(L"", pool->GetIP(0));
}

TEST_F(AnAddressPool, SearchesUpwardsWhateverTheDatabaseSays) {
    const struct {
        const wchar_t* start;
        DWORD created;
        const wchar_t* available;
        const wchar_t* found;
    } rows[] = {
        {L"10.1.2.10", 0, L"10.1.2.12\n10.1.2.11\n", L"10.1.2.11"},
        {L"10.1.2.10", 0, L"10.1.2.12\n", L""},
        {L"10.1.2.10", 1, L"10.1.2.12\n", L"10.1.2.12"},
        {L"10.1.2.10", 3, L"10.1.2.15\n10.1.2.9\n10.1.2.10\n", L""},
        {L"10.1.2.10", 4, L"10.1.2.15\n10.1.2.110\n", L"10.1.2.15"},
        {L"10.1.2.-1", 1, L"10.1.2.0\n", L"10.1.2.0"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.100000\n10.1.2.030\n10.1.2.+40\n10.1.20.11\n", L"10.1.2.100000"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.8\n", L""},
        {L"10.1.2.0", 0x7FFFFFFF, L"10.1.2.-2147483648\n", L"10.1.2.-2147483648"},
        {L"10.1.2.2147483647", 5, L"10.1.2.-2147483646\n", L"10.1.2.-2147483646"},
        {L"10.1.2.9", 0x80000000, L"10.1.2.11\n", L""},
        {L"", 9, L"1.1.1.3\n", L"1.1.1.3"},
        {L"", 4, L"1.1.1.3\n", L""},
        {L"..1..2...3.4.5.6", 1, L"1.2.3.6\n", L"1.2.3.6"},
        {L"a.b.c.d", 7, L"a.b.c.4\n", L"a.b.c.4"},
    };
    for (const auto& row : rows) {
        Store(L"IP Range", Text(REG_SZ, std::wstring(row.start) + L":"));
        Store(L"Addresses created", Number(row.created));
        Store(L"Persistence", Text(REG_BINARY, row.available));
        EXPECT_EQ(row.found, Open()->GetIP(0)) << platform::ToUtf8(row.start) << ' ' << row.created;
    }
    Store(L"IP Range", Text(REG_SZ, L"10.1.2.9"));
    EXPECT_EQ(L"", Open()->StartingAddress() + Open()->EndingAddress());
}

TEST_F(AnAddressPool, CreatesWhatItCanLoadAgain) {
    const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
    const std::wstring kept = L"10.1.2.10";
    const struct {
        std::wstring start, end;
        int count;
        std::wstring startingAddress;
    } rows[] = {{L"10.1.2.50", L"10.1.2.11", 0, kept},
                {L"10.1.2.0", L"10.1.2.99999999999999999999", 0, kept},
                {std::wstring(100'000, L'1') + L".1.2.0", L"10.1.2.5", 0, kept},
                {L"10.1.2.0", L"7.7.7.0", 1, L"10.1.2.-1"},
                {L"10.1.2.-5", L"10.1.2.2", 3, L"10.1.2.-1"},
                {L"", L"", 1, L"...-1"},
                {L"10.1.2.2147483647", L"0.0.0.9999999999", 1, L"10.1.2.2147483646"},
                {L"10.1.2.1", L"10.1.2.2000", 2000, L"10.1.2.0"}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.count, pool->CreateIPAddresses(row.start, row.end, L"")) << platform::ToUtf8(row.end);
        EXPECT_EQ(row.startingAddress, pool->StartingAddress());
        EXPECT_EQ(row.end, pool->EndingAddress());
        EXPECT_EQ(row.count, std::ranges::count(pool->PersistentData(), L'\n'));
    }
    pool->SaveCurrentState();
    EXPECT_EQ(2001, Open()->PutIP(L"new"));
}

TEST_F(AnAddressPool, WithoutItsKeyLeavesTheDatabaseAlone) {
    _cluster->Fail(Operation::CreateKey, platform::error::AccessDenied);
    EXPECT_EQ(1, Create(L"10.1.2.11", L"10.1.2.50")->PutIP(L"10.1.2.11"));
    EXPECT_TRUE(_output.Take().ends_with(
        L"IPStack::IPStack( CString, CString, CString ). On entry. path:"
        L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\IPStack\\net-1\\\nIPStack::IPStack( ). On exit.\n"
        L"IPStack::~IPStack( void ). On entry. stack count:1\nIPStack::~IPStack( void ). On exit. stack count:0\n"));
    const auto pool = Open(1);
    _output.Take();
    Written();
    _boxes.boxes.clear();
    pool->SaveCurrentState();
    pool->GetAvailableIPAddresses();
    pool->GetUsedIPAddresses();
    const std::wstring available = L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n";
    const std::wstring used = L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n";
    EXPECT_EQ(available + used + available + used, _output.Take());
    pool->SetRangeAndMask(L"1", L"2", L"3");
    pool->GetIPRange();
    EXPECT_EQ(0, pool->GetNumberOfAddressesCreated() + pool->IsInitialized());
    pool->SetInitialized(1);
    EXPECT_EQ(1, pool->IsInitialized());
    EXPECT_TRUE(_boxes.boxes.empty());
    pool->CreateRegistryEntries();
    EXPECT_EQ(6U, _boxes.boxes.size());
    EXPECT_EQ(StringArray(), Written());
    EXPECT_EQ(L"", IPStack(L"net-1", L"no cluster", L"", 0).GetIP(0));
}

TEST_F(AnAddressPool, ArchivesItsAvailableAddressesWithoutACount) {
    std::vector<BYTE> bytes;
    CArchive out(bytes, CArchive::Mode::Store);
    out << *Open();
    EXPECT_TRUE(bytes.empty());
    const auto pool = Create(L"1.1.1.1", L"1.1.1.2");
    pool->PutIP(L"");
    out << *pool;
    EXPECT_EQ(2U * (4 + 2 * 7), bytes.size());

    Store(L"Persistence", Text(REG_BINARY, L""));
    const auto other = Open();
    CArchive in(bytes, CArchive::Mode::Load);
    in >> *other;
    EXPECT_EQ(L"", other->Persist());
    other->PutIP(L"");
    other->PutIP(L"9.9.9.9");
    _output.Take();
    in >> *other >> *other;  // a text for the one address, then the other text for two
    const std::wstring line = L"operator>>( ). Failure newing IPStack with an TCPIPAddress\n";
    EXPECT_EQ(line + line, _output.Take());
    EXPECT_EQ(L"1.1.1.1\n1.1.1.2\n9.9.9.9\n", other->Persist());
}

// An explicit instantiation may name a private member: the check is the pool's own, and no operation calls it yet.
template <auto Member>
struct Opened {
    friend int IsValidRange(const IPStack& pool, const std::wstring& start, const std::wstring& end) {
        return (pool.*Member)(start, end);
    }
};
int IsValidRange(const IPStack& pool, const std::wstring& start, const std::wstring& end);
template struct Opened<&IPStack::IsValidRange>;

TEST_F(AnAddressPool, JudgesRangesUnitByUnit) {
    const auto pool = Open();
    for (const wchar_t* end : {L"10.1.2.999", L"a.b.c.d", L"", L"1.2.3.-7"})
        EXPECT_EQ(1, IsValidRange(*pool, L"999.0.0.1", end)) << platform::ToUtf8(end);
    _events.Take();
    EXPECT_EQ(0, IsValidRange(*pool, L"1.1000.1.1000", L"1000.1.1.1"));
    EXPECT_EQ(0, IsValidRange(*pool, L"1.2.3.4", L"1.1.1.4294967297"));
    EXPECT_EQ((StringArray{L"IPStack::IsValidRange( ). Invalid number in unit2 in starting IP address.",
                           L"IPStack::IsValidRange( ). Invalid number in unit4 in ending IP address."}),
              _events.TakeTexts());
    EXPECT_EQ(0, pool->RangeTooLarge(L"1.1.1.1", L"1.1.1.501") + pool->RangeTooLarge(L"1.1.1.900", L"1.1.1.1"));
    for (const wchar_t* end : {L"1.1.1.502", L"1.1.1.99999999999"}) EXPECT_EQ(1, pool->RangeTooLarge(L"1.1.1.1", end));
    EXPECT_EQ(L"10.20.", pool->DefaultIPRangeMask(L"10.20.30.40"));
    EXPECT_EQ(L".", pool->DefaultIPRangeMask(L"10"));
}

}  // namespace
