#include <ostra/network/IPStack.h>

#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/little_endian.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <algorithm>

namespace {

using tests::Operation;
using Value = std::pair<DWORD, std::vector<BYTE>>;

Value Number(DWORD number) {
    Value value{REG_DWORD, std::vector<BYTE>(4)};
    platform::PutNumber(value.second.data(), number);
    return value;
}

Value Text(DWORD type, const std::wstring& text) {
    return {type, platform::ToUtf16(text)};
}

std::wstring Take(IPStack& pool) {
    const std::wstring address = pool.GetIP(0);
    pool.RemoveUsedIP();
    pool.SaveCurrentState();
    return address;
}

class AnAddressPool : public tests::EmbeddedClusterTest {
protected:
    AnAddressPool() {
        bool created = false;
        Expect(service->RootKey(_key), L"the root");
        Expect(service->CreateKey(_key, L"Ostra\\ExpertWizard\\IPStack\\net-1", false, _key, created), L"the pool");
    }

    static std::unique_ptr<IPStack> Create(const std::wstring& start, const std::wstring& end) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", start, end);
    }
    static std::unique_ptr<IPStack> Open(int reset = 0) {
        return std::make_unique<IPStack>(L"net-1", L"C", L"255.255.255.0", reset);
    }
    void Store(const std::wstring& name, const Value& value) {
        EXPECT_EQ(0U, service->SetValue(_key, name, value.first, value.second));
    }
    Value Stored(const std::wstring& name) {
        Value value;
        service->QueryValue(_key, name, value.first, value.second);
        return value;
    }
    /// The names of the values that were written since the last call.
    StringArray Written() {
        StringArray names;
        for (const std::wstring& call : _cluster->Log()) names.push_back(call.substr(call.find(L' ') + 1));
        _cluster->ForgetCalls();
        return names;
    }

    tests::CapturedEvents _events;
    tests::CapturedMessageBoxes _boxes;
    tests::FailingCluster _cluster{L"C", service};
    platform::ClusterKeyId _key = 0;
};

TEST_F(AnAddressPool, HandsOutItsAddressesInOrderUntilItIsExhausted) {
    const auto pool = Create(L"10.1.2.9", L"10.1.2.11");
    const Value all = Text(REG_BINARY, L"10.1.2.10\n10.1.2.11\n10.1.2.9\n");  // by text
    for (int asked = 0; asked < 2; ++asked) EXPECT_EQ(L"10.1.2.9", pool->GetIP(0));
    EXPECT_EQ(1, pool->RemoveUsedIP());
    EXPECT_EQ(L"10.1.2.10\n10.1.2.11\n", pool->PersistentData());
    EXPECT_EQ(all, Stored(L"Persistence"));  // not saved yet
    for (const wchar_t* address : {L"10.1.2.10", L"10.1.2.11"}) EXPECT_EQ(address, Take(*pool));
    printed.Take();
    EXPECT_EQ(L"", pool->GetIP(0));
    EXPECT_TRUE(printed.Take().ends_with(L"_address:\nIPStack::GetIP( ). No IP Address to give!\n"));
    EXPECT_EQ(Text(REG_BINARY, L""), Stored(L"Persistence"));
    EXPECT_EQ(all, Stored(L"IP Used"));

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
    EXPECT_EQ(3U, pool->IPAddressesToBeRecycled()->size());
    EXPECT_EQ(L"10.1.2.14", Take(*pool));
    EXPECT_EQ(1, pool->AddIPAddressBeingUsed(L"10.1.2.12"));
    EXPECT_EQ(2, pool->AddIPAddressBeingUsed(L"10.9.9.9"));
    EXPECT_EQ(0, pool->GetIPAddressesToBeRecycled());
    EXPECT_EQ(2, pool->RecycleIPAddresses());
    EXPECT_EQ(Text(REG_BINARY, L"10.1.2.12\n10.1.2.14\n"), Stored(L"IP Used"));  // 14 was taken after the opening
    EXPECT_EQ(L"10.1.2.11", Open()->GetIP(0));
    EXPECT_EQ(1, pool->IsInitialized() - Open(1)->IsInitialized());
}

