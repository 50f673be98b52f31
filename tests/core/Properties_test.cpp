#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Typed/FilterKit.h>

#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

enum class Colour { kRed, kGreen };

/// Everything a filter can declare, each handler noting what it heard.
struct Settings : Filter {
    Settings() : Filter("settings", true) {}
    void process() override {}
    std::string typeName() const override { return "Settings"; }

    void onNumber(const double& value) {
        heard.push_back("number " + streamed(value));
        if (refuse) throw Poco::DataFormatException("no");
    }
    void onColour(const Colour& value) { heard.push_back(value == Colour::kGreen ? "green" : "other"); }
    void onLeft(const double& value) {
        heard.push_back("left");
        right.set(1 - value);
    }
    void load() {
        heard.push_back("load " + file.get());
        if (refuse) throw Poco::IOException("no such file");
    }
    void press() { heard.push_back("pressed"); }

    std::vector<std::string> heard;
    bool refuse = false;

    RangeProperty<int> count{
        "count", this, {.minimum = 0, .maximum = 10, .step = 1, .value = 3, .unit = "s"}};
    RangeProperty<double> number{"number",
                                 this,
                                 {.minimum = -1, .maximum = 1, .step = 0.01, .value = 0.5},
                                 handler(this, &Settings::onNumber)};
    RangeProperty<double> right{"right", this, {.minimum = 0, .maximum = 1, .step = 0.1, .value = 1}};
    RangeProperty<double> left{"left",
                               this,
                               {.minimum = 0, .maximum = 1, .step = 0.1, .value = 0},
                               handler(this, &Settings::onLeft)};
    ValueProperty<bool> flag{"flag", this, true};
    ValueProperty<unsigned> size{"size", this, 7u};
    ValueProperty<std::string> text{"text", this, "plain"};
    ValueProperty<Matrix> matrix{"matrix", this, Matrix::Identity(2, 2)};
    EnumEnumProperty<Colour, std::string> colour{
        "colour", this, {"red", "green"}, 0, handler(this, &Settings::onColour)};
    FileNameProperty file{"file", this, "${KAVELIN_TEST_DIR}/a.par", "*.par", handler(this, &Settings::load)};
    CommandProperty button{"button", this, handler(this, &Settings::press)};
};

struct Listener : PropertyObserver {
    void valueChanged(const AbstractProperty& p) override {
        std::string text;
        p.serialize(text);
        heard.push_back(p.getName() + "=" + text);
    }
    void attributeChanged(const AbstractProperty& p) override { heard.push_back(p.getName() + " attribute"); }
    std::vector<std::string> heard;
};

TEST(Properties, RefusalsNameValueAndBounds) {
    Settings s;
    const auto write = [&](const char* property, const char* text) {
        return outcome([&] { s.getPropertyBag().get(property).deSerialize(text); });
    };
    EXPECT_EQ(write("count", "12"), "Poco::RangeException: 12 does not fit in [0;10], (step : 1)");
    EXPECT_EQ(write("number", "1.25"), "Poco::RangeException: 1.25 does not fit in [-1;1], (step : 0.01)");
    EXPECT_EQ(write("count", "0"), "accepted");
    EXPECT_EQ(write("count", "10"), "accepted");
    EXPECT_EQ(write("count", "x"), "Poco::DataFormatException: 'x' is no int");
    EXPECT_EQ(write("count", "99999999999"), "Poco::DataFormatException: '99999999999' is no int");
    EXPECT_EQ(write("flag", "true"), "Poco::DataFormatException: 'true' is no bool");
    EXPECT_EQ(write("flag", "0"), "accepted");
    EXPECT_EQ(write("colour", "blue"),
              "Poco::DataFormatException: 'blue' is no label of 'colour'; there are 'red', 'green'");
    EXPECT_EQ(write("colour", "2"), "Poco::RangeException: ");
    EXPECT_EQ(write("colour", "1"), "accepted");
    EXPECT_EQ(write("colour", "-1"), "accepted");
    std::string text;
    s.colour.serialize(text);
    EXPECT_EQ(text, "-1");
    s.count.setWritable(false);
    EXPECT_EQ(write("count", "99"), "Poco::NoPermissionException: Property 'count' is not writable");
    EXPECT_EQ(s.count.get(), 10);
    EXPECT_EQ(outcome([&] { s.number.setAny(Poco::Any(1)); }),
              "Poco::BadCastException: RefAnyCast: Failed to convert between const Any types");
    EXPECT_THAT(outcome([&] { s.getPropertyBag().get("nmber"); }), HasSubstr("'count', 'number'"));
}

