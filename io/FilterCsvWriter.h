#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

#include "io/RunParticipant.h"
#include "io/recording/TableWriter.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::AnyTime;
using OrientationInternal::FileNameProperty;
using OrientationInternal::Filter;
using OrientationInternal::handler;
using OrientationInternal::InputPin;
using OrientationInternal::Matrix;

/// Writes what it receives as a table: it makes an input pin of any name that a connection asks for, and each
/// pin has its columns (see TableWriter). Samples of any shape; of one pin, all of the shape of the first.
///
/// The file is created with the first sample, under a temporary name, and takes its own when the run is
/// completed, the file name changes or the filter goes. A sample of another shape and a disk without room are
/// exceptions out of `process`; after a failure to write, samples are taken and dropped.
class FilterCsvWriter : public Filter, public RunParticipant {
public:
    static constexpr const char* kTypeName = "FilterCsvWriter";

    explicit FilterCsvWriter(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    std::string resultFile() const override;  // [any thread, the layout not running]
    void checkRun() override;                 // [as resultFile]
    void prepareRun() override;               // [as resultFile]
    void completeRun() override;              // [as resultFile]

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    struct Column {
        explicit Column(const std::string& name, FilterCsvWriter* owner) : pin(name, owner, AnyTime{}) {}
        InputPin<Matrix> pin;
        TableWriter::Shape expected{0, 0};  // that of its source before the run
        bool waits = false;                 // a sample was taken and is not in the table yet
    };

    void openTable();
    void takeWaiting();
    std::size_t earliest() const;
    void write(std::size_t index);
    void onFileName();

    FileNameProperty fileName_{"File Name", this, "", "*.csv", handler(this, &FilterCsvWriter::onFileName)};

    std::vector<std::unique_ptr<Column>> inputs_;
    std::unique_ptr<TableWriter> table_;
    bool hasFailed_ = false;
};

}  // namespace Kavelin::RecordingIO
