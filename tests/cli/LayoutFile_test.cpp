#include "cli/layout/LayoutFile.h"

#include "cli/layout/LayoutWriter.h"
#include "cli/layout/Overrides.h"
#include "support/OwnFolder.h"
#include "support/TestKit.h"
#include "support/TextRows.h"

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
    EXPECT_EQ(layout.actions[1].value->text, "1");
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

std::vector<std::string> mistakesOf(std::string_view text) {
    Mistakes mistakes;
    parseLayout(text, mistakes);
    return textsOf(mistakes);
}

/// A layout file of a filter, of a property's value, of a connection, of an action.
std::string fileOf(const std::string& kind, const std::string& text) {
    const std::string head = "{\"layouts\": [{\"name\": \"l\", \"filters\": [\n";
    const std::string two =
        head + R"({"name": "in", "type": "T"}, {"name": "out", "type": "T"})" + "\n]}],\n";
    if (kind == "filter") return head + text + "\n]}]}";
    if (kind == "property")
        return head + R"({"name": "a", "type": "T", "properties": {)" + "\n\"p\": " + text + "}}\n]}]}";
    if (kind == "connection") return two + "\"connections\": [\n" + text + "]}";
    if (kind == "action") return two + "\"actions\": [\n" + text + "]}";
    return text;
}

