#include "cli/layout/LayoutFile.h"

#include "cli/CommandContext.h"
#include "cli/layout/LayoutWriter.h"
#include "cli/layout/Overrides.h"
#include "support/OwnFolder.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;

std::vector<std::string> textsOf(const Mistakes& mistakes) {
    std::vector<std::string> texts;
    for (const Mistake& mistake : mistakes) texts.push_back(toText(mistake, "f"));
    return texts;
}

LayoutFile parseGood(std::string_view text) {
    Mistakes mistakes;
    LayoutFile layout = parseLayout(text, mistakes);
    EXPECT_THAT(textsOf(mistakes), ElementsAre()) << text;
    return layout;
}

constexpr const char* kWalk = R"({"$schema": "../docs/layout.schema.json", "description": "a walk",
 "plugins": ["A", "B"],
 "variables": {"DATA": "examples", "OUT": "/tmp"},
 "layouts": [{"name": "imu", "filters": [
    {"name": "recording", "type": "FilterCsvReader", "properties": {"File Name": "${DATA}/walk.csv", "b": true}},
    {"name": "attitude", "type": "FilterAttitude", "properties": {
        "Mode": "static", "zeta": 0.1, "Alphas": [[1, -0.0, 1e-3], ["nan", "inf", "-inf"]], "empty": [], "2x0": [[], []]},
     "commands": ["Reference"]}]},
   {"name": "second", "filters": [{"name": "out", "type": "FilterCsvWriter"}]}],
 "connections": [{"from": "recording:3a", "to": "attitude:3a"},
    {"from": "attitude:a:b", "to": "out:attitude", "buffer": 64, "order": "lifo", "synchronous": true}],
 "actions": [{"at": 2.5, "command": "attitude:Reference"}, {"at": 10, "set": "attitude:Mode", "value": "1"}]})";

TEST(LayoutFile, ReadsEveryElementWithItsPlace) {
    const LayoutFile layout = parseGood(kWalk);
    ASSERT_EQ(layout.layouts.size(), 2u);
    const FilterEntry& attitude = layout.layouts[0].filters[1];
    EXPECT_EQ(attitude.name.text, "attitude");
    EXPECT_EQ(attitude.name.place.line, 6);
    EXPECT_EQ(attitude.name.place.column, 14);
    ASSERT_EQ(attitude.properties.size(), 5u);
    EXPECT_EQ(attitude.properties[2].name.text, "Alphas");
    EXPECT_EQ(attitude.properties[2].name.place.line, 7);
    EXPECT_TRUE(std::signbit(attitude.properties[2].value.matrix(0, 1)));
    EXPECT_THAT(attitude.commands[0].text, "Reference");
    const ConnectionEntry& last = layout.connections[1];
    EXPECT_EQ(last.from.filter, "attitude");
    EXPECT_EQ(last.from.element, "a:b") << "only the first colon parts";
    EXPECT_EQ(last.bufferSize, 64u);
    EXPECT_TRUE(last.lifo && last.synchronous);
    EXPECT_EQ(layout.connections[0].bufferSize, 1024u);
    EXPECT_FALSE(layout.connections[0].lifo || layout.connections[0].synchronous);
    EXPECT_EQ(layout.actions[0].kind, ActionEntry::Kind::command);
    EXPECT_EQ(layout.actions[1].kind, ActionEntry::Kind::set);
    EXPECT_EQ(layout.actions[1].at, 10.0);
    EXPECT_EQ(layout.actions[1].value.text, "1");
}

TEST(LayoutFile, WhatIsWrittenReadsBackTheSame) {
    const std::string once = writeLayout(parseGood(kWalk));
    EXPECT_EQ(writeLayout(parseGood(once)), once);
    EXPECT_THAT(once, testing::HasSubstr(R"("Alphas": [[1, -0.0, 0.001], ["nan", "inf", "-inf"]])"));
    EXPECT_THAT(
        once,
        testing::HasSubstr(
            R"({"from": "attitude:a:b", "to": "out:attitude", "buffer": 64, "order": "lifo", "synchronous": true})"));
}

struct TextFormRow {
    const char* json;
    const char* text;
};

