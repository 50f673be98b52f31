#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Core/Snapshot.h>
#include <Kavelin/Core/StateArchive.h>
#include <Kavelin/Core/StateSeal.h>
#include <Kavelin/Core/Stateful.h>
#include <Kavelin/Core/Version.h>
#include <Poco/Exception.h>

#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "PairingWatch.h"
#include "Topology.h"

namespace Kavelin::Core {

template <class Archive>
void serialize(Archive& archive, SavedValue& value) {
    archive(value.name, value.text, value.kind);
}

template <class Archive>
void serialize(Archive& archive, ProcessError& error) {
    archive(error.layout, error.filter, error.type, error.message, error.timeStamp, error.count);
}

namespace {

constexpr std::string_view kMark = "KAVELIN STATE 1\n";

[[noreturn]] void refuse(const std::string& why) { throw Poco::DataFormatException(why); }

const Stateful& stateOf(const Filter& filter) {
    if (const auto* state = dynamic_cast<const Stateful*>(&filter)) return *state;
    throw Poco::NotImplementedException("'" + filter.getName() + "' cannot be saved: " + filter.typeName() +
                                        " does not give its state");
}

std::string pathOf(const Filter& filter) {
    return filter.getManager() == nullptr ? filter.getName()
                                          : filter.getManager()->getName() + "/" + filter.getName();
}

// A filter in a snapshot: a head, and a body that only an instance of the same kind can read.
struct Record {
    std::string filter;  // layout and name
    std::string type;
    unsigned version = 0;  // of its state
    std::string body;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(filter, type, version, body);
    }
};

struct Log {
    std::string layout;
    std::uint64_t count = 0;
    std::vector<ProcessError> errors;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(layout, count, errors);
    }
};

struct Content {
    std::string host;  // version of the interface
    std::vector<Record> records;
    std::vector<Log> logs;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(host, records, logs);
    }
};

template <class P>
std::vector<std::string> names(const std::vector<P*>& pins) {
    std::vector<std::string> names;
    for (const P* pin : pins) names.push_back(pin->getName());
    return names;
}

void savePins(const Filter& filter, StateWriter& to) {
    for (const AbstractOutputPin* pin : filter.getOutputPins()) pin->saveState(to);
    for (const AbstractInputPin* pin : filter.getInputPins()) pin->saveState(to);
}

void restorePins(Filter& filter, StateReader& from) {
    for (AbstractOutputPin* pin : filter.getOutputPins()) pin->restoreState(from);
    for (AbstractInputPin* pin : filter.getInputPins()) pin->restoreState(from);
}

void savePairing(const Filter& filter, StateWriter& to) {
    const PairingWatch* const watch = filter.getPairingWatch(TopologyLock());
    to(watch != nullptr);
    if (watch != nullptr) watch->save(to);
}

void restorePairing(Filter& filter, StateReader& from) {
    bool isThere = false;
    from(isThere);
    std::unique_ptr<PairingWatch>& watch = filter.getPairingWatch(TopologyLock());
    if (!isThere) return watch.reset();
    if (watch == nullptr) watch = std::make_unique<PairingWatch>();
    watch->restore(from, filter.getInputPins());
}

std::string bodyOf(const Filter& filter) {
    StateWriter body(StateExtent::kAll);
    body(filter.getPropertyBag().save());
    stateOf(filter).saveState(body);
    body(names(filter.getOutputPins()), names(filter.getInputPins()));
    savePins(filter, body);
    savePairing(filter, body);
    return body.take();
}

void requirePins(Filter& filter, const std::vector<std::string>& outputs,
                 const std::vector<std::string>& inputs) {
    for (const std::string& name : inputs) filter.getInputPin(name);  // makes those that are made on demand
    if (names(filter.getOutputPins()) != outputs || names(filter.getInputPins()) != inputs)
        refuse("its pins are others than those saved");
}

void restoreBody(Filter& filter, std::string_view bytes) {
    StateReader body(bytes, StateExtent::kAll);
    PropertyBag::SavedValues values;
    body(values);
    if (values != filter.getPropertyBag().save()) filter.getPropertyBag().restore(values);
    dynamic_cast<Stateful&>(filter).restoreState(body);
    std::vector<std::string> outputs, inputs;
    body(outputs, inputs);
    requirePins(filter, outputs, inputs);
    restorePins(filter, body);
    restorePairing(filter, body);
    if (!body.rest().empty()) refuse("it holds more than the filter takes");
}

std::vector<Record> recordsOf(const std::vector<Filter*>& filters) {
    std::vector<Record> records;
    for (const Filter* filter : filters)
        records.push_back(
            {pathOf(*filter), filter->typeName(), stateOf(*filter).stateVersion(), bodyOf(*filter)});
    return records;
}

std::string closed(const Content& content) {
    StateWriter to(StateExtent::kAll);
    to(content);
    return sealed(kMark, to.bytes());
}

Content opened(std::string_view snapshot) {
    StateReader from(unsealed(kMark, snapshot, "a snapshot of a filter's state"), StateExtent::kAll);
    Content content;
    from(content.host);
    if (content.host != kHostVersion)
        refuse("the snapshot is of version " + content.host + " of the interface, this host has " +
               kHostVersion);
    from(content.records, content.logs);
    return content;
}

