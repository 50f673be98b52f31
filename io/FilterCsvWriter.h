#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "io/RunParticipant.h"
#include "io/recording/ResultFile.h"
#include "io/recording/TableSink.h"
#include "io/recording/TableWriter.h"
#include "io/recording/WriteBehind.h"
#include "io/writing/TableFormat.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::AnyTime;
using OrientationInternal::EnumProperty;
using OrientationInternal::FileNameProperty;
using OrientationInternal::Filter;
using OrientationInternal::handler;
using OrientationInternal::InputPin;
using OrientationInternal::Matrix;
using OrientationInternal::ValueProperty;

/// Writes what it receives as a table, of text or in one of the forms of TableKind, as the file's name ends or
/// "Format" says: it makes an input pin of any name that a connection asks for, and each
/// pin has its columns. Samples of any shape; of one pin, all of the shape of the first, or, for a pin that
/// "Header" names, of as many elements as it has names there.
///
/// Samples of one time stamp share a row (see TableWriter). With "Rows", each sample of the pin of that name
/// makes a row, with the samples of the other pins that have its time stamp. A later sample waits for its
/// row; an earlier one has no row and is left out. The row is written in the call of `process` that takes it.
///
/// A table of text is created with the first sample, under a temporary name, and takes its own when the run is
/// completed, the file name changes or the filter goes; the other kinds are written then, as a whole. A sample of another shape (with "Rows", the first of
/// its pin) and a disk without room are exceptions out of `process`; after a failure to write, samples are
/// taken and dropped.
class FilterCsvWriter : public Filter, public RunParticipant, public Core::Stateful {
public:
    static constexpr const char* kTypeName = "FilterCsvWriter";

    explicit FilterCsvWriter(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    std::string resultFile() const override;  // [any thread, the layout not running]
    void checkRun() override;                 // [as resultFile]
    void prepareRun() override;               // [as resultFile]
    void resumeRun() override;                // [as resultFile]
    void completeRun() override;              // [as resultFile]
    std::vector<std::string> runErrors() const override;
    std::vector<std::string> runNotes() const override { return notes_; }

    // A snapshot of a table that is being written holds how far it has come; one that takes it back goes on with the
    // unfinished file, and cuts off what was written to it after the snapshot.
    unsigned stateVersion() const override { return 2; }
    /// Has what was written so far on the disk.
    /// @throws Poco::NotImplementedException for what is not written row by row to an ordinary file,
    /// Poco::IllegalStateException where rows were lost, Poco::WriteFileException
    void saveState(Core::StateWriter& to) const override;
    /// @throws Poco::DataFormatException where the unfinished file is not there
    void restoreState(Core::StateReader& from) override;

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    struct Column {
        explicit Column(const std::string& name, FilterCsvWriter* owner) : pin(name, owner, AnyTime{}) {}

        InputPin<Matrix> pin;
        std::vector<std::string> names;   // of its columns; empty: they follow from its first sample
        TableSink::Shape expected{0, 0};  // that of its source before the run
        bool waits = false;               // a sample was taken and is not in the table yet
        bool isRefused = false;           // a sample of another shape came, and was reported
    };
    using Columns = std::vector<std::unique_ptr<Column>>;

    /// The table where all columns are known before the first row.
    struct RowFile {
        explicit RowFile(const std::string& path) : file(path) {}
        RowFile(const std::string& path, const ResultPlace& place) : file(path, place) {}
        void finish();

        ResultFile file;
        WriteBehind rows{file};
    };

    /// A table to go on with, once the next sample comes.
    struct Unfinished {
        std::optional<ResultPlace> rows;
        std::optional<TableWriter::Progress> table;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(rows, table);
        }
    };

    std::optional<Unfinished> settled() const;
    void openNewTable();
    void openUnfinished();
    void writeByTime();
    void writeRows();
    void drop();
    void writeRow(double time);
    void putRow(double time);
    void refuse(Column& column, const std::string& why);
    void tellRefusals();
    TableKind kind() const;
    TableSink::Pin described(const Column& input, TableKind kind) const;
    bool isOpen() const { return table_ || rowFile_; }
    bool hasBegun() const { return isOpen() || unfinished_; }
    bool knowsColumns() const;
    void openTable();
    void openRowFile();
    void closeTable();
    void arrangeColumns();
    Columns::const_iterator find(const std::string& pinName) const;
    void requireColumns(const std::string& pin, std::size_t names) const;
    void requireQuaternions() const;
    void requirePin(const char* property, const std::string& pinName) const;
    void takeWaiting();
    std::size_t earliest() const;
    void put(std::size_t index);
    template <class Act>
    void writing(const Act& act);
    static std::vector<std::string> formatLabels();
    void onFileName();
    void onFormat(const int&) { requireNoTable("format"); }
    void onRows(const std::string&);
    void onHeader(const std::string& text);
    void requireNoTable(const char* what) const;

    FileNameProperty fileName_{"File Name", this, "", "*.csv", handler(this, &FilterCsvWriter::onFileName)};
    EnumProperty<std::string> format_{"Format", this, formatLabels(), 0,
                                      handler(this, &FilterCsvWriter::onFormat)};
    ValueProperty<std::string> rows_{"Rows", this, "", handler(this, &FilterCsvWriter::onRows)};
    ValueProperty<std::string> header_{"Header", this, "", handler(this, &FilterCsvWriter::onHeader)};

    Columns inputs_;
    Column* rowPin_ = nullptr;  // whose samples make the rows
    std::unique_ptr<TableSink> table_;
    std::unique_ptr<RowFile> rowFile_;  // in its place
    std::optional<Unfinished> unfinished_;
    bool hasFailed_ = false;
    bool hasLostRows_ = false;        // as they could not be written
    bool isPrepared_ = false;         // the run must leave a table
    std::string refusals_;            // to be raised
    std::vector<std::string> notes_;  // on the table finished last
};

}  // namespace Kavelin::RecordingIO
