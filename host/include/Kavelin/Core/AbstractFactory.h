#pragma once

#include <Kavelin/Core/Export.h>

#include <string>

namespace Kavelin::Core {

class Filter;

/// Makes objects of one type and destroys them again, in the module that knows the type.
template <class T>
class AbstractFactory {
public:
    virtual ~AbstractFactory() = default;
    /// Deletes what `create` made; null is ignored.
    virtual void destroy(T* object) = 0;
    virtual std::string typeName() const = 0;
    /// @return a new object of that name, owned by the caller until it is given to `destroy`; null when
    /// allocation yields nothing.
    virtual T* create(const std::string& name) = 0;
};

class KAVELIN_API AbstractFilterFactory : public AbstractFactory<Filter> {
public:
    ~AbstractFilterFactory() override;
};

}  // namespace Kavelin::Core
