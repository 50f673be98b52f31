// Text forms of property values: whatever the text, a value or a Poco::DataFormatException; and what was read
// writes a text that reads back to the same value.
#include <Kavelin/Typed/FilterKit.h>
#include <Poco/Exception.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace Kavelin::Core;

enum class Colour { kRed, kGreen };

struct Settings : Filter {
    Settings() : Filter("fuzzed", true) {}
    void process() override {}
    std::string typeName() const override { return "Settings"; }

    ValueProperty<int> whole{"whole", this, 0};
    ValueProperty<unsigned> size{"size", this, 0u};
    ValueProperty<double> number{"number", this, 0.0};
    ValueProperty<bool> flag{"flag", this, false};
    ValueProperty<std::string> text{"text", this, ""};
    ValueProperty<Matrix> matrix{"matrix", this, Matrix()};
    RangeProperty<int> range{"range", this, {.minimum = -5, .maximum = 5, .step = 1}};
    RangeProperty<double> interval{"interval", this, {.minimum = -5, .maximum = 5, .step = 0.1}};
    EnumEnumProperty<Colour, std::string> colour{"colour", this, {"red", "green"}, 0};
    FileNameProperty file{"file", this, ""};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Settings settings;
    if (size == 0) return 0;
    const auto& properties = settings.getPropertyBag().getProperties();
    AbstractProperty& property = *properties[data[0] % properties.size()];
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    // Millions of zeros are a right answer to a short text; they would only make the fuzzer slow.
    long long rows = 0;
    long long columns = 0;
    const bool isMatrix = property.getName() == "matrix";
    if (isMatrix && std::sscanf(text.c_str(), "%lld %lld", &rows, &columns) == 2 && rows > 0 && columns > 0 &&
        columns <= 16777216 && rows <= 16777216 / columns && rows * columns > 10000) {
        return 0;
    }
    try {
        property.deSerialize(text);
    } catch (const Poco::DataFormatException&) {
        return 0;
    } catch (const Poco::RangeException&) {
        return 0;
    }
    const std::string exact = property.exactText();
    try {
        property.setExactText(exact);
    } catch (const Poco::Exception&) {
        std::abort();
    }
    if (property.exactText() != exact) std::abort();
    return 0;
}
