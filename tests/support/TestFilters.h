#pragma once

#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/OutputPin.h>

#include <functional>
#include <string>
#include <vector>

namespace Kavelin::Tests {

using Core::Matrix;

/// Adds filters to a layout, in this order.
template <class Layout, class... Filters>
void addTo(Layout& layout, Filters&... filters) {
    (layout.add(filters), ...);
}

/// Sends 1x1 samples first, first + step, ... below `end`, value and time stamp alike, on "out".
class CountingSource : public Core::Filter, public Core::Source {
public:
    CountingSource(const std::string& name, double end, double first = 0, double step = 1)
        : Filter(name, true), next_(first), end_(end), step_(step) {}
    void process() override {
        out.value()(0, 0) = next_;
        const double t = next_;
        next_ += step_;
        out.send(t);
    }
    std::string typeName() const override { return "CountingSource"; }
    double nextTimeStamp() const override { return next_; }
    bool atEnd() const override { return next_ >= end_; }

    Core::OutputPin<Matrix> out{"out", this, Matrix::Zero(1, 1)};

private:
    double next_, end_, step_;
};

/// Calls a function for each call of process; reads "a" and "b" only if the function does.
class ScriptedFilter : public Core::Filter {
public:
    using Script = std::function<void(ScriptedFilter&)>;
    ScriptedFilter(const std::string& name, Script script) : Filter(name, true), script_(std::move(script)) {}
    void process() override { script_(*this); }
    std::string typeName() const override { return "ScriptedFilter"; }

    Core::InputPin<Matrix> a{"a", this};
    Core::InputPin<Matrix> b{"b", this};
    Core::OutputPin<Matrix> out{"out", this, Matrix::Zero(1, 1)};

private:
    Script script_;
};

/// Passes what it reads on "a" to "out", and keeps the values.
class Relay : public ScriptedFilter {
public:
    explicit Relay(const std::string& name)
        : ScriptedFilter(name, [this](ScriptedFilter& self) {
              if (!self.a.readNext()) return;
              seen.push_back(self.a.value()(0, 0));
              self.out.value() = self.a.value();
              self.out.send(self.a.lastTimeStamp());
          }) {}
    std::vector<double> seen;
};

}  // namespace Kavelin::Tests
