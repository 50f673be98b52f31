#include "cli/validate/PropertyTexts.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/CommandProperty.h>
#include <fmt/format.h>

#include <fstream>

#include "cli/JsonForms.h"
#include "cli/validate/Fault.h"
#include "cli/validate/SampleMaker.h"

namespace Kavelin::Cli {

namespace {

using Texts = std::vector<std::string>;

struct KindRow {
    std::string_view kind;
    Texts texts;
};

const Texts& textsOfKind(const std::string& kind) {
    static const KindRow kRows[] = {
        {"bool", {"0", "1"}},
        {"int", {"0", "1", "7"}},
        {"unsigned int", {"0", "1", "7"}},
        {"double", {"0", "0.1", "1", "2.5e-3", "0.30000000000000004"}},
        {"matrix",
         {"0 0", "1 1 0.5", "1 3 0 0 1", "1 3 0.2 0.6 0.2", "1 4 1 0 0 0", "1 5 1 2 3 2 1", "3 1 1 0 0",
          "3 3 1 0 0 0 1 0 0 0 1", "1 3 0.1 1e-300 12345.678901234567"}},
        {"text", {"", "a text", "3a", "x: y = z"}},
        {"file name", {"", kTrialFiles[0], kTrialFiles[1], "missing.par", "result.csv"}},
    };
    for (const KindRow& row : kRows)
        if (row.kind == kind) return row.texts;
    static const Texts kNone;
    return kNone;
}

}  // namespace

void writeTrialFiles() {
    std::ofstream(kTrialFiles[1]) << R"({"format": "kavelin calibration", "version": 1,
               "magnetic": {"unit": "uT", "offset": [15, -10, 5], "strength": 48},
               "inertial": {"acceleration": {"offset": [0.1, 0, 0]}, "rate": {"offset": [0, 0.01, 0]}},
               "mount": {"q_segment_sensor": [0.6, 0, 0, 0.8]}})";
    std::ofstream file(kTrialFiles[0]);
    file << "t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz\n";
    for (const RecordingIO::SimulatedRow& row : simulatedRows(61.0, 50.0, 1)) {
        file << row.t;
        for (const auto* values : {&row.acceleration, &row.rate, &row.field})
            for (const double value : *values) file << ',' << value;
        for (const double value : row.attitude) file << ',' << value;
        file << '\n';
    }
}

std::vector<std::string> plausibleTexts(const Core::Filter& filter, const Core::AbstractProperty& property) {
    const Core::PropertyDescription about = property.describe();
    Texts texts = textsOfKind(about.kind);
    texts.insert(texts.end(), about.labels.begin(), about.labels.end());
    for (const auto& bound : {about.minimum, about.maximum})
        if (bound) texts.push_back(*bound);
    if (about.kind != "text") return texts;
    for (const Core::AbstractInputPin* pin : filter.getInputPins()) texts.push_back(pin->getName());
    return texts;
}

std::vector<std::string> hostileTexts() {
    return {"",
            " ",
            "much",
            "nan",
            "-inf",
            "1e999",
            "-1",
            "-1e308",
            "99999999999999999999",
            "-2147483648",
            "2147483647",
            "1 ",
            "0x10",
            "1,5",
            "2 2",
            "-1 3 1",
            "1 -3",
            "100000 100000 1",
            "1 3 nan inf -inf",
            "1 3 1e308 1e308 1e308",
            "2 2 1 2 x",
            "${HOME}",
            "/no/such/folder/file",
            ".",
            std::string("a\0b", 3),
            "line\nline",
            "\xff\xfe",
            std::string(20000, 'x')};
}

bool isTaken(Core::AbstractProperty& property, const std::string& text) {
    try {
        property.setExactText(text);
        return true;
    } catch (const std::exception&) {
        return false;
    } catch (...) {
        throw Fault(placeOf(property),
                    "writing " + shownText(text) + " raised something other than a std::exception",
                    "a refusal is an exception of the POCO family");
    }
}

namespace {

std::vector<Core::CommandProperty*> commandsOf(const Core::Filter& filter) {
    std::vector<Core::CommandProperty*> commands;
    for (Core::AbstractProperty* property : filter.getPropertyBag().getProperties()) {
        if (auto* command = dynamic_cast<Core::CommandProperty*>(property)) commands.push_back(command);
    }
    return commands;
}

void activate(Core::CommandProperty& command) {
    try {
        command.activate();
    } catch (const std::exception&) {
    } catch (...) {
        throw Fault(placeOf(command), "activating it raised something other than a std::exception",
                    "a refusal is an exception of the POCO family");
    }
}

}  // namespace

void activateCommands(Core::Filter& filter) {
    for (Core::CommandProperty* command : commandsOf(filter)) activate(*command);
}

void activateOne(Core::Filter& filter, RecordingIO::Random& random) {
    const auto commands = commandsOf(filter);
    if (!commands.empty()) activate(*commands[random.bits() % commands.size()]);
}

void writeOne(Core::Filter& filter, RecordingIO::Random& random) {
    const auto properties = valueProperties(filter);
    if (properties.empty()) return;
    Core::AbstractProperty& property = *properties[random.bits() % properties.size()];
    const std::vector<std::string> texts = plausibleTexts(filter, property);
    if (!texts.empty()) isTaken(property, texts[random.bits() % texts.size()]);
}

std::vector<Core::AbstractProperty*> valueProperties(const Core::Filter& filter) {
    std::vector<Core::AbstractProperty*> properties = filter.getPropertyBag().getProperties();
    std::erase_if(properties, [](const Core::AbstractProperty* property) { return !property->hasValue(); });
    return properties;
}

std::string placeOf(const Core::AbstractProperty& property) {
    return fmt::format("property \"{}\"", property.getName());
}

std::string shownText(const std::string& text) {
    constexpr std::size_t kMost = 60;
    std::string out;
    appendText(out, std::string_view(text).substr(0, kMost));
    return text.size() > kMost ? out + "..." : out;
}

}  // namespace Kavelin::Cli
