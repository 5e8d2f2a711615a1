#include <ostra/cluster/ResourceType.h>
#include <platform/base/output.h>

#include <benchmark/benchmark.h>

#include <array>
#include <string>

namespace {

class Component final : public ClusterComponent {
public:
    int Status(int) override { return 0; }
};

// What a component cannot do without: its texts and maps.
struct Texts {
    std::array<std::wstring, 10> texts;
    StringMap common;
    StringMap privates;
};

class NoOutput final : public platform::OutputSink {
public:
    void Write(std::wstring_view text) override { benchmark::DoNotOptimize(text.data()); }
};

void BareStringsAndMaps(benchmark::State& state) {
    for (auto _ : state) {
        Texts texts;
        benchmark::DoNotOptimize(&texts);
    }
}
BENCHMARK(BareStringsAndMaps);

void ConstructAndDestroyAComponent(benchmark::State& state) {
    for (auto _ : state) {
        Component component;
        benchmark::DoNotOptimize(&component);
    }
}
BENCHMARK(ConstructAndDestroyAComponent);

void Trace(benchmark::State& state, platform::OutputSink& sink) {
    platform::OutputSink* before = platform::SetOutputSink(&sink);
    const Component component;
    for (auto _ : state) component.printf(L"Node::Update( ). Updating Group... %ws\n", L"Files");
    platform::SetOutputSink(before);
}

void TraceWithTracingOff(benchmark::State& state) {
    NoOutput sink;
    Trace(state, sink);
}
BENCHMARK(TraceWithTracingOff);

void TraceThatNobodyReads(benchmark::State& state) {
    Trace(state, platform::SilentOutput());
}
BENCHMARK(TraceThatNobodyReads);

}  // namespace