TEST(LayoutFile, ValuesHaveTheTextFormThatPropertiesRead) {
    const TextFormRow rows[] = {
        {R"("static")", "static"},
        {R"("")", ""},
        {"12", "12"},
        {"-0", "-0"},
        {"1e5", "100000"},
        {"2.50", "2.5"},
        {"0.1", "0.1"},
        {"0.30000000000000004", "0.30000000000000004"},
        {"1e-300", "1e-300"},
        {"9007199254740991", "9007199254740991"},
        {"1e300", "1e+300"},
        {"true", "1"},
        {"false", "0"},
        {"[]", "0 0"},
        {"[[],[]]", "2 0"},
        {"[[1, 2.5], [3, 1e20]]", "2 2 1 2.5 3 1e+20"},
    };
    for (const TextFormRow& row : rows) {
        const LayoutFile layout = parseGood(
            R"({"layouts": [{"name": "l", "filters": [{"name": "f", "type": "T", "properties": {"p": )" +
            std::string(row.json) + "}}]}]}");
        EXPECT_EQ(textForm(layout.layouts[0].filters[0].properties.at(0).value), row.text) << row.json;
    }
}

struct BrokenRow {
    const char* rule;
    std::string text;
    std::vector<std::string> mistakes;
};

void expectMistakes(const std::vector<BrokenRow>& rows) {
    for (const BrokenRow& row : rows) {
        Mistakes mistakes;
        parseLayout(row.text, mistakes);
        EXPECT_THAT(textsOf(mistakes), testing::ElementsAreArray(row.mistakes)) << row.rule;
    }
}

TEST(LayoutFile, SyntaxErrorsSayWhereAndWhatWasExpected) {
    expectMistakes({
        {"empty",
         "",
         {"f:1:1: no JSON: syntax error while parsing value - unexpected end of input; expected '[', '{', or "
          "a literal"}},
        {"comma at the end",
         "{\"layouts\": [],\n}",
         {"f:2:1: no JSON: syntax error while parsing object key - unexpected '}'; expected string literal"}},
        {"colon missing",
         "{\n  \"layouts\" []}",
         {"f:2:13: no JSON: syntax error while parsing object separator - unexpected '['; expected ':'"}},
        {"text not ended",
         "{\"layouts",
         {"f:1:2: no JSON: syntax error while parsing object key - invalid string: missing closing quote; "
          "expected string literal"}},
        {"columns count characters",
         "{\"\xC3\xA9\xC3\xA9\" 1}",
         {"f:1:7: no JSON: syntax error while parsing object separator - unexpected number literal; expected "
          "':'"}},
        {"bad UTF-8",
         "{\"\xFF\": 1}",
         {"f:1:2: no JSON: syntax error while parsing object key - invalid string: ill-formed UTF-8 byte; "
          "expected string literal"}},
        {"number too large", "{\"a\": 1e999}", {"f:1:7: no JSON: number overflow parsing '1e999'"}},
        {"more behind the end",
         "{} {}",
         {"f:1:4: no JSON: syntax error while parsing value - unexpected '{'; expected end of input"}},
        {"deep nesting", std::string(70, '['), {"f:1:65: nested deeper than 64 levels; a layout needs 7"}},
    });
}

/// A file whose only filter, connection and action are the given ones.
std::string fileWith(const std::string& filter, const std::string& rest = "") {
    return "{\"layouts\": [{\"name\": \"l\", \"filters\": [\n" + filter + "\n]}]" + rest + "}";
}

const std::string kFilters = R"({"name": "in", "type": "T"}, {"name": "out", "type": "T"})";

std::string connectionRow(const std::string& connection) {
    return fileWith(kFilters, ",\n\"connections\": [\n" + connection + "]");
}

std::string actionRow(const std::string& action) {
    return fileWith(kFilters, ",\n\"actions\": [\n" + action + "]");
}