TEST(LayoutFile, MistakesSayWhereAndWhatWouldBeRight) {
    for (const auto& row : textRows(R"rows(
file {"layouts": [],\n} ! 2:1: no JSON: syntax error while parsing object key - unexpected '}'; expected string literal
file {\n  "layouts" []} ! 2:13: no JSON: syntax error while parsing object separator - unexpected '['; expected ':'
file {"layouts ! 1:2: no JSON: syntax error while parsing object key - invalid string: missing closing quote; expected string literal
file {"a": 1e999} ! 1:7: no JSON: number overflow parsing '1e999'
file {} {} ! 1:4: no JSON: syntax error while parsing value - unexpected '{'; expected end of input
file [] ! 1:1: a layout file is an object {...}; this is an array
file {} ! 1:1: a layout file needs "layouts": an array of objects
file {"layouts": [], "conections": []}
! 1:17: unknown key "conections" in a layout file; did you mean "connections"? It takes: $schema, description, plugins, variables, layouts, connections, actions, plot
filter {"name": "a", "type": "T", "colour": 1} ! 2:28: unknown key "colour" in a filter; it takes: name, type, properties, commands
filter {"name": "a", "type": "T", "type": "U"} ! 2:28: "type" stands twice in a filter; the first is at 2:15
filter {"name": "a"} ! 2:1: a filter needs "type": a text that is not empty
filter {"name": "", "type": 3}
! 2:10: "name" of a filter takes a text that is not empty; this is ""
! 2:22: "type" of a filter takes a text that is not empty; this is 3
filter {"name": "a:b", "type": "T"} ! 2:10: filter name "a:b" has a colon, which parts filter and pin in "filter:pin"; leave it out
file {"plugins": [1],\n"variables": {"A": 2, "B": "", "B": ""},\n"layouts": {}}
! 1:14: a plugin is given by its name, a text; this is a number
! 2:20: the value of variable "A" is a text; this is a number
! 2:32: variable "B" is given twice
! 3:12: "layouts" of a layout file takes an array of objects; this is an object
file {"layouts": [3, {"name": "l", "filters": ["f"]}]}
! 1:14: a layout is an object {...}; this is a number
! 1:43: a filter is an object {...}; this is a text
property null ! 3:6: a property's value is a text, a number, a boolean or a matrix (an array of rows); this is null
property [1, 2] ! 3:7: a matrix is an array of rows, such as [[1, 2, 3]]; this row is a number
property [[1, 2], [3]] ! 3:15: row 1 of the matrix has 1 elements, row 0 has 2
property [[1, "2"]] ! 3:11: an element of a matrix is a number or one of the texts "nan", "inf", "-inf"; this is a text
property 1, "p": 2 ! 3:9: property "p" is given twice
connection {} ! 5:1: a connection needs "from": a text ! 5:1: a connection needs "to": a text
connection {"from": "in", "to": "out:"}
! 5:10: "from" takes the form "filter:pin"; this is "in"
! 5:22: "to" takes the form "filter:pin"; this is "out:"
connection {"from": "inn:a", "to": "elsewhere:b"}
! 5:10: no filter is named "inn"; did you mean "in"? Filters: in, out
! 5:25: no filter is named "elsewhere"; filters: in, out
connection {"from": "in:a", "to": "out:a", "buffer": -1, "order": "FIFO", "synchronous": 1}
! 5:43: "buffer" of a connection takes a whole number from 0 to 4294967295; this is -1
! 5:56: "order" of a connection takes "fifo" or "lifo"; this is "FIFO"
! 5:79: "synchronous" of a connection takes true or false; this is 1
connection {"from": "in:a", "to": "out:a", "buffer": 1.5} ! 5:43: "buffer" of a connection takes a whole number from 0 to 4294967295; this is 1.5
connection {"from": "in:a", "to": "out:a"},\n{"from": "in:b", "to": "out:a"} ! 6:24: input "out:a" has a source already; an input takes one connection
action {"command": "in:Reset"} ! 5:1: an action needs "at": a number
action {"at": 1} ! 5:1: an action has either "command" or "set" with "value"; this has neither
action {"at": 1, "command": "in:c", "set": "in:p", "value": 1} ! 5:1: an action has either "command" or "set" with "value"; this has both
action {"at": 1, "set": "in:p"} ! 5:1: an action with "set" needs "value"
action {"at": 1, "command": "in:c", "value": 1} ! 5:1: an action with "command" has no "value"; a property is written with "set"
action {"at": "1", "set": "In2:p", "value": {}}
! 5:8: "at" of an action takes a number; this is "1"
! 5:20: no filter is named "In2"; did you mean "in"? Filters: in, out
! 5:38: "value" of an action takes a text, a number, a boolean or a matrix; this is an object
file {"plugins": ["P", "P"], "layouts": [{"name": "l", "filters": [{"name": "a", "type": "T"}]},\n{"name": "l", "filters": [{"name": "a", "type": "T"}]}]}
! 1:19: plugin "P" is given twice; once is enough
! 2:10: layout name "l" is given twice; each layout has its own
! 2:36: filter name "a" is given twice; names are unique over all layouts of a file
)rows")) {
        std::vector<std::string> mistakes(row.begin() + 2, row.end());
        for (std::string& mistake : mistakes) mistake = "f:" + mistake;
        EXPECT_THAT(mistakesOf(fileOf(row[0], row[1])), ElementsAreArray(mistakes)) << row[1];
    }
}

TEST(LayoutFile, TextThatIsNoJson) {
    const std::string syntax = "no JSON: syntax error while parsing ";
    EXPECT_THAT(
        mistakesOf(""),
        ElementsAre("f:1:1: " + syntax + "value - unexpected end of input; expected '[', '{', or a literal"));
    EXPECT_THAT(
        mistakesOf("{\"\xC3\xA9\xC3\xA9\" 1}"),
        ElementsAre("f:1:7: " + syntax + "object separator - unexpected number literal; expected ':'"))
        << "columns count characters";
    EXPECT_THAT(mistakesOf("{\"\xFF\": 1}"),
                ElementsAre("f:1:2: " + syntax +
                            "object key - invalid string: ill-formed UTF-8 byte; expected string literal"));
    EXPECT_THAT(mistakesOf(std::string(70, '[')),
                ElementsAre("f:1:65: nested deeper than 64 levels; a layout needs 7"));
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

    for (const char* assignment : {"attitude", ":p=1", "attitude:=1", "atitude:p=1", "attitude:p=[1"})
        overrideProperty(layout, assignment, mistakes);
    overrideVariable(layout, "DATA", mistakes);
    EXPECT_THAT(
        textsOf(mistakes),
        ElementsAre(
            R"(--set "attitude": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set ":p=1": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set "attitude:=1": takes the form FILTER:PROPERTY=VALUE)",
            R"(--set "atitude:p=1": no filter is named "atitude"; did you mean "attitude"? Filters: recording, attitude, out)",
            R"(--set "attitude:p=[1": no JSON: syntax error while parsing array - unexpected end of input; expected ']')",
            R"(--var "DATA": takes the form NAME=VALUE)"));
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
