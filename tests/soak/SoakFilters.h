#pragma once

#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/FilterKit.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "soak/SoakCounts.h"

namespace Kavelin::Soak {

using namespace OrientationInternal;

/// First element of a sample whose other elements follow from its time stamp.
inline constexpr double kMark = 1234.5;

/// Sends the samples of a unit that turns slowly, and samples by which a reader can tell torn ones. Its time goes on from run
/// to run.
class SoakSource : public Filter, public Core::Source {
public:
    static constexpr const char* kTypeName = "SoakSource";
    SoakSource(const std::string& name, SoakCounts& counts) : Filter(name, true), counts_(counts) {}

    void process() override;
    std::string typeName() const override { return kTypeName; }
    double nextTimeStamp() const override { return static_cast<double>(row_.load()) * 0.01; }
    bool atEnd() const override {
        return interrupted_.load() || (mayEnd_.load() && row_.load() - begin_.load() >= length_.load());
    }
    void interrupt() override { interrupted_ = true; }
    void resume() override {
        begin_ = row_.load();
        interrupted_ = false;
    }
    /// @param rows of a run at least; it goes on until `setMayEnd`.  [no layout running]
    void setLength(std::uint64_t rows) {
        length_ = rows;
        mayEnd_ = false;
    }
    void setMayEnd() { mayEnd_ = true; }

private:
    OutputPin<Matrix> acceleration_{"3a", this, Core::kAcceleration};
    OutputPin<Matrix> rate_{"3g", this, Core::kRate};
    OutputPin<Matrix> field_{"3m", this, Core::kField};
    OutputPin<Matrix> mark_{"mark", this, Matrix::Zero(1, 4)};

    SoakCounts& counts_;
    std::atomic<std::uint64_t> row_{0}, begin_{0}, length_{0};
    std::atomic<bool> interrupted_{false}, mayEnd_{false};
};

/// Passes on what it reads, checks that samples are whole, and that no change of its properties is seen half done.
class SoakRelay : public Filter {
public:
    static constexpr const char* kTypeName = "SoakRelay";
    SoakRelay(const std::string& name, Failures& failures) : Filter(name, true), failures_(failures) {}

    void process() override;
    std::string typeName() const override { return kTypeName; }

private:
    void take(InputPin<Matrix>& pin);
    void onSetting(const int& value) {
        if (value >= kLeast && value <= kMost) half_ = value;  // others are refused after this
    }
    void onClear() { setting_.set(kLeast); }

    static constexpr int kLeast = 0, kMost = 100;

    InputPin<Matrix> a_{"a", this};
    InputPin<Matrix> b_{"b", this, NonBlocking{}};
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    RangeProperty<int> setting_{"Setting",
                                this,
                                {.minimum = kLeast, .maximum = kMost, .step = 1},
                                handler(this, &SoakRelay::onSetting)};
    ValueProperty<double> number_{"Number", this, 0.0};
    ValueProperty<bool> flag_{"Flag", this, false};
    ValueProperty<std::string> text_{"Text", this, ""};
    ValueProperty<Matrix> matrix_{"Matrix", this, Matrix()};
    EnumProperty<std::string> choice_{"Choice", this, {"one", "two", "three"}, 0};
    CommandProperty clear_{"Clear", this, handler(this, &SoakRelay::onClear)};

    int half_ = kLeast;  // what the handler made of the setting: with it, the whole change
    Failures& failures_;
};

}  // namespace Kavelin::Soak
