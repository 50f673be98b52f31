#pragma once

#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/PinContent.h>

namespace Kavelin::Core {

class PinManager;
class Synchronizer;

/// A named end point of a filter. Input and output pins share it as a virtual base.
class KAVELIN_API Pin : public NamedObject {
public:
    /// @param owner the filter that the pin belongs to, or null for a pin without one, as in a test.
    Pin(const std::string& name, PinManager* owner);
    ~Pin() override;

    /// The filter that owns the pin; may be null.
    PinManager* getManager() const { return manager_; }
    /// The synchronizer of the pin's filter; null without a filter.
    Synchronizer* getSynchronizer() const;
    /// "filter:pin", for messages and reports.
    std::string fullName() const;
    /// What travels through the pin, as a text that is the same in every module: "Matrix".
    virtual const char* payloadType() const = 0;

    /// What the pin carries, as its filter declares it; the default carries anything.
    const PinContent& content() const { return content_; }
    /// [the filter's constructor, or synchronizers disabled]
    void setContent(const PinContent& content) { content_ = content; }

private:
    PinManager* manager_;
    PinContent content_;
};

}  // namespace Kavelin::Core