TEST(Properties, TheHandlerRunsBeforeTheRangeTestAndBeforeTheValueIsThere) {
    Settings s;
    Listener listener;
    s.number.addObserver(listener);
    EXPECT_THROW(s.number.set(5), Poco::RangeException);
    EXPECT_THAT(s.heard, ElementsAre("number 5"));
    s.refuse = true;
    EXPECT_THROW(s.number.set(0.25), Poco::DataFormatException);
    EXPECT_EQ(s.number.get(), 0.5);
    EXPECT_TRUE(listener.heard.empty()) << "a refused value is not heard of";
    s.refuse = false;
    s.number.set(0.25);
    s.number.set(0.25);  // the same again: the handler runs, observers hear nothing
    EXPECT_THAT(s.heard, ElementsAre("number 5", "number 0.25", "number 0.25", "number 0.25"));
    EXPECT_THAT(listener.heard, ElementsAre("number=0.25"));
    s.number.set(std::numeric_limits<double>::quiet_NaN());  // neither below nor above
    EXPECT_TRUE(std::isnan(s.number.get()));
}

TEST(Properties, AHandlerMayWriteAnotherPropertyOfItsFilter) {
    Settings s;
    Listener listener;
    s.getPropertyBag().addObserver(listener);
    s.left.set(0.3);
    EXPECT_THAT(listener.heard, ElementsAre("right=0.7", "left=0.3"));
    s.getPropertyBag().removeObserver(listener);
    s.left.set(0.4);
    EXPECT_EQ(listener.heard.size(), 2u);
}

TEST(Properties, AnEnumHandsOnEachAcceptedValue) {
    Settings s;
    s.colour.deSerialize("green");
    EXPECT_THROW(s.colour.set(2), Poco::RangeException);
    s.colour.set(0);
    EXPECT_THAT(s.heard, ElementsAre("green", "other"));
    Listener listener;
    s.colour.addObserver(listener);
    s.colour.setLabels({});
    s.colour.set(99);
    EXPECT_THAT(listener.heard, ElementsAre("colour attribute", "colour=99"));
}

TEST(Properties, AFileThatCannotBeLoadedIsRefused) {
    ::setenv("KAVELIN_TEST_DIR", "/here", 1);
    Settings s;
    Listener listener;
    s.file.addObserver(listener);
    EXPECT_TRUE(s.heard.empty()) << "the default loads nothing";
    s.refuse = true;
    EXPECT_THROW(s.file.set("${KAVELIN_TEST_DIR}/b.par"), Poco::IOException);
    EXPECT_EQ(s.file.getRaw(), "${KAVELIN_TEST_DIR}/a.par");
    s.refuse = false;
    s.file.set("${KAVELIN_TEST_DIR}/c.par");
    EXPECT_THAT(s.heard, ElementsAre("load /here/b.par", "load /here/c.par"));
    EXPECT_THAT(listener.heard, ElementsAre("file=${KAVELIN_TEST_DIR}/c.par"));
}

TEST(Properties, SetRangeMovesAValueOutsideToTheMinimum) {
    Settings s;
    Listener listener;
    s.number.addObserver(listener);
    s.number.setRange(0.75, 2, 0.25);
    EXPECT_EQ(s.number.get(), 0.75);
    EXPECT_THAT(s.heard, ElementsAre("number 0.75"));
    EXPECT_THAT(listener.heard, ElementsAre("number=0.75", "number attribute"));
    s.refuse = true;
    EXPECT_THROW(s.number.setRange(5, 6, 1), Poco::DataFormatException);
    EXPECT_EQ(s.number.getMaximum(), 2) << "a refused move leaves the bounds";
    s.number.setWritable(false);
    s.number.setWritable(false);
    EXPECT_EQ(listener.heard.size(), 3u) << "writability is heard of, once";
}

