// Classes whose virtual operations check-slots looks at; never run.
#include <Kavelin/Typed/FilterFactory.h>
#include <Kavelin/Typed/FilterKit.h>
using namespace Kavelin::Core;
enum class Colour { kRed };
struct Probe : Filter {
    static constexpr const char* kTypeName = "Probe";
    explicit Probe(const std::string& name) : Filter(name, true) {}
    void process() override {}
    std::string typeName() const override { return kTypeName; }
    InputPin<Matrix> in{"in", this};
    OutputPin<Matrix> out{"out", this};
    RangeProperty<int> number{"number", this, {}};
    ValueProperty<double> value{"value", this, 0.0};
    EnumEnumProperty<Colour, std::string> colour{"colour", this, {"red"}, 0};
};
template class Kavelin::Core::FilterFactory<Probe>;
