#include <CLI/CLI.hpp>

#include "LayoutTestPlugin.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "support/OwnFolder.h"
#include "support/TestKit.h"
#include "support/TextRows.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;

struct Result {
    int status = 0;
    std::vector<std::string> messages;  // lines on standard error, the folder of the layout as "DIR"
};

std::filesystem::path folder() { return ownFolder(); }

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    const std::string name = folder().string();
    for (std::string line; std::getline(stream, line);) {
        for (auto at = line.find(name); at != std::string::npos; at = line.find(name))
            line.replace(at, name.size(), "DIR");
        lines.push_back(line);
    }
    return lines;
}

/// Runs `kavelin ARGUMENTS...`; the last argument is the layout's text, put into a file f.json first.
Result kavelin(std::vector<std::string> arguments) {
    std::filesystem::create_directories(folder());
    std::ofstream(folder() / "f.json") << arguments.back();
    arguments.back() = (folder() / "f.json").string();
    const TestPlugin plugin;
    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    CLI::App app;
    addRunCommand(app, context);
    addCheckCommand(app, context);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const std::exception& error) {
        context.status = reportError(context, error);
    }
    return {context.status, linesOf(err.str())};
}

/// A layout file over lines: filters from line 2 on, `rest` (connections, actions) from its own line on.
std::string file(const std::string& filters, const std::string& rest = "") {
    return "{\"plugins\": [], \"layouts\": [{\"name\": \"l\", \"filters\": [\n" + filters + "\n]}]" +
           (rest.empty() ? "" : ",\n" + rest) + "}";
}

const std::string kSource = R"({"name": "source", "type": "TestSource"})";
const std::string kScale = R"({"name": "scale", "type": "TestScale"})";
const std::string kSink = R"({"name": "sink", "type": "TestSink"})";

const std::string kChain =
    R"("connections": [{"from": "source:out", "to": "scale:in"}, {"from": "scale:out", "to": "sink:x"}])";

std::string chain(const std::string& scale = kScale, const std::string& rest = "") {
    return file(kSource + "," + scale + "," + kSink, kChain + (rest.empty() ? "" : ",\n" + rest));
}

/// A layout file of the chain's scale, of properties of the scale or the source, of actions on the chain.
std::string fileOf(const std::string& kind, const std::string& text) {
    const auto with = [&](const char* name, const char* type) {
        return std::string("{\"name\": \"") + name + "\", \"type\": \"" + type + "\", \"properties\": {\n" +
               text + "}}";
    };
    if (kind == "chain") return chain(text);
    if (kind == "scale") return chain(with("scale", "TestScale"));
    if (kind == "source") return file(with("source", "TestSource"));
    if (kind == "actions") return chain(kScale, "\"actions\": [" + text + "]");
    return text;
}

