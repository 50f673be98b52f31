#include <Poco/Exception.h>

#include <algorithm>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using Core::Matrix;

/// A filter between two layouts and pins of no filter, which are connected and moved at random.
class Shuffle {
public:
    explicit Shuffle(Subject& subject) : subject_(subject), filter_(subject.make()) {
        for (Core::AbstractInputPin* input : filter_->getInputPins()) {
            fed_.push_back(describeFed(input->getName(), input->content(), !input->getIsBlocking()));
            writers_.push_back(std::make_unique<Core::OutputPin<Matrix>>(input->getName(), nullptr));
        }
        for (const Core::AbstractOutputPin* output : filter_->getOutputPins())
            readers_.push_back(std::make_unique<Core::InputPin<Matrix>>(output->getName(), nullptr));
    }
    ~Shuffle() {
        if (filter_ != nullptr) leaveLayout();
    }
    Shuffle(const Shuffle&) = delete;
    Shuffle& operator=(const Shuffle&) = delete;

    void step(const RecordingIO::SimulatedRow& row) {
        switch (below(6)) {
            case 0:
                connectInput(below(std::max<std::size_t>(writers_.size(), 1)));
                break;
            case 1:
                connectOutput(below(std::max<std::size_t>(readers_.size(), 1)));
                break;
            case 2:
                move();
                break;
            default:
                run(row);
        }
    }

private:
    std::size_t below(std::size_t count) { return subject_.random().bits() % count; }

    Core::ConnectionOptions anyOptions() {
        static constexpr unsigned kSizes[] = {0, 1, 2, 3, 1024};
        return {kSizes[below(std::size(kSizes))], below(2) == 0, below(2) == 0, below(2) == 0};
    }

    void connectInput(std::size_t i) {
        if (i >= writers_.size()) return;
        Core::AbstractInputPin& input = *filter_->getInputPins()[i];
        const bool ends = input.getConnectedOutput() != nullptr;
        subject_.at("{} input pin \"{}\"", ends ? "disconnecting" : "connecting", input.getName());
        if (!ends) return Core::connect(*writers_[i], input, anyOptions());
        requireTaken(input);
        Core::disconnect(input);
        Core::disconnect(input);
    }

    void connectOutput(std::size_t i) {
        if (i >= readers_.size()) return;
        Core::AbstractOutputPin& output = *filter_->getOutputPins()[i];
        const bool ends = readers_[i]->getConnectedOutput() != nullptr;
        subject_.at("{} output pin \"{}\"", ends ? "disconnecting" : "connecting", output.getName());
        if (ends) return Core::disconnect(*readers_[i]);
        Core::connect(output, *readers_[i], anyOptions());
    }

    /// An input that has a source takes no second one.
    void requireTaken(Core::AbstractInputPin& input) {
        Core::OutputPin<Matrix> second("second", nullptr);
        try {
            Core::connect(second, input);
        } catch (const Poco::ExistsException&) {
            return;
        }
        throw Fault(subject_.step(), "it took a second source", "Poco::ExistsException");
    }

    void leaveLayout() {
        if (Core::LayoutManager* layout = filter_->getManager()) layout->remove(*filter_);
    }
    void move() {
        const std::size_t to = below(3);
        subject_.at("moving it to layout {} of 2", to);
        leaveLayout();
        if (to > 0) layouts_[to - 1].add(*filter_);
    }

    void run(const RecordingIO::SimulatedRow& row) {
        for (std::size_t i = 0; i < writers_.size(); ++i) {
            if (!writers_[i]->isAttached()) continue;
            writers_[i]->value() = usualSample(fed_[i], row, fed_[i].shapes.front());
            subject_.at("sending to input pin \"{}\" at {} s", fed_[i].pin, row.t);
            writers_[i]->send(row.t);
        }
        subject_.at("process at {} s", row.t);
        filter_->getSynchronizer()->setIsFed(false);  // nothing comes while process runs
        try {
            filter_->processOnce();
        } catch (const std::exception&) {
        }
    }

    Subject& subject_;
    Core::LayoutManager layouts_[2]{Core::LayoutManager("one"), Core::LayoutManager("two")};
    std::vector<Fed> fed_;
    std::vector<std::unique_ptr<Core::OutputPin<Matrix>>> writers_;
    std::vector<std::unique_ptr<Core::InputPin<Matrix>>> readers_;
    Core::FilterPtr filter_;
};

}  // namespace

void checkConnections(Subject& subject) {
    const auto rows = simulatedRows(8.0, 50.0, 1);
    if (subject.make()->getPins().empty()) throw Skip("it has no pins");
    for (int trial = 0; trial < 3; ++trial) {
        Shuffle shuffle(subject);
        for (const RecordingIO::SimulatedRow& row : rows) shuffle.step(row);
    }
}

}  // namespace Kavelin::Cli
