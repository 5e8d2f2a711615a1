#include <platform/base/HandleTable.h>

#include <gtest/gtest.h>

#include <limits>
#include <new>

namespace {

int allocationsLeft = std::numeric_limits<int>::max();

template <typename Item>
struct Scarce : std::allocator<Item> {
    Item* allocate(std::size_t count) {
        if (allocationsLeft-- <= 0) throw std::bad_alloc();
        return std::allocator<Item>::allocate(count);
    }
    template <typename Other>
    struct rebind {
        using other = Scarce<Other>;
    };
};

struct OpaqueHandle;

TEST(AHandleTable, IsAsItWasWhenThereIsNoMemoryToOpenAHandle) {
    platform::HandleTable<OpaqueHandle*, int, Scarce> table;
    const auto number = [](int value) { return std::make_shared<int>(value); };
    std::vector<OpaqueHandle*> handles;
    for (int room = 0; room < 20; ++room) {
        allocationsLeft = 0;
        try {
            handles.push_back(table.Open(number(room)));
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(handles.size(), table.OpenCount());
        }
        allocationsLeft = std::numeric_limits<int>::max();
        handles.push_back(table.Open(number(100 + room)));
        EXPECT_EQ(100 + room, *table.Find(handles.back()));
        EXPECT_EQ(handles.size(), table.OpenCount());
    }
    allocationsLeft = 0;
    for (OpaqueHandle* const handle : handles) {
        EXPECT_TRUE(table.Close(handle));
        EXPECT_FALSE(table.Close(handle));
    }
    EXPECT_EQ(0u, table.OpenCount());
    for (OpaqueHandle* const handle : handles) {
        EXPECT_NE(handle, table.Open(number(1))) << "a slot's next handle is another one";
        EXPECT_EQ(nullptr, table.Find(handle));
    }
    allocationsLeft = std::numeric_limits<int>::max();
}

}  // namespace