TEST(LayoutFile, WrongKeysAndTypes) {
    expectMistakes({
        {"no object", "[]", {"f:1:1: a layout file is an object {...}; this is an array"}},
        {"no layouts", "{}", {R"(f:1:1: a layout file needs "layouts": an array of objects)"}},
        {"unknown key, one is near",
         R"({"layouts": [], "conections": []})",
         {R"(f:1:17: unknown key "conections" in a layout file; did you mean "connections"? It takes: $schema, description, plugins, variables, layouts, connections, actions)"}},
        {"unknown key, none is near",
         fileWith(R"({"name": "a", "type": "T", "colour": 1})"),
         {R"(f:2:28: unknown key "colour" in a filter; it takes: name, type, properties, commands)"}},
        {"key twice",
         fileWith(R"({"name": "a", "type": "T", "type": "U"})"),
         {R"(f:2:28: "type" stands twice in a filter; the first is at 2:15)"}},
        {"key missing",
         fileWith(R"({"name": "a"})"),
         {R"(f:2:1: a filter needs "type": a text that is not empty)"}},
        {"name empty",
         fileWith(R"({"name": "", "type": 3})"),
         {R"(f:2:10: "name" of a filter takes a text that is not empty; this is "")",
          R"(f:2:22: "type" of a filter takes a text that is not empty; this is 3)"}},
        {"colon in a name",
         fileWith(R"({"name": "a:b", "type": "T"})"),
         {R"(f:2:10: filter name "a:b" has a colon, which parts filter and pin in "filter:pin"; leave it out)"}},
        {"plugins, variables",
         "{\"plugins\": [1],\n\"variables\": {\"A\": 2, \"B\": \"\", \"B\": \"\"},\n\"layouts\": {}}",
         {"f:1:14: a plugin is given by its name, a text; this is a number",
          R"(f:2:20: the value of variable "A" is a text; this is a number)",
          R"(f:2:32: variable "B" is given twice)",
          R"(f:3:12: "layouts" of a layout file takes an array of objects; this is an object)"}},
        {"elements of the wrong type",
         R"({"layouts": [3, {"name": "l", "filters": ["f"]}]})",
         {"f:1:14: a layout is an object {...}; this is a number",
          "f:1:43: a filter is an object {...}; this is a text"}},
    });
}

TEST(LayoutFile, WrongPropertyValues) {
    const auto property = [](const std::string& value) {
        return fileWith("{\"name\": \"a\", \"type\": \"T\", \"properties\": {\n\"p\": " + value + "}}");
    };
    expectMistakes({
        {"null",
         property("null"),
         {"f:3:6: a property's value is a text, a number, a boolean or a matrix (an array of rows); this is "
          "null"}},
        {"flat array",
         property("[1, 2]"),
         {"f:3:7: a matrix is an array of rows, such as [[1, 2, 3]]; this row is a number"}},
        {"ragged", property("[[1, 2], [3]]"), {"f:3:15: row 1 of the matrix has 1 elements, row 0 has 2"}},
        {"element",
         property("[[1, \"2\"]]"),
         {R"(f:3:11: an element of a matrix is a number or one of the texts "nan", "inf", "-inf"; this is a text)"}},
        {"twice", property("1, \"p\": 2"), {R"(f:3:9: property "p" is given twice)"}},
    });
}

TEST(LayoutFile, WrongConnections) {
    expectMistakes({
        {"ends missing",
         connectionRow("{}"),
         {R"(f:5:1: a connection needs "from": a text)", R"(f:5:1: a connection needs "to": a text)"}},
        {"form of an end",
         connectionRow(R"({"from": "in", "to": "out:"})"),
         {R"(f:5:10: "from" takes the form "filter:pin"; this is "in")",
          R"(f:5:22: "to" takes the form "filter:pin"; this is "out:")"}},
        {"no such filter",
         connectionRow(R"({"from": "inn:a", "to": "elsewhere:b"})"),
         {R"(f:5:10: no filter is named "inn"; did you mean "in"? Filters: in, out)",
          R"(f:5:25: no filter is named "elsewhere"; filters: in, out)"}},
        {"buffer and order",
         connectionRow(R"({"from": "in:a", "to": "out:a", "buffer": -1, "order": "FIFO", "synchronous": 1})"),
         {R"(f:5:43: "buffer" of a connection takes a whole number from 0 to 4294967295; this is -1)",
          R"(f:5:56: "order" of a connection takes "fifo" or "lifo"; this is "FIFO")",
          R"(f:5:79: "synchronous" of a connection takes true or false; this is 1)"}},
        {"fraction",
         connectionRow(R"({"from": "in:a", "to": "out:a", "buffer": 1.5})"),
         {R"(f:5:43: "buffer" of a connection takes a whole number from 0 to 4294967295; this is 1.5)"}},
        {"second source",
         connectionRow("{\"from\": \"in:a\", \"to\": \"out:a\"},\n{\"from\": \"in:b\", \"to\": \"out:a\"}"),
         {R"(f:6:24: input "out:a" has a source already; an input takes one connection)"}},
    });
}

