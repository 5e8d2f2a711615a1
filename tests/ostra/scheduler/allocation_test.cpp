#include <ostra/scheduler/ScheduleTable.h>
#include <tests/support/CapturedOutput.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <optional>

namespace {

thread_local int allocationsLeft = -1;  // below 0: as many as are asked for

void* Allocate(std::size_t size) {
    if (allocationsLeft == 0) throw std::bad_alloc();
    if (allocationsLeft > 0) --allocationsLeft;
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

/// Runs `action` with no allocation, with one, and so on until it has as many as it asks for. How often it failed; none
/// of them may be seen outside, and what it leaves must be `right`.
template <typename Action, typename Right>
int CountFailures(const Action& action, const Right& right) {
    for (int failures = 0;; ++failures) {
        bool hasEscaped = false;
        allocationsLeft = failures;
        try {
            action();
        } catch (...) {
            hasEscaped = true;
        }
        const bool wasEnough = allocationsLeft > 0;
        allocationsLeft = -1;
        EXPECT_FALSE(hasEscaped) << failures;
        EXPECT_TRUE(right()) << failures;
        if (wasEnough) return failures;
    }
}

}  // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocationsLeft == 0 ? nullptr : std::malloc(size ? size : 1);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

TEST(WhenMemoryEnds, AJobAndATableAreReadWholeOrNotAtAll) {
    const tests::CapturedOutput output;
    const std::wstring line = L"Payroll,Online Accounting Group,23:30 on 24,Thursday December 2026";
    const ScheduleEntry whole(line);
    const ScheduleEntry none(L"", 0);
    std::optional<ScheduleEntry> read;
    const auto isWholeOrNone = [&] { return *read == (read->JobTimeString() ? whole : none); };
    EXPECT_LT(3, CountFailures([&] { read.emplace(line); }, isWholeOrNone));
    EXPECT_TRUE(*read == whole);

    const std::wstring text = line + L"\n" + line + L"s\n";
    ScheduleTable table;
    const auto isTwoOrEmpty = [&] { return table.PersistentData() == (table.Count() == 2 ? text : L""); };
    EXPECT_LT(6, CountFailures([&] { table.SetPersistence(text); }, isTwoOrEmpty));
    ASSERT_EQ(2, table.Count());
    for (const ScheduleEntry* entry : table) delete entry;
}

}  // namespace
