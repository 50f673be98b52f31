#include "attitude/FilterAGMAttitude_v5.h"
#include "attitude/FilterAGMAttitude_v6.h"
#include "support/FilterTest.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

const Matrix kIdentity = Matrix::Identity(3, 3);
const Matrix kAcc = row({0, 0, 10});
const Matrix kMag = row({30, 0, 40});
const Matrix kStill = row({0, 0, 0});

// Thresholds that samples can meet exactly; an initialisation of 1 s.
const char* const kSettings =
    "[MIG]\n**XhatKK=1\n4 1 1 0 0 0\n**Pf=1\n4 4 .1 0 0 0 0 .1 0 0 0 0 .1 0 0 0 0 .1\n"
    "**Qd=1\n4 4 .01 0 0 0 0 .01 0 0 0 0 .01 0 0 0 0 .01\n**Rddyn=1\n3 3 100 0 0 0 100 0 0 0 100\n"
    "**Rdstat=1\n3 3 1 0 0 0 1 0 0 0 1\n"
    "[Resolution]\nalpha_A=1\nalpha_M=5\nalpha_C=1800\nT_setref=1\nT_A=0.5\nT_M=1\nQCoeff=0\n";

std::string with(const std::string& from, const std::string& to) {
    std::string text = kSettings;
    return text.replace(text.find(from), from.size(), to);
}

template <class F>
class FilterAGMAttitudeTest : public testing::Test {
protected:
    void feed(double t, const Matrix& acc = kAcc, const Matrix& mag = kMag, const Matrix& rate = kStill) {
        h_.feed("3a", t, acc);
        h_.feed("3m", t, mag);
        h_.feed("3g", t, rate);
    }
    /// Feeds one triple, and tells what was sent for it.
    const std::vector<Sent>& send(double t, const Matrix& acc = kAcc, const Matrix& mag = kMag,
                                  const Matrix& rate = kStill) {
        h_.clear();
        feed(t, acc, mag, rate);
        h_.process();
        return h_.sends();
    }
    void load(const std::string& text = kSettings) {
        h_.set("Settings File Name", folder_.write("a.par", text));
    }
    /// Loads, and passes the initialisation with two triples at 10 s; the next is the first that tracks.
    void start() {
        load();
        EXPECT_TRUE(send(10.0).empty());
        EXPECT_TRUE(send(10.5).empty());
    }
    double last(const std::string& pin) { return h_.sent(pin).back().value(0, 0); }
    /// Fifty triples of an unsteady motion, the same each time, and all that is sent for them.
    std::vector<Sent> motion(double from) {
        h_.clear();
        for (int i = 0; i < 50; ++i) {
            const double s = 0.2 * i;
            feed(from + s, row({std::sin(s), s / 9, 10}), row({30, std::cos(s), 40}),
                 row({0.1, 0.2 * s, -0.1}));
        }
        h_.process(50);
        return h_.sends();
    }

    TemporaryFolder folder_;
    FilterHarness<F> h_;
};

using Versions = testing::Types<FilterAGMAttitude_v5, FilterAGMAttitude_v6>;
TYPED_TEST_SUITE(FilterAGMAttitudeTest, Versions);

bool same(const std::vector<Sent>& a, const std::vector<Sent>& b, double shift) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [shift](const Sent& x, const Sent& y) {
        return x.pin == y.pin && std::abs(x.t + shift - y.t) < 1e-9 &&
               (x.value - y.value).cwiseAbs().maxCoeff() < 1e-9;
    });
}

// A row, a longer row and three columns are taken by their first three elements;
// the other five shapes are not.
std::vector<Matrix> shapesOf(const Matrix& v) {
    Matrix longer(1, 5), tall = Matrix::Constant(5, 3, 99.0);
    longer << v, 99, 99;
    tall.row(0) = v;
    return {v, longer, tall, v.transpose(), Matrix::Zero(2, 2), v.leftCols(2), Matrix(0, 3), Matrix()};
}

TYPED_TEST(FilterAGMAttitudeTest, ShapesByRows) {
    for (std::size_t shape = 0; shape < 8; ++shape) {
        SCOPED_TRACE(shape);
        this->start();
        const std::size_t all = this->h_.filter().getOutputPins().size();
        const std::size_t sends = shape < 3 ? all : 0;
        EXPECT_EQ(this->send(11.0, shapesOf(kAcc)[shape]).size(), sends);
        EXPECT_EQ(this->send(11.1, kAcc, shapesOf(kMag)[shape]).size(), sends);
        EXPECT_EQ(this->send(11.2, kAcc, kMag, shapesOf(kStill)[shape]).size(), sends);
        EXPECT_EQ(this->send(11.3).size(), all);
        EXPECT_THAT(this->h_.sent("attitude")[0].value, isSameRotationAs(kIdentity, 1e-12));
    }
}