TEST(CheckCommand, SaysEveryMistakeInOnePass) {
    for (const auto& row : textRows(R"rows(
chain {"name": "scale", "type": "TestScale"}
file {"plugins": ["./no.so"], "layouts": []} ! 1:14: There is no plugin file 'DIR/./no.so'
file {"plugins": [], "layouts": [{"name": "l", "filters": [\n{"name": "source", "type": "TestSource"},{"name": "sink", "type": "TestSink"}\n]}],\n"connections": [{"from": "source:ou", "to": "sink:x"}]}
! 4:26: source (TestSource): no output is named "ou"; did you mean "out"? Outputs: out, other
file {"plugins": [], "layouts": [{"name": "l", "filters": [\n{"name": "source", "type": "TestSource"},{"name": "scale", "type": "TestScale"},{"name": "sink", "type": "TestSink"}\n]}],\n"connections": [{"from": "source:out", "to": "scale:i2"}, {"from": "scale:out", "to": "sink:x"}],\n"actions": []}
! 4:46: scale (TestScale): no input is named "i2"; did you mean "in"? Inputs: in, second
file {"plugins": [], "layouts": [{"name": "l", "filters": [\n{"name": "source", "type": "TestSource"},{"name": "scale", "type": "TestScale"}\n]}],\n"connections": [{"from": "scale:in", "to": "source:out"}]}
! 2:51: scale (TestScale) is no source and has no connected input: it is never called; inputs: in, second
! 4:26: scale (TestScale): "in" is an input; "from" takes an output: out
! 4:44: source (TestSource): "out" is an output; "to" takes an input: none
chain {"name": "scale", "type": "TestScale", "properties": {\n"gian": 2, "Reset": 1, "Mode": 0}, "commands": ["reset", "Mode"]}
! 3:1: scale (TestScale): no property is named "gian"; did you mean "Gain"? Properties: Gain, Mode, Weights, Use, Count, Text, Fixed
! 3:21: scale (TestScale), "Reset": is a command and has no value; "commands" or an action with "command" activates it
! 3:49: scale (TestScale): no command is named "reset"; did you mean "Reset"? Commands: Reset
! 3:58: scale (TestScale): no command is named "Mode"; commands: Reset
actions {"at": 1, "command": "scale:Gain"}, {"at": 2, "set": "scale:Nought", "value": 1}
! 5:34: scale (TestScale): no command is named "Gain"; commands: Reset
! 5:66: scale (TestScale): no property is named "Nought"; properties: Gain, Mode, Weights, Use, Count, Text, Fixed
source "Rows": 11 ! 3:9: source (TestSource), "Rows": 11 does not fit in [0;10], (step : 1)
source "Rows": 1.5 ! 3:9: source (TestSource), "Rows": takes a whole number; this is 1.5
source "Rows": 1e0
scale "Gain": true ! 3:9: scale (TestScale), "Gain": takes a number; this is true
scale "Gain": "much" ! 3:9: scale (TestScale), "Gain": 'much' is no double
scale "Gain": "2,5" ! 3:9: scale (TestScale), "Gain": '2,5' is no double
scale "Use": "0.5" ! 3:8: scale (TestScale), "Use": "0.5" is neither 1 (true) nor 0 (false)
scale "Weights": "1 3 0 0" ! 3:12: scale (TestScale), "Weights": '1 3 0 0' is no matrix: the rows, the columns, then each element are expected, as in 1 3 0 0 1
source "Rows": "nan" ! 3:9: source (TestSource), "Rows": 'nan' is no int
scale "Count": -1 ! 3:10: scale (TestScale), "Count": takes a whole number from 0; this is -1
scale "Mode": "fail" ! 3:9: scale (TestScale), "Mode": 'fail' is no label of 'Mode'; there are 'plain', 'fails', 'greedy'
scale "Mode": 3 ! 3:9: scale (TestScale), "Mode": 3 is no index of a label, 0 to 2; labels: plain, fails, greedy
scale "Weights": 3 ! 3:12: scale (TestScale), "Weights": takes a matrix, such as [[1, 2, 3]]; this is 3
scale "Use": "maybe" ! 3:8: scale (TestScale), "Use": "maybe" is neither 1 (true) nor 0 (false)
scale "Use": [[1]] ! 3:8: scale (TestScale), "Use": takes true or false; this is a matrix
scale "Fixed": 2 ! 3:10: scale (TestScale), "Fixed": Property 'Fixed' is not writable
source "File Name": "missing.csv" ! 3:14: source (TestSource), "File Name": There is no file DIR/missing.csv
source "File Name": "${NO_SUCH}/a.csv"
! 3:14: source (TestSource), "File Name": variable "NO_SUCH" is not set; give --var NO_SUCH=..., or put it under "variables" or in the environment
scale "Gain": "nan", "Mode": "fails", "Weights": [["inf", 1]], "Use": 0, "Count": "3", "Text": 5
actions {"at": 1, "set": "scale:Mode"} ! 5:13: an action with "set" needs "value"
actions {"at": 1, "set": "scale:Mode", "value": 7} ! 5:53: scale (TestScale), "Mode": 7 is no index of a label, 0 to 2; labels: plain, fails, greedy
file {"plugins": [], "layouts": [{"name": "l", "filters": [\n{"name": "a", "type": "TestSink", "propertes": {}}, {"name": "source", "type": "TestSource", "properties": {"Rows": 99}}\n]}]}
! 2:10: a (TestSink) is no source and has no connected input: it is never called; inputs: none
! 2:35: unknown key "propertes" in a filter; did you mean "properties"? It takes: name, type, properties, commands
! 2:117: source (TestSource), "Rows": 99 does not fit in [0;10], (step : 1)
)rows")) {
        const Result result = kavelin({"check", fileOf(row[0], row[1])});
        std::vector<std::string> expected(row.begin() + 2, row.end());
        const std::size_t count = expected.size();
        EXPECT_EQ(result.status, count == 0 ? kDone : kUnusable) << row[1];
        for (std::string& mistake : expected) mistake = "DIR/f.json:" + mistake;
        if (count > 0)
            expected.push_back("kavelin: " + std::to_string(count) + " mistake" + (count > 1 ? "s" : "") +
                               " in DIR/f.json");
        EXPECT_THAT(result.messages, ElementsAreArray(expected)) << row[1];
    }
}

