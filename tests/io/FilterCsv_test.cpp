#include <Kavelin/Core/FlowManager.h>

#include <future>

#include "io/FilterCsvReader.h"
#include "io/FilterCsvWriter.h"
#include "support/NamedPipe.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using Core::LayoutManager;

/// Reader and writer in one layout, wired pin by pin, as a layout file would do it.
class FilterCsvTest : public testing::Test {
protected:
    FilterCsvTest() {
        layout_.add(reader_);
        layout_.add(writer_);
    }
    void set(const std::string& property, const std::string& text) {
        reader_.getPropertyBag().get(property).deSerialize(text);
    }
    void connect(const std::string& pin) {
        Core::connect(reader_.getOutputPin(pin), writer_.getInputPin(pin));
    }
    /// Runs `recording` through and returns the table.
    std::string run(const std::string& recording, std::initializer_list<const char*> pins) {
        set("File Name", folder_.write("in.csv", recording));
        writer_.getPropertyBag().get("File Name").deSerialize(folder_.path("out.csv"));
        for (const char* pin : pins) connect(pin);
        layout_.runToEnd();
        writer_.completeRun();
        return folder_.read("out.csv");
    }
    std::vector<std::string> errors() {
        std::vector<std::string> messages;
        for (const Core::ProcessError& error : layout_.getErrors().getErrors())
            messages.push_back(error.message);
        return messages;
    }

    TemporaryFolder folder_;
    LayoutManager layout_{"layout"};
    FilterCsvReader reader_{"reader"};
    FilterCsvWriter writer_{"writer"};
};

TEST_F(FilterCsvTest, sendsColumnsAndMappedPins) {
    set("Columns", "1");
    set("Mapping", "flag = button; R = a,b,c,d as 2x2");
    InputPin<Matrix> vector("v", nullptr);
    InputPin<Matrix> flag("f", nullptr);
    InputPin<Matrix> matrix("m", nullptr);
    set("File Name", folder_.write("in.csv", "t,ax,ay,az,button,a,b,c,d\n0,1,2,3,9,4,5,6,7\n"));
    Core::connect(reader_.getOutputPin("3a"), vector, {.direct = true});
    Core::connect(reader_.getOutputPin("flag"), flag, {.direct = true});
    Core::connect(reader_.getOutputPin("R"), matrix, {.direct = true});
    layout_.runToEnd();
    ASSERT_TRUE(vector.readNext() && flag.readNext() && matrix.readNext());
    EXPECT_EQ(vector.value(), (Matrix(3, 1) << 1, 2, 3).finished());
    EXPECT_EQ(flag.value(), Matrix::Constant(1, 1, 9));
    EXPECT_EQ(matrix.value(), (Matrix(2, 2) << 4, 5, 6, 7).finished());
}

TEST_F(FilterCsvTest, reportsEachBadRowAndKeepsTheOthers) {
    const std::string table =
        run("t,ax,ay,az\n"
            "x,0,0,0\n"  // before any row
            "0,1,1,1\n"
            "0,1,oops,1\n"
            "0,2,2,2\n"  // the same time stamp as before: the fault has to wait
            "1,1\n"
            "2,3,3,3\n"
            "3,4",
            {"3a"});
    EXPECT_EQ(table, "t,3a.x,3a.y,3a.z\n0,1,1,1\n0,2,2,2\n2,3,3,3\n");
    const std::string file = folder_.path("in.csv");
    EXPECT_THAT(errors(), ElementsAre(file + ":2: column 1 holds 'x', which is no number\n" + file +
                                          ":4: column 3 holds 'oops', which is no number\n" + file +
                                          ":6: too few cells: the row has 2 of 4 cells",
                                      HasSubstr(":8: the file ends in the middle of this row")));
}

TEST_F(FilterCsvTest, doesNotDrownItsHostInMessages) {
    std::string recording = "t,ax,ay,az\n";
    for (int i = 0; i < 1000; ++i) recording += std::to_string(i) + ",1,1," + (i % 2 ? "bad" : "1") + "\n";
    const std::string table = run(recording, {"3a"});
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 501);
    EXPECT_EQ(errors().size(), 11u);
    EXPECT_THAT(errors().back(), HasSubstr("more rows left out: text in a number"));
    EXPECT_EQ(reader_.faults()->total(), 500u);
}

TEST_F(FilterCsvTest, refusesFilesAtOnceWhereItCan) {
    EXPECT_THROW(set("File Name", folder_.path("none.csv")), Poco::FileNotFoundException);
    EXPECT_THROW(set("Mapping", "nonsense"), Poco::DataFormatException);
    EXPECT_THROW(set("Units", "nonsense"), Poco::DataFormatException);
    // Perhaps a mapping follows: an unknown header is refused only when rows are wanted.
    set("File Name", folder_.write("odd.csv", "u,v\n1,2\n"));
    layout_.runToEnd();
    EXPECT_THAT(errors(),
                ElementsAre(HasSubstr("odd.csv:1: no sensor columns found; unknown: u, v. Map them")));
}

TEST_F(FilterCsvTest, isNotChangedInTheMiddleOfItsRecording) {
    set("File Name", folder_.write("in.csv", "t,ax,ay,az\n0,1,2,3\n1,1,2,3\n"));
    layout_.runRound();
    EXPECT_THROW(set("Rate", "0"), Poco::IllegalStateException) << "it would begin again";
    EXPECT_THROW(set("Sensor", "x"), Poco::IllegalStateException);
    EXPECT_EQ(reader_.nextTimeStamp(), 1.0);
    layout_.runToEnd();
    set("Units", "3a=g");
}

TEST_F(FilterCsvTest, anInterruptionEndsTheWaitForAHeader) {
    const std::string path = folder_.path("live.csv");
    const NamedPipe pipe(path);
    set("File Name", path);
    writer_.getPropertyBag().get("File Name").deSerialize(folder_.path("out.csv"));
    connect("3a");
    auto running = std::async(std::launch::async, [this] { layout_.runToEnd(); });
    while (running.wait_for(std::chrono::seconds(0)) != std::future_status::ready) reader_.interrupt();
    EXPECT_THAT(errors(), ElementsAre());
    pipe.write("t,ax,ay,az\n0,1,2,3\n");
    reader_.resume();
    EXPECT_EQ(reader_.nextTimeStamp(), 0.0);
}

TEST_F(FilterCsvTest, theWriterRefusesPinsItCannotName) {
    EXPECT_THROW(writer_.getInputPin("t"), Poco::InvalidArgumentException);
    EXPECT_THROW(writer_.getInputPin(""), Poco::InvalidArgumentException);
    EXPECT_EQ(&writer_.getInputPin("a"), &writer_.getInputPin("a"));
}

TEST_F(FilterCsvTest, theWriterSaysWhyItWritesNothing) {
    set("File Name", folder_.write("in.csv", "t,ax,ay,az\n0,1,1,1\n1,1,1,1\n"));
    connect("3a");
    layout_.runToEnd();
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("'writer' has no File Name")));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