TYPED_TEST(FilterAGMAttitudeTest, RefusedSettingsFileLeavesNameSettingsAndRun) {
    this->start();
    const std::string name = this->h_.get("Settings File Name");
    EXPECT_THROW(this->h_.set("Settings File Name", this->folder_.path("none.par")), Poco::IOException);
    EXPECT_THROW(this->load("[MIG]\n**Qd=1\n99999 99999 1\n"), std::bad_alloc);
    EXPECT_EQ(this->h_.get("Settings File Name"), name);
    EXPECT_FALSE(this->send(11.0).empty());
}

TYPED_TEST(FilterAGMAttitudeTest, UnusableSettingsAreSaidOnceAndDropTriplesUntilOthersAreLoaded) {
    const struct {
        const char* from;
        const char* to;
        const char* fault;
    } faults[] = {
        {"**Pf", "**P", "**Pf of section MIG is missing or no matrix, it must be 4x4"},
        {"4 1 1 0 0 0", "2 2 1 0 0 0", "**XhatKK of section MIG is 2x2, it must be 4x1"},
        {"3 3 100", "2 3 100", "**Rddyn of section MIG is 2x3, it must be 3x3"},
        {"**Rdstat=1", "**Rdstat=0", "**Rdstat of section MIG is missing or no matrix, it must be 3x3"}};
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.to);
        testing::internal::CaptureStdout();
        this->load(with(fault.from, fault.to));
        EXPECT_EQ(outcome([this] { this->send(10.0); }), "Poco::DataFormatException: Settings file '" +
                                                             this->h_.get("Settings File Name") +
                                                             "' cannot be used: " + fault.fault);
        for (int i = 1; i < 5; ++i) EXPECT_TRUE(this->send(10.0 + i).empty());
        this->h_.command("Ref");
        EXPECT_TRUE(this->send(20.0).empty());
        testing::internal::GetCapturedStdout();
        this->start();
        EXPECT_FALSE(this->send(11.0).empty());
    }
}

// The order is shape, load, elements: a row of two is a row, and loads.
TYPED_TEST(FilterAGMAttitudeTest, ASampleOfOneRowLoadsTheSettingsHoweverShortItIs) {
    const auto outcomeOf = [this](const Matrix& acc) { return outcome([&] { this->send(0.0, acc); }); };
    EXPECT_NE(outcomeOf(row({0, 0})).find("Poco::IOException"), std::string::npos);
    EXPECT_NE(outcomeOf(Matrix(0, 3)).find("Poco::IOException"), std::string::npos);
    EXPECT_EQ(outcomeOf(column({0, 0, 10})), "accepted");
}

TYPED_TEST(FilterAGMAttitudeTest, InitTimeFromTheFileWinsAndAChangeCountsAtOnce) {
    this->h_.set("Init time", "5");
    this->load();  // 1 s
    this->send(0.0);
    EXPECT_TRUE(this->send(0.999).empty());
    EXPECT_FALSE(this->send(1.0).empty());
    this->h_.set("Init time", "3");
    EXPECT_TRUE(this->send(2.0).empty());
    EXPECT_FALSE(this->send(3.0).empty());
    // Deliberate: a refused value was heard of before.
    EXPECT_THROW(this->h_.set("Init time", "11"), Poco::RangeException);
    EXPECT_TRUE(this->send(10.0).empty());
    EXPECT_FALSE(this->send(11.0).empty());
}

TYPED_TEST(FilterAGMAttitudeTest, WithoutInitTimeTheFirstTripleOnlyFixesTheReferences) {
    this->load();
    this->h_.set("Init time", "0");
    EXPECT_TRUE(this->send(5.0).empty());
    ASSERT_FALSE(this->send(5.1).empty());
    EXPECT_THAT(this->h_.sent("attitude")[0].value, isNearMatrix(kIdentity));
    // A field turned by a small angle about the vertical: v6 follows it, v5 lost its references and does not.
    for (int i = 0; i < 20; ++i) this->send(5.2 + 0.1 * i, kAcc, row({29.9, 2.4, 40}));
    const double followed = this->h_.sent("attitude").back().value(0, 1);
    if (this->h_.filter().typeName() == FilterAGMAttitude_v5::kTypeName) {
        EXPECT_EQ(followed, 0.0);
    } else {
        EXPECT_NEAR(followed, 2.4 / 29.9, 0.01);
    }
}

