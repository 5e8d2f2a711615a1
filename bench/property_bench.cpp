#include <ostra/properties/Properties.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr std::size_t bufferSize = 130'000;

StringArray TwentyParameters() {
    StringArray parameters;
    for (int i = 0; i < 10; ++i) {
        parameters.push_back(L"CurrentDirectory" + std::to_wstring(i) + L"=REG_SZ:c:\\bin\\programs");
        parameters.push_back(L"Permissions" + std::to_wstring(i) + L"=REG_DWORD:127");
    }
    return parameters;
}

/// Opens what only the sets of the object kinds use.
class PropertySet final : public Properties {
public:
    using Properties::BuildPropertyList;
    using Properties::EmptyPropertyList;
    using Properties::Parse;
};

void PlainClearOfTheBuffer(benchmark::State& state) {
    const auto buffer = std::make_unique<unsigned char[]>(bufferSize);
    for (auto _ : state) {
        std::memset(buffer.get(), 0, bufferSize);
        benchmark::DoNotOptimize(buffer.get());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PlainClearOfTheBuffer);

void BuildTwentyProperties(benchmark::State& state) {
    const StringArray parameters = TwentyParameters();
    const auto properties = std::make_unique<PropertySet>();
    for (auto _ : state) {
        properties->Initialize();
        benchmark::DoNotOptimize(properties->BuildPropertyList(&parameters));
    }
}
BENCHMARK(BuildTwentyProperties);

void BuildAndParseTwentyProperties(benchmark::State& state) {
    const StringArray parameters = TwentyParameters();
    const auto properties = std::make_unique<PropertySet>();
    for (auto _ : state) {
        properties->Initialize();
        properties->BuildPropertyList(&parameters);
        benchmark::DoNotOptimize(properties->Parse());
        properties->EmptyPropertyList();
    }
}
BENCHMARK(BuildAndParseTwentyProperties);

}  // namespace