TEST(LayoutFile, WrongActionsAndNamesGivenTwice) {
    expectMistakes({
        {"no time", actionRow(R"({"command": "in:Reset"})"), {R"(f:5:1: an action needs "at": a number)"}},
        {"nothing to do",
         actionRow(R"({"at": 1})"),
         {R"(f:5:1: an action has either "command" or "set" with "value"; this has neither)"}},
        {"both",
         actionRow(R"({"at": 1, "command": "in:c", "set": "in:p", "value": 1})"),
         {R"(f:5:1: an action has either "command" or "set" with "value"; this has both)"}},
        {"value missing",
         actionRow(R"({"at": 1, "set": "in:p"})"),
         {R"(f:5:1: an action with "set" needs "value")"}},
        {"value too much",
         actionRow(R"({"at": 1, "command": "in:c", "value": 1})"),
         {R"(f:5:1: an action with "command" has no "value"; a property is written with "set")"}},
        {"no such filter",
         actionRow(R"({"at": "1", "set": "In2:p", "value": {}})"),
         {R"(f:5:8: "at" of an action takes a number; this is "1")",
          R"(f:5:20: no filter is named "In2"; did you mean "in"? Filters: in, out)",
          R"(f:5:38: "value" of an action takes a text, a number, a boolean or a matrix; this is an object)"}},
        {"names twice",
         R"({"plugins": ["P", "P"], "layouts": [{"name": "l", "filters": [{"name": "a", "type": "T"}]},
{"name": "l", "filters": [{"name": "a", "type": "T"}]}]})",
         {R"(f:1:19: plugin "P" is given twice; once is enough)",
          R"(f:2:10: layout name "l" is given twice; each layout has its own)",
          R"(f:2:36: filter name "a" is given twice; names are unique over all layouts of a file)"}},
    });
}

TEST(LayoutFile, OverridesReplaceOrAppend) {
    LayoutFile layout = parseGood(kWalk);
    Mistakes mistakes;
    for (const char* assignment :
         {"attitude:Mode=dynamic", "attitude:new=a=b:c", "attitude:Alphas=[[1, 2]]", "out:x="})
        overrideProperty(layout, assignment, mistakes);
    overrideVariable(layout, "DATA=/a=b", mistakes);
    overrideVariable(layout, "NEW=", mistakes);
    EXPECT_THAT(textsOf(mistakes), ElementsAre());
    const std::string text = writeLayout(layout);
    for (const char* part : {R"("Mode": "dynamic")", R"("new": "a=b:c")", R"("Alphas": [[1, 2]])",
                             R"("properties": {"x": ""})", R"({"DATA": "/a=b", "OUT": "/tmp", "NEW": ""})"})
        EXPECT_THAT(text, testing::HasSubstr(part));

    for (const char* assignment : {"attitude=1", ":p=1", "attitude:=1", "atitude:p=1", "attitude:p=[1"})
        overrideProperty(layout, assignment, mistakes);
    overrideVariable(layout, "DATA", mistakes);
    EXPECT_THAT(
        textsOf(mistakes),
        ElementsAre(
            R"(--set "attitude=1": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set ":p=1": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set "attitude:=1": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set "atitude:p=1": no filter is named "atitude"; did you mean "attitude"? Filters: recording, attitude, out)",
            R"(--set "attitude:p=[1": no JSON: syntax error while parsing array - unexpected end of input; expected ']')",
            R"(--var "DATA": takes the form NAME=VALUE)"));
}

TEST(LayoutFile, FilesThatAreNone) {
    Mistakes mistakes;
    EXPECT_THROW(loadLayout("no/such/layout.json", mistakes), UsageError);
    EXPECT_THROW(loadLayout(testing::TempDir(), mistakes), UsageError);
    EXPECT_THROW(loadLayout("/dev/zero", mistakes), UsageError);
    EXPECT_TRUE(mistakes.empty());
}

TEST(LayoutFile, FolderIsTheFilesOwn) {
    const std::filesystem::path path = ownFolder() / "folder_layout.json";
    std::ofstream(path) << "\xEF\xBB\xBF{\"layouts\": []}";  // with a byte order mark
    Mistakes mistakes;
    EXPECT_TRUE(std::filesystem::equivalent(loadLayout(path, mistakes).folder, ownFolder()));
    EXPECT_THAT(textsOf(mistakes), ElementsAre());
}

}  // namespace
}  // namespace Kavelin::Cli