TEST(Properties, ABoundLeftOutIsTheTypesAndADefaultOutsideMovesToTheMinimum) {
    RangeProperty<int> low{"low", nullptr, {.minimum = 3}};
    EXPECT_EQ(low.get(), 3);
    EXPECT_EQ(low.getMaximum(), std::numeric_limits<int>::max());
    RangeProperty<double> high{"high", nullptr, {.maximum = -1, .value = 5}};
    EXPECT_EQ(high.get(), std::numeric_limits<double>::lowest());
}

TEST(Properties, AnAnyRefersToTheValue) {
    Settings s;
    const Poco::Any any = s.matrix.getAny();
    s.matrix.set(Matrix::Zero(1, 1));
    EXPECT_EQ(Poco::RefAnyCast<std::reference_wrapper<const Matrix>>(any).get().size(), 1);
    for (const AbstractProperty* property : s.getPropertyBag().getProperties()) {
        if (!property->hasValue()) continue;
        const std::string before = property->exactText();
        const_cast<AbstractProperty*>(property)->setAny(property->getAny());
        EXPECT_EQ(property->exactText(), before);
    }
    s.count.setAny(Poco::Any(4));
    EXPECT_EQ(s.count.get(), 4);
}

TEST(Properties, SavedValuesComeBackExactly) {
    Settings s, other;
    s.number.set(0.1 + 0.2);
    s.matrix.set((Matrix(1, 6) << 1.0 / 3, 1e-300, -0.0, kNaN, kInfinity, -kInfinity).finished());
    s.colour.deSerialize("green");
    s.text.set("two words = here");
    s.flag.set(false);
    s.count.set(9);
    const PropertyBag::SavedValues saved = s.getPropertyBag().save();
    EXPECT_EQ(saved.size(), 10u) << "all but the command";
    Listener listener;
    other.getPropertyBag().addObserver(listener);
    other.getPropertyBag().restore(saved);
    EXPECT_EQ(other.number.get(), 0.1 + 0.2);
    EXPECT_TRUE(std::signbit(other.matrix.get()(0, 2)));
    EXPECT_EQ(other.getPropertyBag().save(), saved);
    EXPECT_THAT(listener.heard, testing::Contains("colour=green"));
    s.number.set(kNaN);
    other.getPropertyBag().restore(s.getPropertyBag().save());
    EXPECT_TRUE(std::isnan(other.number.get()));
    for (const char* text : {"nan", "inf", "-inf"}) {
        EXPECT_THROW(other.number.deSerialize(text), Poco::DataFormatException)
            << "a text form is a stream's";
        EXPECT_THROW(other.matrix.deSerialize(std::string("1 1 ") + text), Poco::DataFormatException);
    }
}

TEST(Properties, RestoreSetsWhatItCanAndNamesWhatItCannot) {
    Settings s;
    EXPECT_THAT(outcome([&] {
                    s.getPropertyBag().restore({{"count", "8"}, {"nonsense", "1"}});
                }),
                HasSubstr("no property 'nonsense'"));
    EXPECT_EQ(s.count.get(), 3) << "an unknown name changes nothing";
    struct Thrower {
        void raise(const bool&) { throw std::out_of_range("odd"); }
    } thrower;
    s.flag.setHandler(handler(&thrower, &Thrower::raise));
    EXPECT_THAT(outcome([&] {
                    s.getPropertyBag().restore({{"number", "7"}, {"flag", "0"}, {"count", "8"}});
                }),
                AllOf(HasSubstr("'number' refuses '7'"), HasSubstr("'flag' refuses '0': odd")));
    EXPECT_EQ(s.count.get(), 8);
}