TYPED_TEST(FilterAGMAttitudeTest, ATurnOfTheGyroscopeIsSensorToReference) {
    this->load();
    this->h_.set("Init time", "0");
    this->send(0.0);
    const double turn = 0.5 * 0.2;  // a left turn of the sensor: the field turns right in its frame
    this->send(0.5, kAcc, row({30 * std::cos(turn), -30 * std::sin(turn), 40}), row({0, 0, 0.2}));
    const Matrix expected{
        {std::cos(turn), -std::sin(turn), 0}, {std::sin(turn), std::cos(turn), 0}, {0, 0, 1}};
    EXPECT_THAT(this->h_.sent("attitude")[0].value, isSameRotationAs(expected, 1e-6));
}

// |a x m|^2 is 10^2 30^2 = 90000 in the reference. A field along (30 - d, 0, ...) of the same norm makes the
// consistency test's value 90000 d / 30 = 3000 d, against a threshold of 1800.
Matrix shiftedField(double d) { return row({30 - d, 0, std::sqrt(2500 - (30 - d) * (30 - d))}); }

TYPED_TEST(FilterAGMAttitudeTest, FlagsAreStrictAndHeldAsTheSettingsSay) {
    struct Step {
        double t;
        Matrix acc, mag;
        double accFlag, magFlag;
    };
    const struct {
        const char* rule;
        std::vector<Step> steps;
    } rows[] = {
        {"an acceleration off by the threshold, and by more, for 0.5 s",
         {{11.0, row({0, 0, 11}), kMag, 0, 0},
          {11.1, row({0, 0, 11.01}), kMag, 1, 0},
          {11.5, kAcc, kMag, 1, 0},
          {11.7, kAcc, kMag, 0, 0}}},
        {"a field longer by the threshold, as far from gravity", {{11.0, kAcc, row({30, 10, 45}), 0, 0}}},
        {"and by more, for 1 s",
         {{11.0, kAcc, row({30, 10, 46}), 0, 1}, {11.9, kAcc, kMag, 0, 1}, {12.1, kAcc, kMag, 0, 0}}},
        {"a field consistent with gravity", {{11.0, kAcc, shiftedField(0.59), 0, 0}}},
        {"and not, which is not held", {{11.0, kAcc, shiftedField(0.61), 0, 1}, {11.1, kAcc, kMag, 0, 0}}},
        {"12 would make 1.44 times as much of it; it is flagged, and 10 used instead",
         {{11.0, row({0, 0, 12}), shiftedField(0.59), 1, 0}}},
    };
    for (const auto& r : rows) {
        this->start();
        for (const Step& step : r.steps) {
            this->send(step.t, step.acc, step.mag);
            EXPECT_EQ(this->last("flag_acc"), step.accFlag) << r.rule << " at " << step.t;
            EXPECT_EQ(this->last("flag_mag"), step.magFlag) << r.rule << " at " << step.t;
        }
    }
    this->start();
    this->send(11.0, row({0, 0, 11.01}), row({30, 10, 46}));
    EXPECT_THAT(this->h_.sent("3a_prop").back().value, isNearMatrix(row({0, 0, 1.01}), 1e-9));
    EXPECT_THAT(this->h_.sent("3pb_mag").back().value, isNearMatrix(row({0, 10, 6}), 1e-9));
    // Deliberate: a value exactly at the threshold counts as perturbed,
    // so a threshold of 0 flags every field.
    this->load(with("alpha_C=1800", "alpha_C=0"));
    this->send(10.0);
    this->send(11.0);
    EXPECT_EQ(this->last("flag_mag"), 1.0);
}

TYPED_TEST(FilterAGMAttitudeTest, RefGetsRidOfEveryTraceOfANotANumber) {
    this->load();
    const auto first = this->motion(100);
    ASSERT_FALSE(first.empty());
    const Matrix bad = row({kNaN, 1, 2});
    for (const double initTime : {0, 1}) {
        for (const double when : {200.0, 210.0}) {
            for (int pin = 0; pin < 4; ++pin) {
                this->h_.command("Ref");
                this->h_.set("Init time", std::to_string(static_cast<int>(initTime)));
                if (when == 210.0) this->motion(200);
                for (int i = 0; i < 3; ++i) {
                    this->send(pin == 3 ? kNaN : when, pin == 0 ? bad : kAcc, pin == 1 ? bad : kMag,
                               pin == 2 ? bad : kStill);
                }
                this->h_.set("Init time", "1");
                this->h_.command("Ref");
                EXPECT_TRUE(same(first, this->motion(300), 200)) << "pin " << pin << " at " << when;
            }
        }
    }
    this->load();
    EXPECT_TRUE(same(first, this->motion(400), 300)) << "a reload restarts too";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
