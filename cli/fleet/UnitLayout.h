#pragma once

#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Snapshot.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fleet/ResultLines.h"
#include "cli/fleet/UnitRecord.h"
#include "cli/fleet/UnitSource.h"
#include "cli/fuse/FuseLayout.h"
#include "cli/layout/LayoutBuilder.h"
#include "evaluation/Judge.h"

namespace Kavelin::Cli {

/// The layout of `kavelin fuse` for rows that come in batches, built once for all units with the same columns.
class UnitLayout {
public:
    /// @param options of the engine; @param isCalibrated the units have a calibration
    /// @throws UsageError and Poco exceptions for columns, settings or types that cannot be used
    UnitLayout(const FuseOptions& options, const Estimator& estimator, const RecordingIO::Schema& schema,
               bool isCalibrated);

    /// How the options have rows read.  @throws Poco::DataFormatException
    static RecordingIO::ReaderOptions readerOptions(const FuseOptions& options, const Estimator& estimator);

    /// Begins a unit.  @param calibration JSON text; empty: none  @throws Poco::DataFormatException
    void begin(const std::string& calibration);
    /// What a unit is that has just begun, without a calibration; the others are told by how they differ from it.
    const FreshState& fresh() const { return fresh_; }
    std::string save() const { return states_->save(); }
    /// @throws Poco::DataFormatException
    void restore(std::string_view bytes) { states_->restore(bytes); }

    UnitSource& source() { return *source_; }
    const ResultLines& result() const { return *result_; }
    /// Sends the row that the source has, and calls whom it reaches.
    void runRow() {
        source_->sendRow();
        layout_->runPending();
    }
    /// The rows of the result since they were dropped last.
    std::string rows() const { return std::string(result_->rows().view()); }
    void dropRows() { result_->rows().cut(0); }
    /// What went wrong in filters since this was asked last, a sentence each.
    std::vector<std::string> takeErrors();
    /// Empty where the attitude is not judged.
    std::optional<RecordingIO::Verdicts> verdicts() const;

private:
    void build();
    void attach(const Target& from, const std::string& pin);

    const FuseOptions options_;
    const Estimator& estimator_;
    Mistakes mistakes_;
    FuseLayout draft_;
    // Like the draft, before the builder, whose layout borrows them.
    std::unique_ptr<UnitSource> source_;
    std::unique_ptr<ResultLines> result_;
    std::unique_ptr<LayoutBuilder> builder_;
    Core::LayoutManager* layout_ = nullptr;
    std::optional<Core::StreamStates> states_;
    FreshState fresh_;
};

}  // namespace Kavelin::Cli
