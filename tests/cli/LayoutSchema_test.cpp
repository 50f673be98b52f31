#include <set>

#include "cli/layout/LayoutFile.h"
#include "cli/layout/LayoutKeys.h"
#include "support/SchemaCheck.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using nlohmann::json;

const std::filesystem::path kRoot = KAVELIN_SOURCE_DIR;

const json& schema() {
    static const json root = json::parse(std::ifstream(kRoot / "docs" / "layout.schema.json"));
    return root;
}

bool accepts(const json& root, const json& value) { return SchemaCheck(root).accepts(root, value); }

TEST(LayoutSchema, HasTheKeysThatTheParserTakes) {
    std::map<std::string, std::set<std::string>> keys, required;
    for (const LayoutKey& row : kLayoutKeys) {
        keys[std::string(row.object)].emplace(row.key);
        if (row.required) required[std::string(row.object)].emplace(row.key);
    }
    for (const auto& [object, names] : keys) {
        const json& rule = object == LayoutObject::kFile ? schema() : schema()["$defs"][object];
        std::set<std::string> inSchema;
        for (const auto& [name, _] : rule["properties"].items()) inSchema.insert(name);
        EXPECT_EQ(inSchema, names) << object;
        EXPECT_EQ(rule.value("required", std::set<std::string>()), required[object]) << object;
        EXPECT_EQ(rule["additionalProperties"], false) << object;
    }
}

TEST(LayoutSchema, TakesAndRefusesWhatTheParserDoes) {
    const std::string filters =
        R"("layouts": [{"name": "l", "filters": [{"name": "a", "type": "T"}, {"name": "b", "type": "T"}]}])";
    const auto filter = [](const std::string& text) {
        return R"({"layouts": [{"name": "l", "filters": [)" + text + "]}]}";
    };
    const auto property = [&](const std::string& v) {
        return filter(R"({"name": "a", "type": "T", "properties": {"p": )" + v + "}}");
    };
    const auto connection = [&](const std::string& c) {
        return "{" + filters + ", \"connections\": [" + c + "]}";
    };
    const auto action = [&](const std::string& a) { return "{" + filters + ", \"actions\": [" + a + "]}"; };
    const auto line = [&](const std::string& l) {
        return "{" + filters + ", \"plot\": [{\"lines\": [" + l + "]}]}";
    };
    const auto panel = [&](const std::string& rest) {
        return "{" + filters + R"(, "plot": [{"lines": [{"from": "a:x"}])" + rest + "}]}";
    };
    const std::string texts[] = {
        "[]",
        "{}",
        R"({"layouts": []})",
        R"({"layouts": {}})",
        R"({"layouts": [1]})",
        R"({"layouts": [], "x": 1})",
        R"({"layouts": [], "plugins": ["P"], "variables": {"A": ""}})",
        R"({"layouts": [], "plugins": [1]})",
        R"({"layouts": [], "variables": {"A": 1}})",
        R"({"layouts": [{"name": "l"}]})",
        filter(R"({"name": "a"})"),
        filter(R"({"name": "", "type": "T"})"),
        filter(R"({"name": "a:b", "type": "T"})"),
        filter(R"({"name": "a", "type": ""})"),
        filter(R"({"name": "a", "type": "T", "commands": ["C"]})"),
        filter(R"({"name": "a", "type": "T", "commands": "C"})"),
        property("1"),
        property("\"\""),
        property("true"),
        property("null"),
        property("{}"),
        property("[]"),
        property("[[], []]"),
        property("[[1, \"nan\"]]"),
        property("[[1, \"one\"]]"),
        property("[1]"),
        connection(R"({"from": "a:x", "to": "b:x:y"})"),
        connection(R"({"from": "a:", "to": "b:x"})"),
        connection(R"({"from": "a:x"})"),
        connection(R"({"from": "a:x", "to": "b:x", "buffer": 0, "order": "lifo", "synchronous": false})"),
        connection(R"({"from": "a:x", "to": "b:x", "buffer": 4294967296})"),
        connection(R"({"from": "a:x", "to": "b:x", "buffer": 0.5})"),
        connection(R"({"from": "a:x", "to": "b:x", "buffer": -1})"),
        connection(R"({"from": "a:x", "to": "b:x", "order": "Lifo"})"),
        action(R"({"at": 1, "command": "a:c"})"),
        action(R"({"command": "a:c"})"),
        action(R"({"at": 1})"),
        action(R"({"at": 1, "set": "a:p"})"),
        action(R"({"at": 1, "set": "a:p", "value": 1})"),
        action(R"({"at": 1, "command": "a:c", "value": 1})"),
        action(R"({"at": 1, "set": "a:p", "command": "a:c", "value": 1})"),
        line(""),
        line(R"({"from": "a:x", "element": 2, "label": "l"})"),
        line(R"({"from": "a:x", "element": 0})"),
        line(R"({"from": "a:x", "element": "norm"})"),
        line(R"({"from": "a:x", "element": "x"})"),
        line(R"({"from": "a"})"),
        line(R"({"label": "l"})"),
        panel(R"(, "label": "p", "range": [0, 1.5])"),
        panel(R"(, "range": [0])"),
        panel(R"(, "colour": "red")"),
    };
    for (const std::string& text : texts) {
        Mistakes mistakes;
        parseLayout(text, mistakes);
        EXPECT_EQ(accepts(schema(), json::parse(text)), mistakes.empty()) << text;
    }
}

TEST(LayoutSchema, TakesTheExamples) {
    int examples = 0;
    for (const char* folder : {"examples", "docs/filters/figures"}) {
        for (const auto& entry : std::filesystem::directory_iterator(kRoot / folder)) {
            if (entry.path().extension() != ".json") continue;
            ++examples;
            Mistakes mistakes;
            loadLayout(entry.path(), mistakes);
            for (const Mistake& mistake : mistakes) ADD_FAILURE() << toText(mistake, entry.path());
            EXPECT_TRUE(accepts(schema(), json::parse(std::ifstream(entry.path())))) << entry.path();
        }
    }
    EXPECT_GT(examples, 0);
}

}  // namespace
}  // namespace Kavelin::Cli
