#include "cli/ScriptFormat.h"

#include "cli/CommandContext.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using Core::Matrix;

template <class Line>
Line parsed(std::string_view text) {
    const auto line = parseScriptLine(text);
    if (!line) throw std::logic_error("the line carries nothing");
    return std::get<Line>(*line);
}

TEST(ScriptFormat, edgesOfWhatALineHolds) {
    EXPECT_EQ(parsed<CommandLine>("{\"command\": \"Reference\"}\r").command, "Reference");
    EXPECT_EQ(parsed<QueryLine>(R"(  {"query": ""})").property, "");
    EXPECT_EQ(parsed<PropertyLine>(R"({"value": "1", "property": "a \"b\""})").property, "a \"b\"");
    EXPECT_EQ(parsed<BufferLine>(R"({"buffer": "3a", "size": 4294967295, "order": "lifo"})").size,
              4294967295u);
}

TEST(ScriptFormat, matrixShapes) {
    const struct {
        const char* json;
        Eigen::Index rows, columns;
    } rows[] = {{"[[1,2,3]]", 1, 3}, {"[[1],[2],[3]]", 3, 1}, {"[]", 0, 0},
                {"[[]]", 1, 0},      {"[[],[]]", 2, 0},       {"[[1,2],[3,4],[5,6]]", 3, 2}};
    for (const auto& row : rows) {
        const auto text = std::string(R"({"pin": "p", "t": 0, "value": )") + row.json + "}";
        const Matrix value = parsed<SampleLine>(text).value;
        EXPECT_EQ(value.rows(), row.rows) << row.json;
        EXPECT_EQ(value.cols(), row.columns) << row.json;
        for (Eigen::Index i = 0; i < value.size(); ++i)
            EXPECT_EQ(value.data()[i], static_cast<double>(i + 1)) << row.json;
    }
}

TEST(ScriptFormat, malformedLinesSayWhatWouldBeRight) {
    const struct {
        const char* line;
        const char* message;
    } rows[] = {
        {"{", "no JSON object: parse error"},
        {"[1]", "a line is a JSON object with the key \"pin\", "},
        {"{}", "a line has one of the keys \"pin\", "},
        {R"({"proces": 3})", "a line has one of the keys \"pin\", "},
        {R"({"process": 1} {"process": 1})", "no JSON object: parse error"},
        {R"({"process": -1})", R"("process" must be a whole number from 0 to )"},
        {R"({"process": 1.5})", R"("process" must be a whole number from 0 to )"},
        {R"({"process": "1"})", R"("process" must be a whole number from 0 to )"},
        {R"({"process": 1, "pin": "3a"})",
         R"(unknown key "process"; this kind of line has "pin", "t", "value")"},
        {R"({"pin": "3a", "value": [[1]]})", R"("t" is missing)"},
        {R"({"pin": "3a", "t": 1})", R"("value" is missing)"},
        {R"({"pin": 3, "t": 1, "value": []})", R"("pin" must be a text)"},
        {R"({"pin": "3a", "t": null, "value": []})", R"("t" must be a number or one of "nan")"},
        {R"({"pin": "3a", "t": 1e999, "value": []})", "no JSON object: number overflow"},
        {R"({"pin": "3a", "t": 1, "value": 5})", R"("value" must be an array of rows, such as [[1, 2, 3]])"},
        {R"({"pin": "3a", "t": 1, "value": [1, 2]})", R"("value" must be an array of rows)"},
        {R"({"pin": "3a", "t": 1, "value": [[], 2]})", R"("value" must be an array of rows)"},
        {R"({"pin": "3a", "t": 1, "value": [{"a": 1}]})", R"("value" must be an array of rows)"},
        {R"({"pin": "3a", "t": 1, "value": [[1, 2], [3]]})",
         R"("value": row 1 has 1 elements and row 0 has 2)"},
        {R"({"pin": "3a", "t": 1, "value": [[1, 2], [3, "x"]]})",
         R"("value"[1][1] must be a number or one of "nan")"},
        {R"({"property": "order", "value": 1})", R"("value" must be a text)"},
        {R"({"command": "Reset", "value": "1"})", R"(unknown key "value"; this kind of line has "command")"},
        {R"({"query": ["order"]})", R"("query" must be a text)"},
        {R"({"buffer": "3a", "order": "fifo"})", R"("size" is missing)"},
        {R"({"buffer": "3a", "size": 1})", R"("order" is missing)"},
        {R"({"buffer": "3a", "size": 1, "order": "FIFO"})", R"("order" must be "fifo" or "lifo")"},
        {R"({"buffer": "3a", "size": 4294967296, "order": "fifo"})", "whole number from 0 to 4294967295"},
        {"{\"query\": \"\xff\"}", "no JSON object: parse error"},
    };
    for (const auto& row : rows) {
        try {
            parseScriptLine(row.line);
            ADD_FAILURE() << row.line << " was accepted";
        } catch (const UsageError& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.message)) << row.line;
        }
    }
}

TEST(ScriptFormat, numbersAreShortestAndReadBackEqual) {
    const struct {
        double number;
        const char* text;
    } rows[] = {{0.0, "0"},
                {-0.0, "-0.0"},
                {1.0, "1"},
                {-1.5707963267948966, "-1.5707963267948966"},
                {0.1, "0.1"},
                {1e22, "1e+22"},
                {5e-324, "5e-324"},
                {1.7976931348623157e308, "1.7976931348623157e+308"},
                {kNaN, "\"nan\""},
                {-kNaN, "\"nan\""},
                {kInfinity, "\"inf\""},
                {-kInfinity, "\"-inf\""}};
    for (const auto& row : rows) {
        const std::string line = sampleText("p", row.number, Matrix::Constant(1, 1, row.number));
        EXPECT_EQ(line,
                  std::string(R"({"pin": "p", "t": )") + row.text + R"(, "value": [[)" + row.text + "]]}\n");
        const double back = parsed<SampleLine>(line).t;
        if (std::isnan(row.number)) {
            EXPECT_TRUE(std::isnan(back));
        } else {
            EXPECT_EQ(back, row.number);
            EXPECT_EQ(std::signbit(back), std::signbit(row.number)) << row.text;
        }
    }
}

TEST(ScriptFormat, answerLinesAsWritten) {
    const Matrix column = (Matrix(2, 1) << 1, 2).finished();
    EXPECT_EQ(sampleText("q \"1\"", 2, column),
              "{\"pin\": \"q \\\"1\\\"\", \"t\": 2, \"value\": [[1], [2]]}\n");
    EXPECT_EQ(sampleText("p", 0, Matrix(0, 0)), "{\"pin\": \"p\", \"t\": 0, \"value\": []}\n");
    EXPECT_EQ(sampleText("p", 0, Matrix(2, 0)), "{\"pin\": \"p\", \"t\": 0, \"value\": [[], []]}\n");
    EXPECT_EQ(propertyText("order", "1"), "{\"property\": \"order\", \"value\": \"1\"}\n");
    EXPECT_EQ(errorText("std::out_of_range", "a\nb\xff"),
              "{\"error\": \"std::out_of_range\", \"message\": \"a\\nb\xef\xbf\xbd\"}\n");
}

}  // namespace
}  // namespace Kavelin::Cli
