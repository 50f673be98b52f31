#include "cli/validate/FilterRig.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/Source.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Kavelin::Cli {

using Core::Matrix;

std::span<const Buffering> bufferKinds() {
    static constexpr unsigned kQueue = Core::AbstractInputPin::kDefaultBufferSize;
    static const Buffering kKinds[] = {
        {},
        {"simple LIFO", {.lifo = true, .direct = true}},
        {"simple single value", {.bufferSize = 1, .direct = true}},
        {"thread-safe FIFO", {.bufferSize = kQueue}},
        {"thread-safe LIFO", {.bufferSize = kQueue, .lifo = true}},
        {"thread-safe single value", {.bufferSize = 1}},
        {"synchronized FIFO", {.bufferSize = kQueue, .synchronous = true}, true},
        {"synchronized LIFO", {.bufferSize = kQueue, .lifo = true, .synchronous = true}, true},
        {"synchronized single value", {.bufferSize = 1, .synchronous = true}, true},
    };
    return kKinds;
}

/// Hears what one output pin sends, in the moment of sending.
class FilterRig::Listener : public Core::InputPin<Matrix> {
public:
    Listener(FilterRig& rig, const Core::AbstractOutputPin& output)
        : Pin(output.getName(), nullptr),
          Core::InputPin<Matrix>(output.getName(), nullptr),
          rig_(rig),
          output_(output) {}
    void receive(const Core::TimeStampedData<Matrix>& sample) override { rig_.note(output_, sample); }

private:
    FilterRig& rig_;
    const Core::AbstractOutputPin& output_;
};

namespace {

bool carriesMatrices(const Core::Pin& pin) {
    return std::strcmp(pin.payloadType(), Core::PayloadName<Matrix>::value) == 0;
}

bool hasUsualShape(Core::PinContent content, const Matrix& sample) {
    content.takes = nullptr;
    return content.fits({sample.rows(), sample.cols()});
}

}  // namespace

FilterRig::FilterRig(const Subject& subject, Core::Filter& filter, const Buffering& buffering)
    : subject_(subject), filter_(filter), buffering_(buffering) {
    if (buffering.inLayout) {
        layout_ = std::make_unique<Core::LayoutManager>("validate");
        layout_->add(filter);
    }
    // Nothing else can come while process runs: a reader with an empty pin must not wait.
    filter.getSynchronizer()->setIsFed(false);
    connectNew();
}

FilterRig::~FilterRig() {
    feeders_.clear();
    listeners_.clear();
}

void FilterRig::connectNew() {
    for (Core::AbstractInputPin* input : filter_.getInputPins()) {
        if (input->getConnectedOutput() != nullptr || !carriesMatrices(*input)) continue;
        const bool isOptional = !input->getIsBlocking();
        feeders_.push_back({describeFed(input->getName(), input->content(), isOptional),
                            std::make_unique<Core::OutputPin<Matrix>>(input->getName(), nullptr)});
        Core::connect(*feeders_.back().pin, *input, buffering_.options);
    }
    for (Core::AbstractOutputPin* output : filter_.getOutputPins()) {
        const std::vector<Core::AbstractInputPin*> attached = output->getAttachedInputs();
        if (!carriesMatrices(*output) || std::any_of(attached.begin(), attached.end(), [this](auto* input) {
                return std::any_of(listeners_.begin(), listeners_.end(),
                                   [input](const auto& own) { return own.get() == input; });
            }))
            continue;
        listeners_.push_back(std::make_unique<Listener>(*this, *output));
        Core::connect(*output, *listeners_.back(), {.direct = true});
    }
}

void FilterRig::send(std::size_t input, double t, Matrix& sample) {
    Core::OutputPin<Matrix>& pin = *feeders_[input].pin;
    if (!pin.isAttached()) return;
    if (!hasUsualShape(feeders_[input].fed.content, sample)) isFedAsDeclared_ = false;
    pin.value().swap(sample);
    pin.send(t);
}

void FilterRig::process() {
    const auto* source = dynamic_cast<const Core::Source*>(&filter_);
    ++calls_;
    try {
        if (source != nullptr && source->atEnd()) return;
        filter_.processOnce();
    } catch (const std::exception& error) {
        ++raisedCount_;
        raised_ = Core::exceptionType(error) + ": " + Core::exceptionMessage(error);
    } catch (...) {
        throw Fault(subject_.step(), "process raised something other than a std::exception",
                    "an exception of the POCO family, or none");
    }
    if (misfit_.pin != nullptr) requireDeclared();
}

