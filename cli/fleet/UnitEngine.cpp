#include "cli/fleet/UnitEngine.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "cli/CommandContext.h"
#include "cli/fleet/BatchRows.h"
#include "cli/fleet/UnitLayout.h"
#include "cli/fleet/UnitRecord.h"
#include "cli/fuse/FuseArguments.h"
#include "io/recording/ColumnNames.h"
#include "io/recording/TableWriter.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kMostKinds = 32;
constexpr std::size_t kMostRemarks = 10;
constexpr std::size_t kFirstTimes = 64;
constexpr std::size_t kMostExampleColumns = 1000;

/// What the rows of one stream of batches cannot have.
void requireUsable(const FuseOptions& options) {
    const std::pair<const char*, bool> refused[] = {{"--output-rate", options.outputRate > 0.0},
                                                    {"--rate", options.rate > 0.0},
                                                    {"--format", !options.format.empty()},
                                                    {"--dialect", !options.dialect.empty()},
                                                    {"--sensor", !options.sensor.empty()},
                                                    {"--time arrival", options.time == "arrival"},
                                                    {"--mount", !options.mount.empty()},
                                                    {"--calibration", !options.calibration.empty()},
                                                    {"--as sto", options.isSto}};
    for (const auto& [option, isGiven] : refused)
        if (isGiven) throw UsageError(std::string(option) + " is not for rows that come in batches");
}

/// Columns that rows may have: the usual ones, and those that a mapping names.  @throws Poco::DataFormatException
std::string exampleColumns(const std::string& mapping) {
    std::vector<std::string> columns = {"t", "ax", "ay", "az", "gx", "gy", "gz", "mx", "my", "mz"};
    const auto isThere = [&](const std::string& name) {
        return std::ranges::any_of(columns, [&](const std::string& column) {
            return RecordingIO::equalsIgnoringCase(column, name);
        });
    };
    if (!mapping.empty()) {
        for (const RecordingIO::MappingEntry& entry : RecordingIO::parseMapping(mapping)) {
            for (const std::string& name : entry.columns) {
                const std::size_t number = name.starts_with('#') ? std::strtoul(&name[1], nullptr, 10) : 0;
                while (columns.size() < std::min(number, kMostExampleColumns))
                    columns.push_back("x" + std::to_string(columns.size()));
                if (number == 0 && !isThere(name)) columns.push_back(name);
            }
        }
    }
    std::string header;
    for (const std::string& column : columns)
        header += (header.empty() ? "" : ",") + RecordingIO::headerCell(column);
    return plainColumns(header);
}

FuseOptions withType(FuseOptions options) {
    if (options.type.empty()) options.type = defaultEstimator();
    return options;
}

/// How often this many first times have been looked at: with 9, 17 and 33 of them.
std::size_t looksOf(std::size_t times) { return times > 8 ? std::bit_width((times - 1) / 8) : 0; }

void refuseRow(Answer& answer, const RecordingIO::Refusal& refusal) {
    if (++answer.rowsRefused <= kMostRemarks)
        answer.remarks.push_back(
            fmt::format("row {}: {}", answer.rowsTaken + answer.rowsRefused, refusal.what));
}

[[noreturn]] void refuse(const std::string& why) {
    throw Poco::DataFormatException(RecordingIO::printableLines(why));
}

/// Whatever is thrown, as what is wrong with a batch, without the bytes that are no text.
template <class Act>
auto asDataError(const Act& act) {
    try {
        return act();
    } catch (const Poco::Exception& error) {
        refuse(error.message().empty() ? error.displayText() : error.message());
    } catch (const UsageError& error) {
        refuse(error.what());
    }
}

}  // namespace

class UnitEngine::Parts {
public:
    explicit Parts(const UnitEngineOptions& options);

    Answer advance(std::string& state, const Batch& batch, const std::string& calibration);
    void requireState(const std::string& state);
    UnitVerdict verdict() const;

private:
    /// What units share that have the same columns.
    struct Kind {
        Kind(const Parts& parts, const UnitRecord& unit)
            : columns(unit.columns, parts.reader_),
              layout(parts.options_, parts.estimator_, columns.schema(unit.time), unit.isCalibrated) {}

        UnitColumns columns;
        UnitLayout layout;
        std::uint64_t used = 0;
    };
    using Key = std::tuple<std::string, UnitTime, bool>;

    UnitRecord begin(const BatchRows& rows, bool isCalibrated) const;
    Kind& kindOf(const UnitRecord& unit);
    static Answer run(Kind& kind, BatchRows& rows, UnitRecord& unit);
    static void endWatch(const Kind& kind, UnitRecord& unit);

    const FuseOptions options_;
    const Estimator estimator_;
    const RecordingIO::ReaderOptions reader_;
    std::map<Key, std::unique_ptr<Kind>> kinds_;
    std::uint64_t uses_ = 0;
    const Kind* last_ = nullptr;  // that of the unit that was advanced last
};

UnitEngine::Parts::Parts(const UnitEngineOptions& options)
    : options_(withType(options)),
      estimator_(describeEstimator(options_.type)),
      reader_(UnitLayout::readerOptions(options_, estimator_)) {
    requireUsable(options_);
    // Settings that cannot be used are told now, rather than with the first batch.
    kindOf({.columns = exampleColumns(options_.mapping)});
}

