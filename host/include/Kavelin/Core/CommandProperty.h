#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <Util/System/Functor.h>

namespace Kavelin::Core {

/// A button: no value, only a handler that runs when the property is activated.
class KAVELIN_API CommandProperty : public AbstractProperty {
public:
    using Handler = Util::System::Functor<void, Util::System::Seq<>>;

    CommandProperty(const std::string& name, PropertyBag* bag);
    CommandProperty(const std::string& name, PropertyBagOwner* owner);
    CommandProperty(const std::string& name, PropertyBagOwner* owner, Handler handler);
    ~CommandProperty() override;

    /// Replaces the handler, with the synchronizer held disabled.
    void setHandler(Handler handler);
    /// Runs the handler, with the synchronizer held disabled, and tells the observers.  [any thread]
    void activate();

    void accept(Util::System::AbstractVisitor& visitor) const override;
    /// Yields the empty text.
    void serialize(std::string& out) const override;
    /// @throws Poco::NotImplementedException: a command has no value to set; it is activated.
    void deSerialize(const std::string& text) override;
    void setAny(const Poco::Any& value) override;
    Poco::Any getAny() const override;
    PropertyDescription describeForm() const;

private:
    Handler handler_;
};

}  // namespace Kavelin::Core
