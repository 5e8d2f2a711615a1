#include <ostra/foundation/ClusterComponent.h>
#include <ostra/properties/Properties.h>
#include <platform/base/last_error.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

template <typename Action>
int AllocationsOf(const Action& action) {
    const int before = allocations;
    action();
    return allocations - before;
}

struct Thing : ClusterComponent {
    int Status(int) override { return 0; }
};

struct List : Properties {
    void Take() {
        _streamSize = CurrentStreamSize();
        Parse();
    }
};

TEST(Memory, IsNotAskedForByAComponentWithoutTextsNorIsItsThreadsLastErrorChanged) {
    const tests::TemporaryHome home;
    const Thing first;  // registers the event source, loads the message table
    SetLastError(77);
    int fewest = 1;  // now and then one looks whether there is a registry by now
    for (int round = 0; round < 100; ++round) fewest = std::min(fewest, AllocationsOf([] { const Thing thing; }));
    EXPECT_EQ(0, fewest);
    EXPECT_EQ(77U, GetLastError()) << "though no key says whether to trace";
}

TEST(Memory, IsAskedForOnceForEachPropertyParsedButNotForAListBuilt) {
    const tests::TemporaryHome home;
    const StringArray parameters = {L"A=REG_SZ:abc", L"Bcd=REG_DWORD:127",
                                    L"CurrentDirectory=REG_SZ:c:\\bin\\programs"};
    const auto list = std::make_unique<List>();
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(0, AllocationsOf([&] { list->BuildPropertyList(&parameters); }));
        // The property, and each text that is too long for the object itself.
        const int ofProperties = 1 + 1 + 3;
        EXPECT_EQ(ofProperties + (round == 0 ? 1 : 0), AllocationsOf([&] { list->Take(); })) << "the array is kept";
        list->EmptyPropertyList();
    }
}

}  // namespace
