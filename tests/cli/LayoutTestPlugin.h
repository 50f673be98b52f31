#pragma once

#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Plugin.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/FilterFactory.h>
#include <Kavelin/Typed/FilterKit.h>

#include <csignal>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::Tests {

using namespace OrientationInternal;

/// What the test filters did, in order: samples that a sink took, commands that were activated.
struct TestLog {
    static std::vector<std::string>& lines() {
        static std::vector<std::string> log;
        return log;
    }
    static void add(const std::string& line) {
        static std::mutex mutex;
        const std::lock_guard lock(mutex);
        lines().push_back(line);
    }
};

/// Sends its row's number (1x1) on "out", a row every "Period" seconds from 0.
class TestSource : public Filter, public Core::Source {
public:
    static constexpr const char* kTypeName = "TestSource";
    explicit TestSource(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }
    void process() override {
        out_.value()(0, 0) = sent_;
        if (sent_ == interruptAt_.value()) std::raise(SIGINT);
        const double t = nextTimeStamp();
        ++sent_;
        out_.send(t);
    }
    double nextTimeStamp() const override { return sent_ * period_.get(); }
    bool atEnd() const override { return sent_ >= rows_.get(); }

private:
    void onFile() {
        if (file_.get().ends_with("missing.csv"))
            throw Poco::FileNotFoundException("There is no file " + file_.get());
    }
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    OutputPin<Matrix> other_{"other", this, Matrix::Zero(1, 1)};
    RangeProperty<int> rows_{"Rows", this, {.minimum = 0, .maximum = 10, .step = 1, .value = 3, .unit = ""}};
    ValueProperty<double> period_{"Period", this, 1.0};
    FileNameProperty file_{"File Name", this, "", "*.csv", handler(this, &TestSource::onFile)};
    ValueProperty<int> interruptAt_{"Interrupt At", this, -1};  // raises SIGINT while it sends this row
    int sent_ = 0;
};

/// Sends "in" times "Gain"; in the mode "fails" it raises at every odd value, in the
/// mode "greedy" it reads all that there is.
class TestScale : public Filter {
public:
    static constexpr const char* kTypeName = "TestScale";
    explicit TestScale(const std::string& name) : Filter(name, true) { fixed_.setWritable(false); }
    std::string typeName() const override { return kTypeName; }
    void process() override {
        if (!in_.readNext()) return;
        do sendScaled();
        while (mode_.value() == 2 && in_.readNext());
    }

private:
    void sendScaled() {
        const double value = in_.value()(0, 0);
        if (mode_.value() == 1 && static_cast<int>(value) % 2 == 1) throw Poco::RuntimeException("odd value");
        out_.value()(0, 0) = gain_.value() * value;
        out_.send(in_.lastTimeStamp());
    }
    void onReset() {
        if (!use_.get()) throw Poco::IllegalStateException("nothing to reset");
        TestLog::add(getName() + " reset, gain " + std::to_string(static_cast<int>(gain_.get())));
    }
    InputPin<Matrix> in_{"in", this};
    InputPin<Matrix> second_{"second", this};  // never read
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    ValueProperty<double> gain_{"Gain", this, 1.0};
    EnumProperty<std::string> mode_{"Mode", this, {"plain", "fails", "greedy"}, 0};
    ValueProperty<Matrix> weights_{"Weights", this, Matrix::Identity(2, 2)};
    ValueProperty<bool> use_{"Use", this, true};
    ValueProperty<unsigned> count_{"Count", this, 7};
    ValueProperty<std::string> text_{"Text", this, "a \"b\""};
    ValueProperty<int> fixed_{"Fixed", this, 1};
    CommandProperty reset_{"Reset", this, handler(this, &TestScale::onReset)};
};

/// Logs what arrives; makes the input pins that connections ask for.
class TestSink : public Filter {
public:
    static constexpr const char* kTypeName = "TestSink";
    explicit TestSink(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }
    void process() override {
        for (const auto& pin : pins_)
            if (pin->readNext())
                TestLog::add(getName() + ":" + pin->getName() + " " +
                             std::to_string(pin->lastTimeStamp()).substr(0, 3) + " " +
                             std::to_string(pin->value()(0, 0)).substr(0, 3));
    }

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override {
        return pins_.emplace_back(std::make_unique<InputPin<Matrix>>(pinName, this)).get();
    }

private:
    std::vector<std::unique_ptr<InputPin<Matrix>>> pins_;
};

/// Installs the test filters while it lives.
class TestPlugin : public Core::DefaultPlugin {
public:
    TestPlugin() : DefaultPlugin("TestPlugin", "1.0") {
        addFactory(std::make_unique<Core::FilterFactory<TestSource>>(*this));
        addFactory(std::make_unique<Core::FilterFactory<TestScale>>(*this));
        addFactory(std::make_unique<Core::FilterFactory<TestSink>>(*this));
        Core::FlowManager::instance().getPluginManager().installPlugin(*this);
        TestLog::lines().clear();
    }
    ~TestPlugin() override { Core::FlowManager::instance().getPluginManager().uninstallPlugin(*this); }
};

}  // namespace Kavelin::Tests
