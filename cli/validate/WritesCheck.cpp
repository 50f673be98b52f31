#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Typed/Matrix.h>

#include <charconv>
#include <limits>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

struct ChangeCount : Core::PropertyObserver {
    void valueChanged(const Core::AbstractProperty&) override { ++count; }
    int count = 0;
};

struct NoSuchType {};

/// A write under observation, by whatever means.
class Write {
public:
    Write(Core::AbstractProperty& property, std::string what)
        : property_(property), what_(std::move(what)), before_(property.exactText()) {
        property.addObserver(told_);
    }
    ~Write() { property_.removeObserver(told_); }
    Write(const Write&) = delete;
    Write& operator=(const Write&) = delete;

    void requireWhole(bool isTaken) const {
        const std::string now = property_.exactText();
        if (!isTaken && now != before_)
            fault("was refused, and the value is now " + shownText(now),
                  "the old value, " + shownText(before_));
        if (!isTaken && told_.count > 0)
            fault("was refused, and observers were told of a change", "not to tell them");
        if (now != before_ && told_.count == 0)
            fault("was taken, and observers were not told", "to tell them of a change");
        if (isTaken && !property_.isWritable())
            fault("was taken although the property is not writable", "Poco::NoPermissionException");
        if (isTaken) requireInRange(now);
    }

private:
    [[noreturn]] void fault(const std::string& wrong, const std::string& expected) const {
        throw Fault(placeOf(property_), what_ + " " + wrong, expected);
    }
    void requireInRange(const std::string& now) const {
        const Core::PropertyDescription about = property_.describe();
        if (!about.minimum || !about.maximum) return;
        double value = 0.0, minimum = 0.0, maximum = 0.0;
        std::from_chars(now.data(), now.data() + now.size(), value);
        std::from_chars(about.minimum->data(), about.minimum->data() + about.minimum->size(), minimum);
        std::from_chars(about.maximum->data(), about.maximum->data() + about.maximum->size(), maximum);
        if (value < minimum || value > maximum) fault("was taken", *about.minimum + " to " + *about.maximum);
    }

    Core::AbstractProperty& property_;
    std::string what_, before_;
    ChangeCount told_;
};

bool isTakenAny(Core::AbstractProperty& property, const Poco::Any& value, const std::string& what) {
    try {
        property.setAny(value);
        return true;
    } catch (const std::exception&) {
        return false;
    } catch (...) {
        throw Fault(placeOf(property), what + " raised something other than a std::exception",
                    "Poco::BadCastException");
    }
}

struct TypedRow {
    const char* what;
    Poco::Any value;
};

std::vector<TypedRow> typedValues() {
    return {{"a value of no known type", NoSuchType{}},
            {"nothing", Poco::Any()},
            {"the int 1", 1},
            {"the int -2147483648", std::numeric_limits<int>::min()},
            {"the double 0.5", 0.5},
            {"the double 1e308", 1e308},
            {"the double nan", std::numeric_limits<double>::quiet_NaN()},
            {"the bool true", true},
            {"an unsigned int", 4000000000u},
            {"a text", std::string("a text")},
            {"a matrix without elements", Core::Matrix()},
            {"a matrix of 3x3", Core::Matrix(Core::Matrix::Constant(3, 3, 1e300))}};
}

void writeOne(Subject& subject, Core::AbstractProperty& property, const std::string& text) {
    const std::string what = "writing " + shownText(text);
    subject.at("property \"{}\", {}", property.getName(), what);
    const Write write(property, what);
    write.requireWhole(isTaken(property, text));
}

void writeWrongTypes(Subject& subject, Core::AbstractProperty& property) {
    for (const TypedRow& row : typedValues()) {
        subject.at("property \"{}\", writing {}", property.getName(), row.what);
        const Write write(property, std::string("writing ") + row.what);
        const bool taken = isTakenAny(property, row.value, row.what);
        write.requireWhole(taken);
        const bool isOfNoType = row.value.empty() || row.value.type() == typeid(NoSuchType);
        if (taken && isOfNoType)
            throw Fault(placeOf(property), std::string(row.what) + " was taken", "Poco::BadCastException");
    }
}

void requireCommand(Core::AbstractProperty& command) {
    if (isTakenAny(command, std::string("1"), "a text"))
        throw Fault(placeOf(command), "a command took a value", "a refusal: commands are activated");
}

}  // namespace

void checkWrites(Subject& subject) {
    const Core::FilterPtr filter = subject.make();
    if (filter->getPropertyBag().getProperties().empty()) throw Skip("it has no properties");
    FilterRig rig(subject, *filter);
    rig.keepSent(false);
    const auto rows = simulatedRows(2.0, 50.0, 1);
    const std::vector<std::string> hostile = hostileTexts();
    std::size_t row = 0;
    const auto goOn = [&] {
        subject.at("{}; then sample {}", subject.step(), row % rows.size() + 1);
        rig.connectNew();
        rig.feed(rows[row++ % rows.size()], {});
    };
    for (Core::AbstractProperty* property : filter->getPropertyBag().getProperties()) {
        if (!property->hasValue()) {
            requireCommand(*property);
            continue;
        }
        writeWrongTypes(subject, *property);
        goOn();
    }
    const auto properties = valueProperties(*filter);
    for (int i = 0; i < 300 && !properties.empty(); ++i) {
        Core::AbstractProperty& property = *properties[subject.random().bits() % properties.size()];
        std::vector<std::string> texts = plausibleTexts(*filter, property);
        texts.insert(texts.end(), hostile.begin(), hostile.end());
        writeOne(subject, property, texts[subject.random().bits() % texts.size()]);
        if (i % 10 == 9) activateCommands(*filter);
        goOn();
    }
}

}  // namespace Kavelin::Cli
