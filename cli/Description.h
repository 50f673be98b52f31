#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

namespace Kavelin::Core {
class AbstractProperty;
class Filter;
class Pin;
}  // namespace Kavelin::Core

namespace Kavelin::Cli {

// What `kavelin inspect` shows. The JSON object is the description; the text is printed from it,
// so both say the same.

/// `{"plugins": [{"name", "version", "hostVersion", "description", "platform", "buildDate", "types":
/// [...]}]}`.
nlohmann::ordered_json describePlugins();

/// `{"type", "plugin", "pins": [{"name", "direction", "blocking"}], "properties": [{"name", "kind",
/// "writable", "enabled", "default", "minimum", "maximum", "step", "unit", "labels"}]}` of a new filter of
/// that type; pins and properties in the order of their creation, what does not apply left out. Defaults are
/// JSON numbers, booleans, texts and arrays of rows; an enumeration's is its label.
/// @throws Poco::NotFoundException naming the nearest types.
nlohmann::ordered_json describeType(const std::string& type);

/// The same of a filter as it is now: "default" is the present value. [no thread running it]
nlohmann::ordered_json describeFilter(const Core::Filter& filter);

/// The objects among "pins" and "properties" of `describeType`. "default" is the present value.
/// [the property's synchronizer disabled, or its layout not running]
nlohmann::ordered_json describePin(const Core::Pin& pin);
nlohmann::ordered_json describeProperty(const Core::AbstractProperty& property);

void printPlugins(std::ostream& out, const nlohmann::ordered_json& description);
void printType(std::ostream& out, const nlohmann::ordered_json& description);

}  // namespace Kavelin::Cli
