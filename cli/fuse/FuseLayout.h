#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/fuse/EstimatorChain.h"
#include "cli/fuse/ResultWatch.h"
#include "evaluation/AttitudeErrors.h"
#include "io/recording/Schema.h"
#include "io/writing/TableFormat.h"

namespace Kavelin::Cli {

/// Hz, to which the result is resampled; 0: not at all. The rate of `--rate` is that of the recording's rows
/// where these have no time stamps, or only count packets. Raises UsageError where two rates are given for the result.
double resultRate(const FuseOptions& options, const RecordingIO::Schema& schema);

/// How the result is written. Raises Poco::InvalidArgumentException for a name whose ending is that of a format
/// that is not written.
RecordingIO::TableKind resultKind(const FuseOptions& options);

/// The layout of `kavelin fuse`, as a file might hold it:
///
///     recording --3a 3g 3m--> (calibration) --> estimator --attitude, flags--> result
///         |---> quality, static --scores--------------------->|
///         |---> verdict, errors <--attitude-- estimator
///
/// What follows "calibration" is fed by it, where there is one. In front of the result, "mount" turns the attitude into
/// that of a segment, "resample" gives the rows a rate of their own, and "form" gives the attitude the
/// form and the earth that are wanted.
///
/// It is made in two steps, as its parts depend on what the recording holds.
class FuseLayout : public EstimatorChain {
public:
    /// The recording and the estimator, with the settings that name them.
    /// @param estimator of the options' type
    FuseLayout(const FuseOptions& options, const Estimator& estimator, Mistakes& mistakes);

    /// Everything else. The recording is open and the estimator has its settings.
    /// @param alignment of the comparison with a reference; empty: none is compared
    void complete(const RecordingIO::Schema& schema, std::optional<RecordingIO::Alignment> alignment,
                  Mistakes& mistakes);

    /// Where the attitude comes from, and the flags and scores at its times.
    const Target& attitude() const { return attitude_; }
    /// The same before it became that of a segment: what a reference is compared with.
    const Target& estimate() const { return estimate_; }
    const std::vector<ResultWatch::Extra>& extras() const { return extras_; }
    bool bringsOneSampleARound() const { return isLent(chain_); }
    /// The name of what is recorded: of the sensor, or of the recording that holds it alone.
    std::string unit() const;
    /// Where an extra comes from.
    Target source(const std::string& extra) const;
    /// Hz, to which the result is resampled; 0 where its rows have the times of the recording's.
    double outputRate() const { return outputRate_; }
    /// The attitude of the rows that are written, before it is given its form, and the earth that the form has yet to
    /// give it; empty: none.
    const Target& written() const { return written_; }
    const std::string& frameToGive() const { return frameToGive_; }
    /// The flags and scores of these rows, and where one comes from.
    std::vector<ResultWatch::Extra> writtenExtras() const;
    Target writtenSource(const std::string& extra) const;
    /// The table that is written: where its rows' attitudes come from, the pin that takes them, and what FilterCsvWriter
    /// is told as "Header".
    struct Table {
        Target from;
        std::string rows;
        std::string header;
    };
    const Table& table() const { return table_; }

private:
    void applySettings(Mistakes& mistakes);

    void feedEstimator(const RecordingIO::Schema& schema);
    void addQuality(const RecordingIO::Schema& schema);
    void addStaticMode(const RecordingIO::Schema& schema);
    void addErrors(const RecordingIO::Schema& schema, RecordingIO::Alignment alignment);
    void arrangeRows();
    void addTable();
    void addResult();
    Target addForm(const char* name, const Target& from, AttitudeForm form, const std::string& frame);
    Target addResampler(const Target& from);

    const ChainNames chain_;
    std::vector<std::string> settings_;  // not yet applied
    double outputRate_ = 0.0;
    Target estimate_;
    Target attitude_;
    Target written_;
    bool isWrittenRow_ = false;  // a quaternion as 1x4
    std::string frameToGive_;
    Table table_;
    std::vector<ResultWatch::Extra> extras_;
};

}  // namespace Kavelin::Cli
