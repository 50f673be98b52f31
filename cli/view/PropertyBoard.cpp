#include "cli/view/PropertyBoard.h"

#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Synchronizer.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"
#include "cli/Description.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/Overrides.h"
#include "cli/layout/PropertyAccess.h"

namespace Kavelin::Cli {

namespace {

using nlohmann::ordered_json;

constexpr const char* kFileName = "file name";

std::string textOf(const ordered_json& json) {
    return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

/// A page is shown file names, and may not give any.
ordered_json describeForPage(const Core::AbstractProperty& property,
                             const std::optional<std::string>& initial) {
    ordered_json json = describeProperty(property);
    json.erase("default");
    if (json["kind"] == kFileName) json["writable"] = false;
    if (property.hasValue()) json["value"] = property.exactText();
    if (initial) json["default"] = *initial;
    return json;
}

Core::FilterPtr newFilter(const std::string& type) {
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    return plugins.findPluginOf(type) == nullptr ? nullptr : plugins.createFilter(type, type);
}

}  // namespace

PropertyBoard::PropertyBoard(const std::vector<Core::Filter*>& filters) {
    for (Core::Filter* filter : filters) add(*filter);
    look();
    for (const auto& owner : owners_) owner->filter->getPropertyBag().addObserver(*this);
}

PropertyBoard::~PropertyBoard() {
    for (const auto& owner : owners_) owner->filter->getPropertyBag().removeObserver(*this);
}

void PropertyBoard::add(Core::Filter& filter) {
    owners_.push_back(std::make_unique<Owner>());
    Owner& owner = *owners_.back();
    owner.filter = &filter;
    const Core::FilterPtr fresh = newFilter(filter.typeName());
    for (Core::AbstractProperty* property : filter.getPropertyBag().getProperties()) {
        Record record{.property = property};
        const Core::AbstractProperty* initial =
            fresh ? fresh->getPropertyBag().find(property->getName()) : nullptr;
        if (initial && initial->hasValue()) record.initial = initial->exactText();
        owner.records.push_back(std::move(record));
        ownerOf_[property] = &owner;
    }
}

/// Called while the filter is held: only notes that there is something to look at.
void PropertyBoard::valueChanged(const Core::AbstractProperty& property) {
    const auto owner = ownerOf_.find(&property);
    if (owner == ownerOf_.end()) return;
    owner->second->mayHaveChanged.store(true, std::memory_order_relaxed);
    mayHaveChanged_.store(true, std::memory_order_release);
}

/// Under the lock. A write to one property may change what others of its filter say.
void PropertyBoard::look() {
    if (!mayHaveChanged_.exchange(false, std::memory_order_acquire)) return;
    for (const auto& owner : owners_)
        if (owner->mayHaveChanged.exchange(false, std::memory_order_relaxed)) look(*owner);
}

void PropertyBoard::look(Owner& owner) {
    const Core::Synchronizer::DisablerLocker locker(owner.filter->getSynchronizer(), nullptr);
    for (Record& record : owner.records) {
        std::string text = textOf(describeForPage(*record.property, record.initial));
        if (text == record.text) continue;
        record.text = std::move(text);
        record.changed = ++changes_;
    }
}

ordered_json PropertyBoard::describe(const Core::Filter& filter) {
    const std::lock_guard lock(mutex_);
    look();
    ordered_json all = ordered_json::array();
    for (const auto& owner : owners_) {
        if (owner->filter != &filter) continue;
        for (const Record& record : owner->records) all.push_back(ordered_json::parse(record.text));
    }
    return all;
}

std::uint64_t PropertyBoard::present() {
    const std::lock_guard lock(mutex_);
    return changes_;
}

std::vector<std::string> PropertyBoard::changesSince(std::uint64_t& seen) {
    const std::lock_guard lock(mutex_);
    look();
    std::vector<std::string> messages;
    if (seen == changes_) return messages;
    for (const auto& owner : owners_) {
        for (const Record& record : owner->records) {
            if (record.changed <= seen) continue;
            messages.push_back(textOf({{"type", "property"}, {"filter", owner->filter->getName()}}));
            messages.back().back() = ',';
            messages.back() += "\"property\":" + record.text + "}";
        }
    }
    seen = changes_;
    return messages;
}

Core::AbstractProperty& PropertyBoard::find(const std::string& filter, const std::string& property,
                                            bool isCommand) const {
    std::vector<std::string> names;
    for (const auto& owner : owners_) {
        names.push_back(owner->filter->getName());
        if (names.back() != filter) continue;
        Core::AbstractProperty* found = owner->filter->getPropertyBag().find(property);
        if (found && found->hasValue() != isCommand) return *found;
        throw UsageError(
            named(*owner->filter) + ": " +
            noSuch(isCommand ? "command" : "property", property, propertyNames(*owner->filter, isCommand)));
    }
    throw UsageError(noSuch("filter", filter, names));
}

void PropertyBoard::write(const std::string& filter, const std::string& property, const std::string& text) {
    Core::AbstractProperty& found = find(filter, property, false);
    const Core::Synchronizer::DisablerLocker locker(found.getSynchronizer(), nullptr);
    if (found.describe().kind == kFileName)
        throw UsageError("a file name cannot be given from a page: say --set " + filter + ":" + property +
                         "=FILE where kavelin is started");
    PropertyValue value;
    Mistakes mistakes;
    if (!readOverride(text, {}, value, mistakes)) throw UsageError(mistakes.front().text);
    try {
        writeProperty(found, value, {});
    } catch (const std::exception& error) {
        throw UsageError(refusalText(found, value, error));
    }
}

void PropertyBoard::command(const std::string& filter, const std::string& property) {
    dynamic_cast<Core::CommandProperty&>(find(filter, property, true)).activate();
}

}  // namespace Kavelin::Cli