TEST(CheckCommand, OverridesAreCheckedToo) {
    const Result result =
        kavelin({"check", "--set", "scale:Gain=x=y", "--set", "scale:Gian=1", "--var", "A", chain()});
    EXPECT_EQ(result.status, kUnusable);
    EXPECT_THAT(
        result.messages,
        ElementsAre(
            R"(--var "A": takes the form NAME=VALUE)",
            R"(--set "scale:Gain=x=y": scale (TestScale), "Gain": 'x=y' is no double)",
            R"(--set "scale:Gian=1": scale (TestScale): no property is named "Gian"; did you mean "Gain"? Properties: Gain, Mode, Weights, Use, Count, Text, Fixed)",
            "kavelin: 3 mistakes in DIR/f.json"));
}

TEST(RunCommand, ActionsComeBeforeTheFirstRowAtOrAfterTheirTime) {
    const std::string scale =
        R"({"name": "scale", "type": "TestScale", "properties": {"Gain": 3}, "commands": ["Reset"]})";
    const std::string actions =
        R"("actions": [{"at": 1.5, "set": "scale:Gain", "value": 7}, {"at": 1, "command": "scale:Reset"},
 {"at": 1, "set": "scale:Gain", "value": 5}, {"at": 9, "command": "scale:Reset"}])";
    const Result result = kavelin({"run", chain(scale, actions)});
    EXPECT_EQ(result.status, kDone);
    EXPECT_THAT(TestLog::lines(), ElementsAre("scale reset, gain 3", "sink:x 0.0 0.0", "scale reset, gain 3",
                                              "sink:x 1.0 5.0", "sink:x 2.0 14."));
    EXPECT_THAT(
        result.messages,
        ElementsAre("kavelin: action at 9 s on scale:Reset was not done: the rows are from 0 s to 2 s",
                    "kavelin: 3 rows, stream time 0 s to 2 s"));
}

TEST(RunCommand, ErrorsAreReportedOnceAndCounted) {
    const std::string source = R"({"name": "source", "type": "TestSource", "properties": {"Rows": 6}})";
    const std::string scale =
        R"({"name": "scale", "type": "TestScale", "properties": {"Mode": "fails", "Use": false}})";
    const std::string text = file(source + "," + scale + "," + kSink,
                                  kChain + R"(, "actions": [{"at": 4, "command": "scale:Reset"}])");
    Result result = kavelin({"run", text});
    EXPECT_EQ(result.status, kDoneWithErrors);
    EXPECT_THAT(result.messages, ElementsAre("kavelin: l/scale at 1 s: odd value",
                                             "kavelin: action at 4 s on scale:Reset: nothing to reset",
                                             "kavelin: l/scale, 3 times in all: odd value",
                                             "kavelin: 6 rows, stream time 0 s to 5 s"));
    EXPECT_THAT(TestLog::lines(), ElementsAre("sink:x 0.0 0.0", "sink:x 2.0 2.0", "sink:x 4.0 4.0"));

    result = kavelin({"run", "--stop-on-error", "--quiet", text});
    EXPECT_EQ(result.status, kDoneWithErrors);
    EXPECT_THAT(result.messages, ElementsAre("kavelin: l/scale at 1 s: odd value"));
    EXPECT_THAT(TestLog::lines(), ElementsAre("sink:x 0.0 0.0"));
}

TEST(RunCommand, DropsAreReportedPerPin) {
    const Result result = kavelin(
        {"run",
         file(
             kSource + "," + kScale,
             R"("connections": [{"from": "source:out", "to": "scale:in"}, {"from": "source:out", "to": "scale:second", "buffer": 1}])")});
    EXPECT_EQ(result.status, kDone);
    EXPECT_THAT(result.messages, ElementsAre("kavelin: scale:second dropped 2 of 3 samples (buffer of 1)",
                                             "kavelin: 3 rows, stream time 0 s to 2 s"));
}