Answer UnitEngine::Parts::advance(std::string& state, const Batch& batch, const std::string& calibration) {
    last_ = nullptr;
    const std::string said = batch.columns.empty() ? std::string() : plainColumns(batch.columns);
    std::optional<PackedUnit> packed;
    if (!state.empty()) packed.emplace(state);
    if (packed && !said.empty() && said != packed->record.columns)
        throw Poco::DataFormatException("the batch has the columns '" + RecordingIO::printable(said) +
                                        "', and the unit began with '" +
                                        RecordingIO::printable(packed->record.columns) + "'");
    const std::unique_ptr<BatchRows> rows = openBatch(batch.payload, packed ? packed->record.columns : said);
    UnitRecord unit = packed ? packed->record : begin(*rows, !calibration.empty());
    Kind& kind = kindOf(unit);
    if (packed)
        kind.layout.restore(packed->filters(kind.layout.fresh()));
    else
        kind.layout.begin(calibration);
    Answer answer = run(kind, *rows, unit);
    state = packUnit(unit, kind.layout.fresh(), kind.layout.save());
    last_ = &kind;
    return answer;
}

void UnitEngine::Parts::requireState(const std::string& state) {
    const PackedUnit packed(state);
    Kind& kind = kindOf(packed.record);
    kind.layout.restore(packed.filters(kind.layout.fresh()));
}

UnitRecord UnitEngine::Parts::begin(const BatchRows& rows, bool isCalibrated) const {
    const UnitColumns columns(rows.columns(), reader_);
    UnitRecord unit{.columns = rows.columns(), .isCalibrated = isCalibrated};
    unit.time = columns.decideTime(rows.firstLines(columns.separator()));
    unit.isTimeWatched = columns.isUnitAssumed(unit.time);
    return unit;
}

/// The layouts of columns that have not been seen for the longest go.
UnitEngine::Parts::Kind& UnitEngine::Parts::kindOf(const UnitRecord& unit) {
    const Key key{unit.columns, unit.time, unit.isCalibrated};
    auto found = kinds_.find(key);
    if (found == kinds_.end()) {
        auto kind = std::make_unique<Kind>(*this, unit);
        if (kinds_.size() == kMostKinds)
            kinds_.erase(
                std::ranges::min_element(kinds_, {}, [](const auto& entry) { return entry.second->used; }));
        found = kinds_.emplace(key, std::move(kind)).first;
    }
    found->second->used = ++uses_;
    return *found->second;
}

Answer UnitEngine::Parts::run(Kind& kind, BatchRows& rows, UnitRecord& unit) {
    using RecordingIO::RowBuilder;
    Answer answer;
    UnitSource& source = kind.layout.source();
    RowBuilder& cells = source.rows();
    const std::size_t watched = unit.firstTimes.size();
    kind.layout.dropRows();
    for (auto next = rows.next(source.schema(), cells); next != BatchRows::Next::kEnd;
         next = rows.next(source.schema(), cells)) {
        const bool isRead = next == BatchRows::Next::kRow;
        const RowBuilder::Taken taken = isRead ? cells.take(source.schema()) : RowBuilder::Taken::kNoTime;
        if (taken != RowBuilder::Taken::kRow) {
            refuseRow(answer, isRead ? cells.refusal(taken) : rows.refusal());
            continue;
        }
        ++answer.rowsTaken;
        if (unit.isTimeWatched) unit.firstTimes.push_back(cells.cell(*source.schema().timeColumn));
        kind.layout.runRow();
        if (unit.firstTimes.size() == kFirstTimes) endWatch(kind, unit);
    }
    if (answer.rowsTaken == 0)
        throw Poco::DataFormatException(answer.remarks.empty()
                                            ? "the batch holds no row"
                                            : "no row can be used: " + answer.remarks.front());
    if (unit.isTimeWatched && looksOf(unit.firstTimes.size()) > looksOf(watched))
        kind.columns.requireSeconds(unit.firstTimes);
    if (answer.rowsRefused > kMostRemarks)
        answer.remarks.push_back(RecordingIO::counted(answer.rowsRefused - kMostRemarks, "more row") +
                                 " left out");
    for (std::string& error : kind.layout.takeErrors()) answer.remarks.push_back(std::move(error));
    answer.header = kind.layout.result().header();
    answer.rows = kind.layout.rows();
    return answer;
}

/// The first rows have borne out the unit of the times.
void UnitEngine::Parts::endWatch(const Kind& kind, UnitRecord& unit) {
    kind.columns.requireSeconds(unit.firstTimes);
    unit.isTimeWatched = false;
    unit.firstTimes = {};
}

UnitVerdict UnitEngine::Parts::verdict() const {
    const auto verdicts = last_ ? last_->layout.verdicts() : std::nullopt;
    if (!verdicts) return {};
    return {std::string(RecordingIO::gradeName(verdicts->tilt.grade)),
            std::string(RecordingIO::gradeName(verdicts->heading.grade))};
}

UnitEngine::UnitEngine(const UnitEngineOptions& options) : parts_(std::make_unique<Parts>(options)) {}

UnitEngine::~UnitEngine() = default;

Answer UnitEngine::advance(std::string& state, const Batch& batch, const std::string& calibration) {
    return asDataError([&] { return parts_->advance(state, batch, calibration); });
}

void UnitEngine::requireState(const std::string& state) {
    asDataError([&] { parts_->requireState(state); });
}

UnitVerdict UnitEngine::verdict() { return parts_->verdict(); }

}  // namespace Kavelin::Cli
