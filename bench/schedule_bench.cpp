#include <ostra/scheduler/ScheduleTable.h>
#include <ostra/scheduler/TreeNode.h>
#include <platform/base/clock.h>
#include <platform/base/output.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr int jobs = 10'000;
constexpr int mostInAKey = 700;  // more are not read back
constexpr LONG steps = 500'000;

class NoOutput final : public platform::OutputSink {
public:
    NoOutput() = default;
    NoOutput(const NoOutput&) = delete;
    NoOutput& operator=(const NoOutput&) = delete;
    ~NoOutput() override { platform::SetOutputSink(_before); }
    void Write(std::wstring_view text) override { benchmark::DoNotOptimize(text.data()); }

private:
    platform::OutputSink* _before = platform::SetOutputSink(this);
};

/// Scattered over a year from now on, every job twice, ten to a minute.
class Jobs {
public:
    explicit Jobs(int count) {
        constexpr std::int64_t minutesOfAYear = 525'600;
        const TimeValue start = platform::CurrentTime() / 60 * 60 + 3600;
        for (int number = 0; number < count; ++number) {
            const std::int64_t minute = std::int64_t{number / 20} * 7919 * 97 % minutesOfAYear;
            const auto time = static_cast<TimeValue>(start + minute * 60);
            _made.Add(new ScheduleEntry(L"Payroll", L"Online Group " + std::to_wstring(number / 2), time));
        }
    }
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;
    ~Jobs() { Delete(_made); }

    const ScheduleTable& Table() const { return _made; }
    /// The same entries in another table, which does not own them either.
    void Fill(ScheduleTable& table) const {
        table.RemoveAll();
        for (ScheduleEntry* entry : _made) table.CArray<ScheduleEntry*>::Add(entry);
    }
    static void Delete(const ScheduleTable& table) {
        for (const ScheduleEntry* entry : table) delete entry;
    }

private:
    ScheduleTable _made;
};

void LoadATable(benchmark::State& state) {
    const NoOutput silence;
    const Jobs made(jobs);
    const std::wstring text = made.Table().PersistentData();
    for (auto _ : state) {
        ScheduleTable table;
        table.SetPersistence(text);
        Jobs::Delete(table);
    }
}
BENCHMARK(LoadATable)->Unit(benchmark::kMillisecond);

void SortATable(benchmark::State& state) {
    const NoOutput silence;
    const Jobs made(mostInAKey);
    ScheduleTable table;
    for (auto _ : state) {
        made.Fill(table);
        benchmark::DoNotOptimize(table.Sort());
    }
}
BENCHMARK(SortATable)->Unit(benchmark::kMicrosecond);

void PurgeATable(benchmark::State& state) {
    const NoOutput silence;
    const Jobs made(mostInAKey);
    ScheduleTable table;
    for (auto _ : state) {
        made.Fill(table);
        benchmark::DoNotOptimize(table.Purge());
    }
}
BENCHMARK(PurgeATable)->Unit(benchmark::kMicrosecond);

void BuildAnOutline(benchmark::State& state) {
    for (auto _ : state) {
        const TreeNode tree(steps, 4, L"", L"");
        benchmark::DoNotOptimize(tree.Size());
    }
}
BENCHMARK(BuildAnOutline)->Unit(benchmark::kMillisecond);

void InsertJobsIntoAnOutline(benchmark::State& state) {
    const NoOutput silence;
    const Jobs made(static_cast<int>(state.range(0)));
    const TreeNode axis(steps, 4, L"", L"");
    for (auto _ : state) {
        state.PauseTiming();
        TreeNode tree(axis);
        state.ResumeTiming();
        tree.InsertJobEntries(&made.Table());
        benchmark::DoNotOptimize(tree.Size());
    }
}
BENCHMARK(InsertJobsIntoAnOutline)->Arg(1'000)->Arg(jobs)->Unit(benchmark::kMillisecond);

}  // namespace
