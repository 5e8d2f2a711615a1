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

#include <sstream>

namespace {

using tests::Operation;

class AnAddressPool : public testing::Test {
protected:
    AnAddressPool() { platform::ClusterDirectory::Register(L"C", _cluster); }
    ~AnAddressPool() override { platform::ClusterDirectory::Register(L"C", nullptr); }

    static std::unique_ptr<IPStack> Create(const std::wstring& start, const std::wstring& end) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", start, end);
    }
    static std::unique_ptr<IPStack> Open(int reset = 0) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", reset);
    }
    /// A pool with that content in the database.
    std::unique_ptr<IPStack> Open(const std::wstring& start, DWORD created, const std::wstring& available) {
        Store(L"IP Range", REG_SZ, platform::ToUtf16(start + L":"));
        Store(L"Addresses created", REG_DWORD, NumberBytes(created));
        Store(L"Persistence", REG_BINARY, platform::ToUtf16(available));
        return Open();
    }
    static std::wstring Take(IPStack& pool) {
        const std::wstring address = pool.GetIP(0);
        pool.RemoveUsedIP();
        pool.SaveCurrentState();
        return address;
    }

    struct Value {
        DWORD type = REG_NONE;
        std::vector<BYTE> data;

        bool operator==(const Value&) const = default;
    };
    platform::KeyId Key() { return _database->Make(L"Ostra\\ExpertWizard\\IPStack\\net-1"); }
    void Store(const std::wstring& name, DWORD type, const std::vector<BYTE>& data) {
        EXPECT_EQ(0U, _database->store->SetValue(Key(), name, type, data));
    }
    Value Stored(const std::wstring& name) {
        Value value;
        _database->store->QueryValue(Key(), name, value.type, value.data);
        return value;
    }
    std::wstring StoredText(const std::wstring& name) { return platform::FromUtf16(Stored(name).data); }
    static std::vector<BYTE> NumberBytes(DWORD number) {
        return {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
                static_cast<BYTE>(number >> 24)};
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
    EXPECT_EQ(L"10.1.2.8", pool->StartingAddress());
    EXPECT_EQ(L"10.1.2.11", pool->EndingAddress());
    EXPECT_EQ(L"10.1.2.9", pool->GetIP(0));
    EXPECT_EQ(L"10.1.2.9", pool->GetIP(0));
    EXPECT_EQ(1, pool->RemoveUsedIP());
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n", pool->PersistentData());
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n10.1.2.9\n",
              StoredText(L"Persistence"));  // in the order of the texts; unsaved yet
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
    EXPECT_EQ(1, pool->WasUsed(L"10.1.2.9"));
    EXPECT_EQ(L"", StoredText(L"Persistence"));
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n10.1.2.9\n", StoredText(L"IP Used"));

    const StringArray returned = {L"10.1.2.10"};
    EXPECT_EQ(0, pool->RecycleIPAddresses(&returned));
    EXPECT_EQ(0, pool->RecycleIPAddresses(nullptr));
    EXPECT_EQ(L"", pool->PersistentData());
    EXPECT_EQ(1, pool->WasUsed(L"10.1.2.10"));
    EXPECT_EQ(L"10.1.2.10", pool->GetIP(0));
}

