#pragma once

#include <Kavelin/Typed/ValueProperty.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

namespace Kavelin::Core {

template <class Label>
class EnumProperty;

/// One of a list of labels; the value is the label's index. The text form is the label, or the index where it
/// has none; either can be read.
template <>
class EnumProperty<std::string> : public ValueProperty<int> {
public:
    using LabelHandler = Util::System::Functor<void, Util::System::Seq<>>;

    EnumProperty(const std::string& name, PropertyBagOwner* owner, std::vector<std::string> labels, int index,
                 Handler handler = {})
        : ValueProperty<int>(name, owner, index, std::move(handler)), labels_(std::move(labels)) {
        setForm(kPropertyForm<EnumProperty>);
    }

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) ValueProperty<int>::accept(visitor);
    }
    void serialize(std::string& out) const override {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        out = labelOf(value());
    }
    /// @throws Poco::DataFormatException, naming the labels, for a text that is neither a label nor an index.
    void deSerialize(const std::string& text) override { set(indexOf(text)); }
    /// @throws Poco::RangeException without a message when the index is not below the number of labels (an
    /// empty list accepts any); Poco::NoPermissionException; what the handler throws.
    void validate(const int& index) const override {
        // Deliberate: a negative index lies below the number of labels and is accepted.
        if (!labels_.empty() && index >= static_cast<int>(labels_.size())) throw Poco::RangeException();
        ValueProperty<int>::validate(index);
    }
    /// Announces that the labels have changed: to the handler set for it, then to the observers.
    virtual void labelsChanged() {
        if (labelHandler_) labelHandler_();
        notifyAttributeChanged();
    }
    std::string writeExact() const {
        std::string text;
        serialize(text);
        return text;
    }
    void readExact(const std::string& text) { deSerialize(text); }
    PropertyDescription describeForm() const {
        PropertyDescription description;
        description.kind = "enum";
        description.labels = labels_;
        return description;
    }

    const std::vector<std::string>& getLabels() const { return labels_; }
    void setLabels(std::vector<std::string> labels) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        labels_ = std::move(labels);
        labelsChanged();
    }
    void setLabelHandler(LabelHandler labelHandler) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        labelHandler_ = std::move(labelHandler);
    }

private:
    std::string labelOf(int index) const {
        const bool hasLabel = index >= 0 && index < static_cast<int>(labels_.size());
        return hasLabel ? labels_[static_cast<std::size_t>(index)] : std::to_string(index);
    }
    int indexOf(const std::string& text) const {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        const auto label = std::find(labels_.begin(), labels_.end(), text);
        if (label != labels_.end()) return static_cast<int>(label - labels_.begin());
        int index = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
        if (!text.empty() && error == std::errc{} && end == text.data() + text.size()) return index;
        std::string list;
        for (const std::string& known : labels_) list += (list.empty() ? "'" : ", '") + known + "'";
        throw Poco::DataFormatException("'" + text + "' is no label of '" + getName() + "'; there are " +
                                        list);
    }

    std::vector<std::string> labels_;
    LabelHandler labelHandler_;
};

}  // namespace Kavelin::Core