TEST(Properties, VisitorsFindTheirOwnKind) {
    struct : Util::System::AbstractVisitor,
             Util::System::Visitor<RangeProperty<int>>,
             Util::System::Visitor<ValueProperty<double>>,
             Util::System::Visitor<EnumProperty<std::string>>,
             Util::System::Visitor<CommandProperty> {
        void visit(const RangeProperty<int>& p) override { seen += p.getName() + " range;"; }
        void visit(const ValueProperty<double>& p) override { seen += p.getName() + " double;"; }
        void visit(const EnumProperty<std::string>& p) override { seen += p.getName() + " enum;"; }
        void visit(const CommandProperty& p) override { seen += p.getName() + " command;"; }
        void visitOther(const Util::System::AbstractVisitable&) override { seen += "other;"; }
        std::string seen;
    } visitor;
    Settings s;
    for (const AbstractProperty* property :
         {static_cast<AbstractProperty*>(&s.count), static_cast<AbstractProperty*>(&s.number),
          static_cast<AbstractProperty*>(&s.colour), static_cast<AbstractProperty*>(&s.button),
          static_cast<AbstractProperty*>(&s.text)}) {
        property->accept(visitor);
    }
    EXPECT_EQ(visitor.seen, "count range;number double;colour enum;button command;other;");
}

TEST(Properties, AFunctorOwnsWhatItCallsAndCopiesIt) {
    Settings s;
    auto press = handler(&s, &Settings::press);
    const auto copy = press;
    press = {};
    EXPECT_FALSE(press);
    copy();
    EXPECT_THAT(s.heard, ElementsAre("pressed"));
}

TEST(TextForms, MatricesByRows) {
    using Form = TextForm<Matrix>;
    const auto read = [](const char* text) -> std::string {
        std::string result;
        const std::string refusal = outcome([&] { result = Form::write(Form::read(text)); });
        return refusal == "accepted" ? result : refusal.substr(0, refusal.find(": "));
    };
    const std::pair<const char*, const char*> rows[] = {
        {"2 2 1 2 3 4", "2 2 1 2 3 4"},
        {" 1\n3\t1 2 3", "1 3 1 2 3"},
        {"0 0", "0 0"},
        {"-1 0", "0 0"},
        {"-3 -5 1 2", "0 0"},
        {"0 3", "0 3"},
        {"2 2 1 2", "2 2 1 2 0 0"},                // what is missing is 0
        {"1 2 1 2 3 junk", "1 2 1 2"},             // what follows is ignored
        {"1 2 1 x", "Poco::DataFormatException"},  // an element that is not a number
        {"-1 3", "Poco::DataFormatException"},
        {"3 -1", "Poco::DataFormatException"},
        {"1.5 2 1 2", "Poco::DataFormatException"},
        {"2 2.5 1 2", "Poco::DataFormatException"},
        {"2", "Poco::DataFormatException"},
        {"", "Poco::DataFormatException"},
        {"4097 4096", "Poco::DataFormatException"},
        {"9223372036854775807 9223372036854775807", "Poco::DataFormatException"},
        {"99999999999999999999 1", "Poco::DataFormatException"},
        {"1 3 1e-7 123456789 0.1", "1 3 1e-07 123456789 0.1"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(read(text), expected) << text;
    EXPECT_EQ(Form::read("4096 4096").size(), 16777216) << "the most there can be";
}

TEST(TextForms, NumbersAsStreamsHaveThem) {
    EXPECT_EQ(TextForm<double>::write(1.0 / 3), "0.333333");
    EXPECT_EQ(TextForm<double>::exact(1.0 / 3), "0.3333333333333333");
    EXPECT_EQ(TextForm<double>::read(" 1e3x"), 1000.0) << "a stream stops where the number ends";
    EXPECT_EQ(TextForm<bool>::write(true), "1");
    EXPECT_THROW(TextForm<int>::read(""), Poco::DataFormatException);
}

}  // namespace
}  // namespace Kavelin::Core