void requireSame(const Filter& filter, const Record& record, bool byName) {
    const auto place = "the snapshot of '" + record.filter + "'";
    if (byName && pathOf(filter) != record.filter)
        refuse(place + " stands where '" + pathOf(filter) + "' is expected: the layouts differ");
    if (filter.typeName() != record.type)
        refuse(place + " is of a " + record.type + ", not of a " + filter.typeName());
    if (stateOf(filter).stateVersion() != record.version)
        refuse(place + " is of version " + std::to_string(record.version) + " of the state of " +
               record.type + "; this one takes " + std::to_string(stateOf(filter).stateVersion()));
}

void restoreAll(const std::vector<Filter*>& filters, const std::vector<Record>& records) {
    for (std::size_t i = 0; i < filters.size(); ++i) {
        try {
            restoreBody(*filters[i], records[i].body);
        } catch (const std::exception& refusal) {
            refuse("the snapshot of '" + records[i].filter +
                   "' cannot be restored: " + exceptionMessage(refusal));
        }
    }
}

/// All, or else nothing.
void restoreRecords(const std::vector<Filter*>& filters, const std::vector<Record>& records, bool byName) {
    if (filters.size() != records.size())
        refuse("the snapshot holds " + std::to_string(records.size()) + " filters, there are " +
               std::to_string(filters.size()));
    for (std::size_t i = 0; i < filters.size(); ++i) requireSame(*filters[i], records[i], byName);
    const std::vector<Record> before = recordsOf(filters);
    try {
        restoreAll(filters, records);
    } catch (...) {
        restoreAll(filters, before);
        throw;
    }
}

std::vector<Filter*> filtersOf(const std::vector<LayoutManager*>& layouts) {
    std::vector<Filter*> filters;
    for (const LayoutManager* layout : layouts)
        filters.insert(filters.end(), layout->getFilters().begin(), layout->getFilters().end());
    return filters;
}

}  // namespace

Stateful::~Stateful() = default;

void StateReader::failShort() { refuse("the state is damaged: it ends early"); }

std::string saveSnapshot(const Filter& filter) {
    return closed({kHostVersion, recordsOf({const_cast<Filter*>(&filter)}), {}});
}

void restoreSnapshot(Filter& filter, std::string_view bytes) {
    restoreRecords({&filter}, opened(bytes).records, false);
}

std::string saveSnapshot(const std::vector<LayoutManager*>& layouts) {
    Content content{kHostVersion, recordsOf(filtersOf(layouts)), {}};
    for (LayoutManager* layout : layouts)
        content.logs.push_back(
            {layout->getName(), layout->getErrors().getCount(), layout->getErrors().getErrors()});
    return closed(content);
}

void restoreSnapshot(const std::vector<LayoutManager*>& layouts, std::string_view bytes) {
    Content content = opened(bytes);
    if (content.logs.size() != layouts.size())
        refuse("the snapshot holds " + std::to_string(content.logs.size()) + " layouts, there are " +
               std::to_string(layouts.size()));
    restoreRecords(filtersOf(layouts), content.records, true);
    for (std::size_t i = 0; i < layouts.size(); ++i)
        layouts[i]->getErrors().restore(content.logs[i].count, std::move(content.logs[i].errors));
}

StreamStates::StreamStates(const std::vector<Filter*>& filters) {
    StateWriter kinds(StateExtent::kAll);
    kinds(std::string(kHostVersion));
    for (Filter* filter : filters) {
        members_.push_back({filter, const_cast<Stateful*>(&stateOf(*filter))});
        kinds(filter->typeName(), stateOf(*filter).stateVersion());
        kinds(names(filter->getOutputPins()), names(filter->getInputPins()));
        for (const AbstractInputPin* pin : filter->getInputPins())
            kinds(pin->getBufferSize(), pin->getConnectedOutput() != nullptr);
        kinds(filter->getPropertyBag().save());
    }
    fingerprint_ = checksum(kinds.bytes());
}

std::string StreamStates::save() const {
    StateWriter to(StateExtent::kResults);
    to(std::uint32_t{0}, fingerprint_);
    for (const Member& member : members_) {
        member.state->saveState(to);
        savePins(*member.filter, to);
    }
    std::string bytes = to.take();
    const std::uint32_t sum = checksum(std::string_view(bytes).substr(sizeof(std::uint32_t)));
    std::memcpy(bytes.data(), &sum, sizeof sum);
    return bytes;
}

void StreamStates::restore(std::string_view bytes) {
    std::uint32_t sum = 0, fingerprint = 0;
    StateReader from(bytes, StateExtent::kResults);
    from(sum);
    if (checksum(from.rest()) != sum) refuse("the state is damaged: its checksum is not that of its bytes");
    from(fingerprint);
    if (fingerprint != fingerprint_)
        refuse("the state was made by other filters, by another version of one, or with other properties");
    for (const Member& member : members_) {
        member.state->restoreState(from);
        restorePins(*member.filter, from);
    }
    if (!from.rest().empty()) refuse("the state is damaged: it holds more than the filters take");
}

}  // namespace Kavelin::Core
