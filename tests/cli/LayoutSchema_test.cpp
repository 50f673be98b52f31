#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "cli/layout/LayoutKeys.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using nlohmann::json;

TEST(LayoutSchema, HasTheKeysThatTheParserTakes) {
    const json schema = json::parse(std::ifstream(KAVELIN_SOURCE_DIR "/docs/layout.schema.json"));
    std::map<std::string, std::set<std::string>> keys, required;
    for (const LayoutKey& row : kLayoutKeys) {
        keys[std::string(row.object)].emplace(row.key);
        if (row.required) required[std::string(row.object)].emplace(row.key);
    }
    for (const auto& [object, names] : keys) {
        const json& rule = object == LayoutObject::kFile ? schema : schema["$defs"][object];
        std::set<std::string> inSchema;
        for (const auto& [name, _] : rule["properties"].items()) inSchema.insert(name);
        EXPECT_EQ(inSchema, names) << object;
        EXPECT_EQ(rule.value("required", std::set<std::string>()), required[object]) << object;
        EXPECT_EQ(rule["additionalProperties"], false) << object;
    }
}

}  // namespace
}  // namespace Kavelin::Cli