TEST_F(AnAddressPool, WritesItsValuesInOrderAndWithTheirTypes) {
    const auto pool = Create(L"10.1.2.1", L"10.1.2.1");
    Written();
    EXPECT_EQ(0, pool->RecycleIPAddresses());
    pool->GetIP(0);
    EXPECT_TRUE(Written().empty());
    pool->SaveCurrentState();
    pool->SetRangeAndMask(L"1.1.1.1", L"2.2.2.2", L"255.0.0.0");
    EXPECT_EQ((StringArray{L"Persistence", L"IP Used", L"IP Range", L"Subnet Mask", L"Addresses created"}), Written());
    EXPECT_EQ(Text(REG_SZ, L"1.1.1.1:2.2.2.2"), Stored(L"IP Range"));
    EXPECT_EQ(Number(1), Stored(L"Addresses created"));
    EXPECT_EQ(L"10.1.2.0 255.255.255.0", pool->StartingAddress() + L" " + pool->SubnetMask());
    pool->CreateRegistryEntries();
    EXPECT_EQ(
        (StringArray{L"Initialized", L"IP Used", L"Persistence", L"Subnet Mask", L"Cluster Name", L"Next IP Address"}),
        Written());
    EXPECT_EQ(Text(REG_SZ, L"No"), Stored(L"Initialized"));
    for (const wchar_t* name : {L"IP Used", L"Persistence"}) EXPECT_EQ(Text(REG_BINARY, L""), Stored(name));
}

