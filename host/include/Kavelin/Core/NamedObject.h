#pragma once

#include <Kavelin/Core/Export.h>

#include <string>

namespace Kavelin::Core {

/// An object with a name that never changes.
class KAVELIN_API NamedObject {
public:
    explicit NamedObject(const std::string& name);
    virtual ~NamedObject();
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;

    const std::string& getName() const { return name_; }

private:
    const std::string name_;
};

}  // namespace Kavelin::Core
