#pragma once

#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/State.h>

#include <string>
#include <vector>

#include "io/recording/RowBuilder.h"
#include "io/recording/Schema.h"

namespace Kavelin::Cli {

/// Sends the rows of a unit as FilterCsvReader sends those of a recording: each pin with the row's time stamp, and a pin
/// without a value nothing. The rows come from outside, so no round calls it.
class UnitSource : public OrientationInternal::Filter, public Core::WithState<UnitSource> {
public:
    static constexpr unsigned kStateVersion = 1;

    UnitSource(const std::string& name, const RecordingIO::Schema& schema,
               const RecordingIO::ReaderOptions& options);

    void process() override {}
    std::string typeName() const override { return "UnitSource"; }

    const RecordingIO::Schema& schema() const { return schema_; }
    RecordingIO::RowBuilder& rows() { return rows_; }
    /// Sends the row that `rows` made last.  [layout thread]
    void sendRow();

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(rows_);
    }

private:
    using Output = OrientationInternal::OutputPin<Core::Matrix>;

    /// A channel that somebody may take.
    struct Lane {
        std::size_t channel;
        Output* pin;
    };

    Output acceleration_{"3a", this, Core::kAcceleration};
    Output rate_{"3g", this, Core::kRate};
    Output field_{"3m", this, inUnit(Core::kField, Core::kMicrotesla)};

    const RecordingIO::Schema schema_;
    RecordingIO::RowBuilder rows_;
    std::vector<Lane> lanes_;
};

}  // namespace Kavelin::Cli
