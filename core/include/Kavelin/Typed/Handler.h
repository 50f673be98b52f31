#pragma once

#include <Util/System/MemFunHandler.h>

#include <memory>

namespace Kavelin::Core {

/// Binds a member function without argument (commands, file reloads). The object is lent.
template <class Object, class Base>
auto handler(Object* object, void (Base::*function)()) {
    using F = Util::System::Functor<void, Util::System::Seq<>>;
    return F(std::make_unique<Util::System::MemFunHandler<F, Base*, void (Base::*)()>>(object, function));
}

/// Binds a member function that takes the new value (changes). The object is lent.
template <class Object, class Base, class T>
auto handler(Object* object, void (Base::*function)(const T&)) {
    using F = Util::System::Functor<void, Util::System::Seq<const T&>>;
    return F(
        std::make_unique<Util::System::MemFunHandler<F, Base*, void (Base::*)(const T&)>>(object, function));
}

}  // namespace Kavelin::Core
