#pragma once

#include <memory>
#include <utility>

namespace Kavelin::Python {

/// A method for a class that Python holds by `std::shared_ptr`. An object whose `__init__` was not called is refused: the
/// holder tells, a plain pointer to it would not.
template <class Class, class Result, class... Arguments>
auto held(Result (Class::*method)(Arguments...)) {
    return [method](const std::shared_ptr<Class>& self, Arguments... arguments) -> Result {
        return ((*self).*method)(std::forward<Arguments>(arguments)...);
    };
}
template <class Class, class Result, class... Arguments>
auto held(Result (Class::*method)(Arguments...) const) {
    return [method](const std::shared_ptr<Class>& self, Arguments... arguments) -> Result {
        return ((*self).*method)(std::forward<Arguments>(arguments)...);
    };
}

}  // namespace Kavelin::Python
