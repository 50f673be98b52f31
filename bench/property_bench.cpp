#include <Kavelin/Typed/FilterKit.h>
#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace Kavelin::Core;

// Properties

struct Settings : Filter {
    Settings() : Filter("settings", true) {}
    void process() override {}
    std::string typeName() const override { return "Settings"; }
    void onNumber(const double&) {}
    RangeProperty<double> number{
        "number", this, {.minimum = -1e9, .maximum = 1e9, .value = 0.5}, handler(this, &Settings::onNumber)};
    ValueProperty<Matrix> matrix{"matrix", this, Matrix::Zero(1, 3)};
    EnumProperty<std::string> label{"label", this, {"one", "two"}, 0};
};

void PropertyPlain(benchmark::State& state) {
    volatile double value = 1;
    for (auto _ : state) benchmark::DoNotOptimize(value);
}
BENCHMARK(PropertyPlain)->Name("property/plain");

void PropertyGetInside(benchmark::State& state) {
    Settings settings;
    const Synchronizer::ProcessScope scope(*settings.getSynchronizer());
    for (auto _ : state) benchmark::DoNotOptimize(settings.number.get());
}
BENCHMARK(PropertyGetInside)->Name("property/get_inside_process");

void PropertyGetOutside(benchmark::State& state) {
    Settings settings;
    for (auto _ : state) benchmark::DoNotOptimize(settings.number.get());
}
BENCHMARK(PropertyGetOutside)->Name("property/get_outside");

void PropertySet(benchmark::State& state) {
    Settings settings;
    double value = 0;
    for (auto _ : state) settings.number.set(value += 1e-3);
}
BENCHMARK(PropertySet)->Name("property/set");

void PropertyText(benchmark::State& state) {
    Settings settings;
    for (auto _ : state) settings.label.deSerialize("two");
}
BENCHMARK(PropertyText)->Name("property/set_enum_from_text");

}  // namespace
