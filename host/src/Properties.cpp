#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Core/PropertyBag.h>
#include <Kavelin/Core/PropertyBagOwner.h>
#include <Kavelin/Core/StringProperty.h>
#include <Kavelin/Core/Synchronizer.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <exception>
#include <map>
#include <utility>

#include "NameList.h"

namespace Kavelin::Core {

// The bag

PropertyBag::PropertyBag(Synchronizer* synchronizer) : synchronizer_(synchronizer) {}

AbstractProperty* PropertyBag::find(const std::string& name) const { return findNamed(properties_, name); }

AbstractProperty& PropertyBag::get(const std::string& name) const {
    if (AbstractProperty* property = find(name)) return *property;
    throw Poco::NotFoundException("There is no property '" + name + "'; there are " +
                                  listNames(namesOf(properties_)));
}

PropertyBag::SavedValues PropertyBag::save() const {
    const Synchronizer::DisablerLocker locker(synchronizer_, nullptr);
    SavedValues values;
    std::map<std::uint64_t, SavedValue> writes;
    for (const AbstractProperty* property : properties_) {
        if (!property->hasValue() || !property->isWritable()) continue;
        SavedValue value{property->getName(), property->exactText()};
        if (property->taken_ > 0) {
            writes[property->taken_] = std::move(value);
        } else {
            value.kind = SavedValue::Kind::initial;
            values.push_back(std::move(value));
        }
        if (property->refused_ > property->taken_) {
            writes[property->refused_] = {property->getName(), property->refusedText_,
                                          SavedValue::Kind::refused};
        }
    }
    for (auto& [number, value] : writes) values.push_back(std::move(value));
    return values;
}

namespace {

// Why a property refuses a text, from whatever it raises; empty when it accepts the text.
std::string refusalOf(AbstractProperty& property, const std::string& text) {
    try {
        property.setExactText(text);
        return {};
    } catch (const Poco::Exception& error) {
        return error.displayText();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception that is not a std::exception";
    }
}

}  // namespace

void PropertyBag::restore(const SavedValues& values) {
    for (const SavedValue& value : values) get(value.name);
    const Synchronizer::DisablerLocker locker(synchronizer_, nullptr);
    SavedValues shown;
    std::string refused;
    for (const SavedValue& value : values) {
        AbstractProperty& property = get(value.name);
        const bool isRefused = value.kind == SavedValue::Kind::refused;
        const bool isUntouched = value.kind == SavedValue::Kind::initial && property.taken_ == 0 &&
                                 property.exactText() == value.text;
        if (isUntouched) {
            shown.push_back(value);
            continue;
        }
        const std::string refusal = refusalOf(property, value.text);
        if (isRefused) continue;
        if (refusal.empty()) {
            shown.push_back(value);
        } else {
            refused +=
                (refused.empty() ? "'" : "; '") + value.name + "' refuses '" + value.text + "': " + refusal;
        }
    }
    settle(shown);
    if (!refused.empty()) throw Poco::InvalidArgumentException(refused);
    // What was written, and in which order, is as it was saved, whatever has been written here before.
    writes_ = 0;
    for (AbstractProperty* property : properties_) property->taken_ = property->refused_ = 0;
    for (const SavedValue& value : values) {
        AbstractProperty& property = get(value.name);
        if (value.kind == SavedValue::Kind::written) property.taken_ = ++writes_;
        if (value.kind != SavedValue::Kind::refused) continue;
        property.refused_ = ++writes_;
        property.refusedText_ = value.text;
    }
}

void PropertyBag::settle(const SavedValues& values) {
    const Synchronizer::DisablerLocker locker(synchronizer_, nullptr);
    isSettling_ = true;
    try {
        for (const SavedValue& value : values) {
            AbstractProperty& property = get(value.name);
            if (property.exactText() != value.text) property.setExactText(value.text);
        }
    } catch (...) {
        isSettling_ = false;
        throw;
    }
    isSettling_ = false;
}

void PropertyBag::addObserver(PropertyObserver& observer) {
    const Synchronizer::DisablerLocker locker(synchronizer_, nullptr);
    observers_.push_back(&observer);
}

void PropertyBag::removeObserver(PropertyObserver& observer) {
    const Synchronizer::DisablerLocker locker(synchronizer_, nullptr);
    std::erase(observers_, &observer);
}

// Any property

PropertyObserver::~PropertyObserver() = default;
void PropertyObserver::valueChanged(const AbstractProperty&) {}
void PropertyObserver::attributeChanged(const AbstractProperty&) {}

AbstractProperty::AbstractProperty(const std::string& name, PropertyBag* bag)
    : NamedObject(name), bag_(bag), form_(&kPropertyForm<AbstractProperty>) {
    if (bag_ == nullptr) return;
    if (bag_->find(name) != nullptr) throw Poco::ExistsException("A property '" + name + "' exists already");
    bag_->properties_.push_back(this);
}

AbstractProperty::AbstractProperty(const std::string& name, PropertyBagOwner* owner)
    : AbstractProperty(name, owner == nullptr ? nullptr : &owner->getPropertyBag()) {}

AbstractProperty::~AbstractProperty() {
    if (bag_ != nullptr) std::erase(bag_->properties_, this);
}

void AbstractProperty::accept(Util::System::AbstractVisitor& visitor) const {
    if (!Util::System::visitAs(visitor, *this)) AbstractVisitable::accept(visitor);
}

std::string AbstractProperty::writeExact() const {
    std::string text;
    serialize(text);
    return text;
}

void AbstractProperty::addObserver(PropertyObserver& observer) {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    observers_.push_back(&observer);
}

void AbstractProperty::removeObserver(PropertyObserver& observer) {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    std::erase(observers_, &observer);
}

void AbstractProperty::noteTaken() {
    if (bag_ != nullptr && !bag_->isSettling_) taken_ = ++bag_->writes_;
}

void AbstractProperty::noteRefused(std::string exactText) {
    if (bag_ == nullptr) return;
    refused_ = ++bag_->writes_;
    refusedText_ = std::move(exactText);
}

bool AbstractProperty::isSettling() const { return bag_ != nullptr && bag_->isSettling_; }

bool AbstractProperty::hasObservers() const {
    return !observers_.empty() || (bag_ != nullptr && !bag_->observers_.empty());
}

namespace {

// On copies: an observer may remove itself, or add another.
template <class Call>
void tellAll(std::vector<PropertyObserver*> own, std::vector<PropertyObserver*> ofBag, Call call) {
    for (PropertyObserver* observer : own) call(*observer);
    for (PropertyObserver* observer : ofBag) call(*observer);
}

}  // namespace

void AbstractProperty::notifyAttributeChanged() const {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    if (!hasObservers()) return;
    tellAll(observers_, bag_ ? bag_->observers_ : std::vector<PropertyObserver*>{},
            [this](PropertyObserver& observer) { observer.attributeChanged(*this); });
}

void AbstractProperty::notifyValueChanged() const {
    tellAll(observers_, bag_ ? bag_->observers_ : std::vector<PropertyObserver*>{},
            [this](PropertyObserver& observer) { observer.valueChanged(*this); });
}

AbstractProperty::ScopedChangeValueNotifier::ScopedChangeValueNotifier(const AbstractProperty* property,
                                                                       bool notify)
    : property_(property), notify_(notify), exceptions_(std::uncaught_exceptions()) {}

AbstractProperty::ScopedChangeValueNotifier::~ScopedChangeValueNotifier() noexcept(false) {
    if (notify_ && std::uncaught_exceptions() == exceptions_) property_->notifyValueChanged();
}

// Text

StringProperty::StringProperty(const std::string& name, PropertyBag* bag) : AbstractProperty(name, bag) {
    setForm(kPropertyForm<StringProperty>);
}
StringProperty::StringProperty(const std::string& name, PropertyBagOwner* owner)
    : AbstractProperty(name, owner) {
    setForm(kPropertyForm<StringProperty>);
}
StringProperty::~StringProperty() = default;

std::string StringProperty::get() const {
    const std::string text = getRaw();
    return expand_ ? FlowManager::instance().expandVariables(text) : text;
}

std::string StringProperty::getRaw() const {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    return text_;
}

void StringProperty::set(const std::string& text) {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    validate(text);
    std::string old = text;
    text_.swap(old);
    try {
        applyChange();
    } catch (...) {
        text_.swap(old);
        throw;
    }
    noteTaken();
    const ScopedChangeValueNotifier notifier(this, hasObservers() && old != text_);
}

void StringProperty::accept(Util::System::AbstractVisitor& visitor) const {
    if (!Util::System::visitAs(visitor, *this)) AbstractProperty::accept(visitor);
}

void StringProperty::serialize(std::string& out) const { out = getRaw(); }
void StringProperty::deSerialize(const std::string& text) { set(text); }

void StringProperty::setAny(const Poco::Any& value) {
    const auto* text = Poco::AnyCast<std::string>(&value);
    if (text == nullptr)
        throw Poco::BadCastException("RefAnyCast: Failed to convert between const Any types");
    set(*text);
}

Poco::Any StringProperty::getAny() const { return getRaw(); }

PropertyDescription StringProperty::describeForm() const {
    PropertyDescription description;
    description.kind = "text";
    return description;
}

void StringProperty::validate(const std::string&) const {}
void StringProperty::applyChange() {}

// Command

CommandProperty::CommandProperty(const std::string& name, PropertyBag* bag) : AbstractProperty(name, bag) {
    setForm(kPropertyForm<CommandProperty, false>);
}
CommandProperty::CommandProperty(const std::string& name, PropertyBagOwner* owner)
    : AbstractProperty(name, owner) {
    setForm(kPropertyForm<CommandProperty, false>);
}
CommandProperty::CommandProperty(const std::string& name, PropertyBagOwner* owner, Handler handler)
    : CommandProperty(name, owner) {
    setHandler(std::move(handler));
}
CommandProperty::~CommandProperty() = default;

void CommandProperty::setHandler(Handler handler) {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    handler_ = std::move(handler);
}

void CommandProperty::activate() {
    const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
    if (handler_) handler_();
    const ScopedChangeValueNotifier notifier(this, hasObservers());
}

void CommandProperty::accept(Util::System::AbstractVisitor& visitor) const {
    if (!Util::System::visitAs(visitor, *this)) AbstractProperty::accept(visitor);
}

void CommandProperty::serialize(std::string& out) const { out.clear(); }

void CommandProperty::deSerialize(const std::string&) {
    throw Poco::NotImplementedException("'" + getName() + "' is a command: it has no value, activate it");
}

void CommandProperty::setAny(const Poco::Any&) { deSerialize({}); }
Poco::Any CommandProperty::getAny() const { return {}; }

PropertyDescription CommandProperty::describeForm() const {
    PropertyDescription description;
    description.kind = "command";
    return description;
}

}  // namespace Kavelin::Core