TEST_F(AnAddressPool, SearchesUpwardsWhateverTheDatabaseSays) {
    const std::tuple<const wchar_t*, DWORD, const wchar_t*, const wchar_t*> rows[] = {
        {L"10.1.2.10", 0, L"10.1.2.12\n10.1.2.11\n", L"10.1.2.11"},
        {L"10.1.2.10", 3, L"10.1.2.15\n10.1.2.9\n10.1.2.10\n", L""},
        {L"10.1.2.10", 4, L"10.1.2.15\n10.1.2.110\n", L"10.1.2.15"},
        {L"10.1.2.10", 9, L"10.1.2.15\n10.1.2.11", L"10.1.2.15"},  // the second line has no end
        {L"10.1.2.10", 9, L"10.1.2.15\n\n10.1.2.11\n", L"10.1.2.15"},
        {L"10.1.2.-1", 1, L"10.1.2.0\n", L"10.1.2.0"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.10000\n10.1.2.030\n10.1.2.+40\n10.1.20.11\n", L"10.1.2.10000"},
        {L"10.1.2.9", 0x7FFFFFFF, L"10.1.2.8\n", L""},
        {L"10.1.2.2147483647", 5, L"10.1.2.2147483648\n", L"10.1.2.2147483648"},
        {L"10.1.2.9", 0x80000000, L"10.1.2.11\n", L""},
        {L"", 9, L"1.1.1.3\n", L"1.1.1.3"},
    };
    for (const auto& [start, created, available, found] : rows) {
        Store(L"IP Range", Text(REG_SZ, start + std::wstring(L":")));
        Store(L"Addresses created", Number(created));
        Store(L"Persistence", Text(REG_BINARY, available));
        EXPECT_EQ(found, Open()->GetIP(0)) << platform::ToUtf8(start) << ' ' << created;
    }
    Store(L"IP Range", Text(REG_SZ, L"10.1.2.9"));
    EXPECT_EQ(L"", Open()->StartingAddress() + Open()->EndingAddress());
}

TEST_F(AnAddressPool, CreatesTheAddressesOfARange) {
    const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
    const std::tuple<std::wstring, std::wstring, int, const wchar_t*> rows[] = {
        {L"10.1.2.50", L"10.1.2.11", 0, L"10.1.2.10"},
        {L"10.1.2.0", L"7.7.7.0", 1, L"10.1.2.-1"},
        {L"10.1.2.-5", L"10.1.2.2", 3, L"10.1.2.-1"},
        {L"", L"", 1, L"...-1"},
        {L"10.1.2.2147483647", L"0.0.0.9999999999", 1, L"10.1.2.2147483646"},
        {L"10.1.2.1", L"10.1.2.2000", 2000, L"10.1.2.0"}};
    for (const auto& [start, end, count, startingAddress] : rows) {
        EXPECT_EQ(count, pool->CreateIPAddresses(start, end, L"")) << platform::ToUtf8(end);
        EXPECT_EQ(startingAddress + end, pool->StartingAddress() + pool->EndingAddress());
        EXPECT_EQ(count, std::ranges::count(pool->PersistentData(), L'\n'));
    }
    pool->SaveCurrentState();
    EXPECT_EQ(2001, Open()->PutIP(L"new"));
    EXPECT_EQ(0, pool->RangeTooLarge(L"1.1.1.1", L"1.1.1.501") + pool->RangeTooLarge(L"1.1.1.900", L"1.1.1.1"));
    for (const wchar_t* end : {L"1.1.1.502", L"1.1.1.99999999999"}) EXPECT_EQ(1, pool->RangeTooLarge(L"1.1.1.1", end));
}

TEST_F(AnAddressPool, RefusesWhatItCouldNotLoadAgain) {
    const auto pool = Create(L"10.1.2.11", L"10.1.2.50");
    pool->SetRangeAndMask(L"10.1.2.10", L"10.1.2.50", L"");
    pool->GetIP(0);
    pool->SaveCurrentState();
    const auto refusals = [this] {
        const auto texts = _events.TakeTexts();
        return std::ranges::count_if(texts, [](const std::wstring& text) { return text.starts_with(L"IPStack::"); });
    };
    const auto state = [&] {
        return std::tuple(pool->Persist(), pool->PersistentData(), pool->StartingAddress() + pool->EndingAddress(),
                          Stored(L"Persistence"), Stored(L"IP Used"));
    };
    const auto before = state();
    const std::pair<std::wstring, std::wstring> ranges[] = {{L"10.1.2.0", L"10.1.2.99999999999999999999"},
                                                            {std::wstring(100'000, L'1') + L".1.2.0", L"10.1.2.5"}};
    for (const auto& [start, end] : ranges) {
        EXPECT_EQ(0, pool->CreateIPAddresses(start, end, L""));
        EXPECT_EQ(platform::error::InvalidParameter, GetLastError());
        EXPECT_EQ(L"", Create(start, end)->GetIP(0));
        EXPECT_EQ(before, state());
    }
    EXPECT_EQ(4, refusals());

    for (const std::wstring& address : {std::wstring(33'000, L'1'), std::wstring(L"10.1.2.9\0", 9)}) {
        const auto other = Open();
        other->PutIP(address);
        other->RemoveUsedIP();
        other->SaveCurrentState();
        other->PutAvailableIPAddresses();
        EXPECT_EQ(platform::error::InvalidData, GetLastError());
        EXPECT_EQ(before, state());
    }
    EXPECT_EQ(4, refusals());
    const Value longest = Text(REG_BINARY, std::wstring(32'490, L'1') + L"\n");
    Store(L"IP Used", longest);
    const auto other = Open();
    EXPECT_EQ(L"10.1.2.11", Take(*other));
    other->PutUsedIPAddresses();
    EXPECT_EQ(std::pair(std::get<3>(before), longest), std::pair(Stored(L"Persistence"), Stored(L"IP Used")));

    const Value tooLong = Text(REG_BINARY, std::wstring(32'500, L'1') + L"\n");
    for (const wchar_t* list : {L"Persistence", L"IP Used"}) {
        Store(list, tooLong);
        Open()->SaveCurrentState();
        EXPECT_EQ(platform::error::InvalidData, GetLastError());
        EXPECT_EQ(tooLong, Stored(list));
        Store(list, Text(REG_BINARY, L""));
    }
}

TEST_F(AnAddressPool, WithoutItsKeyLeavesTheDatabaseAlone) {
    _cluster->Fail(Operation::CreateKey, platform::error::AccessDenied);
    EXPECT_EQ(L"", Create(L"10.1.2.11", L"10.1.2.50")->GetIP(0));
    const auto pool = Open(1);
    Written();
    _boxes.boxes.clear();
    SetLastError(0);
    pool->SaveCurrentState();
    EXPECT_EQ(platform::error::InvalidHandle, GetLastError());
    pool->SetRangeAndMask(L"1", L"2", L"3");
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
    const auto pool = Create(L"1.1.1.1", L"1.1.1.2");
    pool->PutIP(L"");
    out << *pool;
    EXPECT_EQ(2U * (4 + 2 * 7), bytes.size());
    CArchive in(bytes, CArchive::Mode::Load);
    const auto other = Create(L"1.1.1.2", L"1.1.1.1");
    in >> *other;  // nothing to read into
    for (const wchar_t* entry : {L"", L"9.9.9.9"}) other->PutIP(entry);
    printed.Take();
    in >> *other;
    EXPECT_EQ(L"operator>>( ). Failure newing IPStack with an TCPIPAddress\n", printed.Take());
    EXPECT_EQ(L"1.1.1.1\n9.9.9.9\n", other->Persist());
}

}  // namespace