void FilterRig::feed(const RecordingIO::SimulatedRow& row, const Feeding& feeding) {
    for (std::size_t i = 0; i < feeders_.size(); ++i) {
        const Fed& fed = feeders_[i].fed;
        if (!feeding.takes(fed)) continue;
        Matrix sample = usualSample(fed, row, feeding.shapeOf(fed));
        send(i, row.t, sample);
    }
    process();
}

void FilterRig::note(const Core::AbstractOutputPin& pin, const Core::TimeStampedData<Matrix>& sample) {
    ++sentCount_;
    if (isFedAsDeclared_ && misfit_.pin == nullptr && !hasUsualShape(pin.content(), sample.value))
        misfit_ = {&pin, {sample.value.rows(), sample.value.cols()}};
    if (keepsSent_ && sent_.size() < kMostKept)
        sent_.push_back({&pin, sample.timeStamp, sample.value, calls_});
}

void FilterRig::requireDeclared() {
    throw Fault(subject_.step(),
                fmt::format("output pin \"{}\" sent {}x{}", misfit_.pin->getName(), misfit_.shape.rows,
                            misfit_.shape.cols),
                "what the pin declares, " + Core::shapeText(misfit_.pin->content().shape));
}

void FilterRig::requireCounts() const {
    for (const Core::AbstractInputPin* input : filter_.getInputPins()) {
        const Core::PinCounts c = input->getCounts();
        if (c.put == c.taken + c.dropped + c.discarded + c.buffered) continue;
        throw Fault(fmt::format("{}: input pin \"{}\"", subject_.step(), input->getName()),
                    fmt::format("{} samples put, {} taken, {} dropped, {} discarded, {} still buffered",
                                c.put, c.taken, c.dropped, c.discarded, c.buffered),
                    "as many put as the others together");
    }
}

void feedRows(FilterRig& rig, const std::vector<RecordingIO::SimulatedRow>& rows, const Feeding& feeding,
              const Subject& subject) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        subject.at("sample {} of a simulated motion", i + 1);
        rig.feed(rows[i], feeding);
    }
}

std::string placeOf(const SentSample& sample) {
    return fmt::format("output pin \"{}\", call {} of process", sample.pin->getName(), sample.call);
}

namespace {

std::string shown(const Matrix& value) {
    std::string text = fmt::format("{}x{}:", value.rows(), value.cols());
    for (Eigen::Index i = 0; i < std::min<Eigen::Index>(value.size(), 9); ++i)
        text += fmt::format(" {}", value.data()[i]);
    return text;
}

bool isSame(const Matrix& a, const Matrix& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() &&
           std::memcmp(a.data(), b.data(), sizeof(double) * static_cast<std::size_t>(a.size())) == 0;
}

bool isSameTime(const SentSample& a, const SentSample& b) {
    return a.pin->content().isWallClockStamped || std::memcmp(&a.t, &b.t, sizeof a.t) == 0;
}

}  // namespace

void requireSameBits(const std::vector<SentSample>& expected, const std::vector<SentSample>& got,
                     const std::string& what) {
    for (std::size_t i = 0; i < std::min(expected.size(), got.size()); ++i) {
        const SentSample &a = expected[i], &b = got[i];
        if (a.call != b.call || a.pin->getName() != b.pin->getName())
            throw Fault(placeOf(b), what + " sent this", "what the other sent: " + placeOf(a));
        if (!isSameTime(a, b))
            throw Fault(placeOf(b), fmt::format("{} sent it with time stamp {}", what, b.t),
                        fmt::format("the other's, {}", a.t));
        if (!isSame(a.value, b.value))
            throw Fault(placeOf(b), what + " sent " + shown(b.value), "the other's bits, " + shown(a.value));
    }
    if (expected.size() != got.size())
        throw Fault({}, fmt::format("{} sent {} samples", what, got.size()),
                    fmt::format("as many as the other, {}", expected.size()));
}

}  // namespace Kavelin::Cli
