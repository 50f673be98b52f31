#pragma once

#include <Kavelin/Core/AbstractProperty.h>

namespace Kavelin::Core {

/// A text. With expansion on, `get` replaces each `${NAME}` by the flow manager's variable of that name, or
/// the environment's; the stored text keeps it.
class KAVELIN_API StringProperty : public AbstractProperty {
public:
    StringProperty(const std::string& name, PropertyBag* bag);
    StringProperty(const std::string& name, PropertyBagOwner* owner);
    ~StringProperty() override;

    void setExpandVariables(bool expand) { expand_ = expand; }
    /// The text, expanded where that is on.
    std::string get() const;
    /// The text as it was written.
    std::string getRaw() const;
    /// @throws what `validate` and `applyChange` throw; the old text stays then.
    void set(const std::string& text);

    void accept(Util::System::AbstractVisitor& visitor) const override;
    void serialize(std::string& out) const override;
    void deSerialize(const std::string& text) override;
    void setAny(const Poco::Any& value) override;
    /// Holds a copy of the text as it was written.
    Poco::Any getAny() const override;
    /// Refuses a value by raising, before it is taken. The default accepts all.
    virtual void validate(const std::string& text) const;
    PropertyDescription describeForm() const;

protected:
    /// Acts on the new text, which is in place already; raising takes it back.
    virtual void applyChange();

private:
    std::string text_;
    bool expand_ = false;
};

}  // namespace Kavelin::Core