TEST_F(AnAddressPool, OutlivesItsObjectAndTakesBackWhatNothingHolds) {
    {
        const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
        pool->SetRangeAndMask(pool->StartingAddress(), pool->EndingAddress(), L"255.255.255.0");
        pool->SetInitialized(1);
        for (int taken = 0; taken < 3; ++taken) Take(*pool);
    }
    const auto pool = Open();
    EXPECT_EQ(40, pool->GetNumberOfAddressesCreated());
    EXPECT_EQ(L"10.1.2.10", pool->StartingAddress());
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
    const auto open = [] { return IPStack(L"net-1", L"Shared", L"255.255.255.0", 0); };
    // Takes two addresses in a process of its own; its exit code says whether they were the expected ones.
    const auto takeTwoElsewhere = [&open](const std::wstring& first, const std::wstring& second) {
        const pid_t child = ::fork();
        if (child == 0) {
            bool asExpected = true;
            for (const std::wstring& expected : {first, second}) {
                IPStack pool = open();
                asExpected = pool.GetIP(0) == expected && asExpected;
                pool.RemoveUsedIP();
                pool.SaveCurrentState();
            }
            ::_exit(asExpected ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        return status;
    };
    {
        std::shared_ptr<platform::ClusterService> service;
        ASSERT_EQ(0U, platform::ClusterDirectory::Create(L"Shared", L"embedded", service));
        IPStack pool(L"net-1", L"Shared", L"255.255.255.0", L"10.1.2.1", L"10.1.2.4");
        pool.SetRangeAndMask(pool.StartingAddress(), pool.EndingAddress(), pool.SubnetMask());
    }
    EXPECT_EQ(0, takeTwoElsewhere(L"10.1.2.1", L"10.1.2.2"));
    {
        IPStack pool = open();
        pool.AddIPAddressBeingUsed(L"10.1.2.1");
        pool.GetIPAddressesToBeRecycled();
        EXPECT_EQ(1, pool.RecycleIPAddresses());
    }
    EXPECT_EQ(0, takeTwoElsewhere(L"10.1.2.2", L"10.1.2.3"));
}

TEST_F(AnAddressPool, WritesItsValuesInOrderAndWithTheirTypes) {
    const auto pool = Create(L"10.1.2.1", L"10.1.2.1");
    const auto written = [this] {
        StringArray names;
        for (const std::wstring& call : _cluster->Log()) names.push_back(call.substr(call.find(L' ') + 1));
        _cluster->ForgetCalls();
        return names;
    };
    written();
    EXPECT_EQ(0, pool->RecycleIPAddresses());
    pool->GetIP(0);
    EXPECT_EQ(StringArray(), written());
    pool->SaveCurrentState();
    EXPECT_EQ((StringArray{L"Persistence", L"IP Used"}), written());
    EXPECT_EQ((Value{REG_BINARY, platform::ToUtf16(L"10.1.2.1\n")}), Stored(L"Persistence"));
    pool->SetRangeAndMask(L"1.1.1.1", L"2.2.2.2", L"255.0.0.0");
    EXPECT_EQ((StringArray{L"IP Range", L"Subnet Mask", L"Addresses created"}), written());
    EXPECT_EQ(L"1.1.1.1:2.2.2.2", StoredText(L"IP Range"));
    EXPECT_EQ(L"10.1.2.0", pool->StartingAddress());
    EXPECT_EQ((Value{REG_DWORD, NumberBytes(1)}), Stored(L"Addresses created"));
    pool->CreateRegistryEntries();
    EXPECT_EQ(
        (StringArray{L"Initialized", L"IP Used", L"Persistence", L"Subnet Mask", L"Cluster Name", L"Next IP Address"}),
        written());
    EXPECT_EQ(L"No", StoredText(L"Initialized"));
    EXPECT_EQ(L"255.255.255.0", StoredText(L"Subnet Mask"));
    EXPECT_EQ(L"C", StoredText(L"Cluster Name"));
    for (const wchar_t* name : {L"IP Used", L"Persistence"})
        EXPECT_EQ((Value{REG_BINARY, platform::ToUtf16(L"")}), Stored(name));
}

TEST_F(AnAddressPool, ReadsWholeLinesUpToTheFirstEmptyOne) {
    const auto pool = Open();
    struct Row {
        std::wstring text, persisted;
    };
    const std::wstring endless(1'000'000, L'7');
    std::wstring everyLine;
    for (int number = 0; number < 50'000; ++number) everyLine += std::to_wstring(number % 1000) + L"\n";
    for (const Row& row : {Row{L"", L""}, Row{L"\n1.1.1.1\n", L""}, Row{L"1.1.1.1", L""}, Row{endless, L""},
                           Row{L"2.2.2.2\n1.1.1.1\n3.3", L"1.1.1.1\n2.2.2.2\n"},
                           Row{L"9.9.9.9\n\n8.8.8.8\n", L"1.1.1.1\n2.2.2.2\n9.9.9.9\n"},
                           Row{L"gar bage\r\n", L"1.1.1.1\n2.2.2.2\n9.9.9.9\ngar bage\r\n"}}) {
        pool->SetPersistence(row.text);
        EXPECT_EQ(row.persisted, pool->PersistentData());
    }
    pool->SetPersistence(everyLine);
    pool->SetPersistence(endless + L"\n");
    EXPECT_EQ(L"", pool->GetIP(0));
}

TEST_F(AnAddressPool, SearchesUpwardsWhateverTheDatabaseSays) {
    struct Row {
        const wchar_t* start;
        DWORD created;
        const wchar_t* available;
        const wchar_t* found;
    };
    const Row rows[] = {
        {L"10.1.2.10", 0, L"10.1.2.12\n10.1.2.11\n", L"10.1.2.11"},
        {L"10.1.2.10", 0, L"10.1.2.12\n", L""},
        {L"10.1.2.10", 1, L"10.1.2.12\n", L"10.1.2.12"},
        {L"10.1.2.10", 3, L"10.1.2.15\n10.1.2.9\n10.1.2.10\n", L""},
        {L"10.1.2.10", 4, L"10.1.2.15\n10.1.2.110\n", L"10.1.2.15"},
        {L"10.1.2.-1", 1, L"10.1.2.0\n", L"10.1.2.0"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.100000\n10.1.2.030\n10.1.2.+40\n10.1.20.11\n", L"10.1.2.100000"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.8\n", L""},
        {L"10.1.2.9", 0x7FFFFFFF, L"", L""},
        {L"10.1.2.0", 0x7FFFFFFF, L"10.1.2.-2147483648\n", L"10.1.2.-2147483648"},
        {L"10.1.2.2147483647", 5, L"10.1.2.-2147483646\n", L"10.1.2.-2147483646"},
        {L"10.1.2.9", 0xFFFFFFFF, L"10.1.2.10\n", L"10.1.2.10"},
        {L"10.1.2.9", 0x80000000, L"10.1.2.11\n", L""},
        {L"", 2, L"1...1\n", L"1...1"},
        {L"", 9, L"1.1.1.3\n", L"1.1.1.3"},
        {L"", 4, L"1.1.1.3\n", L""},
        {L"..1..2...3.4.5.6", 1, L"1.2.3.6\n", L"1.2.3.6"},
        {L"a.b.c.d", 7, L"a.b.c.4\n", L"a.b.c.4"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.found, Open(row.start, row.created, row.available)->GetIP(0))
            << platform::ToUtf8(row.start) << ' ' << row.created << ' ' << platform::ToUtf8(row.available);

    Store(L"IP Range", REG_SZ, platform::ToUtf16(L"10.1.2.9"));
    EXPECT_EQ(L"", Open()->StartingAddress());
    EXPECT_EQ(L"", Open()->EndingAddress());
}

TEST_F(AnAddressPool, CreatesWhatItCanLoadAgain) {
    struct Row {
        std::wstring start, end;
        int count;
        std::wstring startingAddress;
    };
    const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
    const std::wstring kept = L"10.1.2.10";
    for (const Row& row :
         {Row{L"10.1.2.50", L"10.1.2.11", 0, kept}, Row{L"10.1.2.0", L"10.1.2.2147483647", 0, kept},
          Row{L"10.1.2.0", L"10.1.2.99999999999999999999", 0, kept},
          Row{std::wstring(100'000, L'1') + L".1.2.0", L"10.1.2.5", 0, kept}, Row{L"10.1.2.5", L"10.1.2.abc", 0, kept},
          Row{L"10.1.2.0", L"7.7.7.0", 1, L"10.1.2.-1"}, Row{L"10.1.2.-5", L"10.1.2.2", 3, L"10.1.2.-1"},
          Row{L"", L"", 1, L"...-1"}, Row{L"10.1.2.2147483647", L"0.0.0.9999999999", 1, L"10.1.2.2147483646"},
          Row{L"10.1.2.1", L"10.1.2.2000", 2000, L"10.1.2.0"}}) {
        _output.Take();
        EXPECT_EQ(row.count, pool->CreateIPAddresses(row.start, row.end, L"255.255.255.0"))
            << platform::ToUtf8(row.end);
        EXPECT_EQ(L"IPStack::CreateIPAddress( ). " + std::to_wstring(row.count) + L"\n", _output.Take());
        EXPECT_EQ(row.startingAddress, pool->StartingAddress());
        EXPECT_EQ(row.end, pool->EndingAddress());
        const std::wstring persisted = pool->PersistentData();
        EXPECT_EQ(row.count, std::count(persisted.begin(), persisted.end(), L'\n'));
    }
    pool->SaveCurrentState();
    EXPECT_EQ(2001, Open()->PutIP(L"new"));
}

TEST_F(AnAddressPool, WithoutItsKeyLeavesTheDatabaseAlone) {
    _cluster->Fail(Operation::CreateKey, platform::error::AccessDenied);
    const std::wstring path = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\IPStack\\net-1\\";
    {
        const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
        EXPECT_EQ(L"IPStack::IPStack( CString, CString, CString ). On entry. path:" + path +
                      L"\nIPStack::IPStack( ). On exit.\n",
                  _output.Take());
        EXPECT_EQ(L"", pool->GetIP(0));
        EXPECT_EQ(1, pool->PutIP(L"10.1.2.11"));
        _output.Take();
    }
    EXPECT_EQ(
        L"IPStack::~IPStack( void ). On entry. stack count:1\nIPStack::~IPStack( void ). On exit. stack count:0\n",
        _output.Take());

    const auto pool = Open(1);
    EXPECT_EQ(path, pool->Path());
    EXPECT_EQ(L"IPStack::IPStack( ). On entry. path:" + path + L"\nIPStack::IPStack( ). On exit.\n", _output.Take());
    _cluster->ForgetCalls();
    _boxes.boxes.clear();
    pool->SaveCurrentState();
    pool->GetAvailableIPAddresses();
    pool->GetUsedIPAddresses();
    const std::wstring available = L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n";
    const std::wstring used = L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n";
    EXPECT_EQ(available + used + available + used, _output.Take());
    pool->SetRangeAndMask(L"1", L"2", L"3");
    pool->GetIPRange();
    EXPECT_EQ(0, pool->GetNumberOfAddressesCreated());
    EXPECT_EQ(0, pool->IsInitialized());
    pool->SetInitialized(1);
    EXPECT_EQ(1, pool->IsInitialized());
    EXPECT_TRUE(_boxes.boxes.empty());
    pool->CreateRegistryEntries();
    EXPECT_EQ(6U, _boxes.boxes.size());
    EXPECT_EQ(StringArray(), _cluster->Log());
    EXPECT_EQ(0, _database->At(L"Ostra"));
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
    EXPECT_EQ((std::vector<BYTE>{0xFF, 0xFE, 0xFF, 7, '1', 0, '.', 0, '1', 0, '.', 0, '1', 0, '.', 0, '1', 0,
                                 0xFF, 0xFE, 0xFF, 7, '1', 0, '.', 0, '1', 0, '.', 0, '1', 0, '.', 0, '2', 0}),
              bytes);

    Store(L"Persistence", REG_BINARY, {});
    const auto other = Open();
    CArchive in(bytes, CArchive::Mode::Load);
    in >> *other;
    EXPECT_EQ(L"", other->Persist());
    other->PutIP(L"");
    other->PutIP(L"9.9.9.9");
    _output.Take();
    in >> *other;
    EXPECT_EQ(L"operator>>( ). Failure newing IPStack with an TCPIPAddress\n", _output.Take());
    EXPECT_EQ(L"1.1.1.1\n9.9.9.9\n", other->Persist());
    in >> *other;  // one text is left for two entries
    EXPECT_EQ(L"1.1.1.1\n1.1.1.2\n9.9.9.9\n", other->Persist());

    _output.Take();
    std::stringstream stream;
    stream << *other;
    stream >> *other;
    EXPECT_EQ("", stream.str());
    EXPECT_EQ(L"is >> ipStack;\n", _output.Take());
}

TEST_F(AnAddressPool, TellsItsLists) {
    const auto pool = Create(L"1.1.1.1", L"1.1.1.2");
    pool->AddIPAddressBeingUsed(L"5.5.5.5");
    pool->GetIP(0);
    _output.Take();
    EXPECT_EQ(L"1.1.1.1\n1.1.1.2\n", pool->Info());
    EXPECT_EQ(
        L"_currentAddress:1.1.1.1\nAvailableTCPIPAddresses:2\n1.1.1.1\n1.1.1.2\n"
        L"TCPIPAddresses Being Used:1\n5.5.5.5\nTCPIPAddresses To Be Recycled:0\n",
        _output.Take());
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
    const auto pool = Create(L"1.1.1.1", L"1.1.1.2");
    for (const wchar_t* end : {L"10.1.2.999", L"a.b.c.d", L"", L"1.2.3.-7", L"1.2"})
        EXPECT_EQ(1, IsValidRange(*pool, L"999.0.0.1", end)) << platform::ToUtf8(end);
    _events.Take();
    EXPECT_EQ(0, IsValidRange(*pool, L"1.1000.1.1000", L"1000.1.1.1"));
    EXPECT_EQ(0, IsValidRange(*pool, L"1.2.3.4", L"1.1.1.4294967297"));
    EXPECT_EQ((StringArray{
                  L"IPStack::IsValidRange( ). Invalid number in unit2 in starting IP address.",
                  L"IPStack::IsValidRange( ). Invalid number in unit4 in ending IP address.",
              }),
              _events.TakeTexts());

    EXPECT_EQ(0, pool->RangeTooLarge(L"1.1.1.1", L"1.1.1.501"));
    EXPECT_EQ(1, pool->RangeTooLarge(L"1.1.1.1", L"1.1.1.502"));
    EXPECT_EQ(0, pool->RangeTooLarge(L"1.1.1.900", L"1.1.1.1"));
    EXPECT_EQ(1, pool->RangeTooLarge(L"1.1.1.x", L"1.1.1.99999999999"));

    EXPECT_EQ(L"10.20.", pool->DefaultIPRangeMask(L"10.20.30.40"));
    EXPECT_EQ(L".", pool->DefaultIPRangeMask(L"10"));
    EXPECT_EQ(L".", pool->DefaultIPRangeMask(L""));
}

}  // namespace