TEST(RunCommand, ACommandThatRaisesBeforeTheRunPreventsIt) {
    const Result result =
        kavelin({"run", chain(R"({"name": "scale", "type": "TestScale", "properties": {"Use": false},
"commands": ["Reset"]})")});
    EXPECT_EQ(result.status, kUnusable);
    ASSERT_EQ(result.messages.size(), 2u);
    EXPECT_EQ(result.messages[0], R"(DIR/f.json:3:14: scale (TestScale), "Reset": nothing to reset)");
    EXPECT_THAT(TestLog::lines(), ElementsAre());
}

std::string twoLayouts() {
    return R"({"plugins": [], "layouts": [{"name": "a", "filters": [)" + kSource +
           "]}, {\"name\": \"b\", \"filters\": [" + kScale + "," + kSink + "]}],\n" + kChain +
           R"(, "actions": [{"at": 1, "set": "scale:Gain", "value": 4}, {"at": 2, "command": "scale:Reset"}]})";
}

TEST(RunCommand, LayoutsTakeTurnsInOneThreadAndInMany) {
    for (const char* threads : {"--quiet", "--threads"}) {
        const Result result = kavelin({"run", threads, twoLayouts()});
        EXPECT_EQ(result.status, kDone);
        EXPECT_THAT(TestLog::lines(),
                    ElementsAre("sink:x 0.0 0.0", "sink:x 1.0 4.0", "scale reset, gain 4", "sink:x 2.0 8.0"));
    }
}

TEST(RunCommand, AFilterThatWaitsForDataInsideProcessDoesNotHoldUpTheEnd) {
    std::string text = twoLayouts();
    text.replace(text.find("\"to\": \"scale:in\""), 16, R"("to": "scale:in", "synchronous": true)");
    const Result result = kavelin({"run", "--threads", "--quiet", "--set", "scale:Mode=greedy", text});
    EXPECT_EQ(result.status, kDone);
    EXPECT_EQ(std::count_if(TestLog::lines().begin(), TestLog::lines().end(),
                            [](const std::string& line) { return line.starts_with("sink:x"); }),
              3);
}

TEST(RunCommand, ASignalCompletesTheRowsDone) {
    for (const char* threads : {"--quiet", "--threads"}) {
        const Result result = kavelin({"run", "-q", threads, "--set", "source:Interrupt At=1", twoLayouts()});
        EXPECT_EQ(result.status, kDoneWithErrors) << threads;
        EXPECT_THAT(result.messages, ElementsAre("kavelin: interrupted; the rows done are kept")) << threads;
        ASSERT_EQ(TestLog::lines().size(), 2u) << threads;
        EXPECT_THAT(TestLog::lines().back(), testing::StartsWith("sink:x 1.0")) << threads;
    }
}

TEST(RunCommand, SavesWhatItsPropertiesAre) {
    const std::string saved = (folder() / "saved.json").string();
    const std::string scale =
        R"({"name": "scale", "type": "TestScale", "properties": {"Gain": 0.1, "Weights": [["nan", 1e-17]]}})";
    const std::string source =
        R"({"name": "source", "type": "TestSource", "properties": {"File Name": "${X}/a.csv"}})";
    Result result =
        kavelin({"run", "--quiet", "--var", "X=x", "--set", "scale:Mode=1", "--save", saved,
                 file(source + "," + scale + "," + kSink,
                      kChain + R"(, "actions": [{"at": 1, "set": "scale:Use", "value": false}])")});
    EXPECT_THAT(result.messages, ElementsAre("kavelin: l/scale at 1 s: odd value"));
    std::stringstream text;
    text << std::ifstream(saved).rdbuf();
    EXPECT_THAT(text.str(), testing::HasSubstr(R"("properties": {"File Name": "${X}/a.csv"})"))
        << "what was never written is left out";
    EXPECT_THAT(text.str(), testing::HasSubstr(R"("Gain": 0.1,)"));
    EXPECT_THAT(text.str(), testing::HasSubstr(R"("Mode": "fails",)"));
    EXPECT_THAT(text.str(), testing::HasSubstr(R"("Weights": [["nan", 1e-17]],)"));
    EXPECT_THAT(text.str(), testing::HasSubstr(R"("Use": false})"));
    EXPECT_EQ(kavelin({"check", "--var", "X=x", text.str()}).status, kDone);
}

}  // namespace
}  // namespace Kavelin::Cli
