#pragma once

#include <Util/System/Functor.h>

namespace Util::System {

template <class FunctorType, class ObjectPointer, class MemberFunction>
class MemFunHandler;

/// Calls a member function of an object. The object is lent and must outlive the functor.
template <class R, class... Args, class ObjectPointer, class MemberFunction>
class MemFunHandler<Functor<R, Seq<Args...>>, ObjectPointer, MemberFunction> final
    : public FunctorImpl<R, Seq<Args...>> {
public:
    MemFunHandler(ObjectPointer object, MemberFunction function) : object_(object), function_(function) {}

    R operator()(Args... args) override { return (object_->*function_)(std::forward<Args>(args)...); }
    std::unique_ptr<FunctorImpl<R, Seq<Args...>>> clone() const override {
        return std::make_unique<MemFunHandler>(*this);
    }

private:
    ObjectPointer object_;
    MemberFunction function_;
};

}  // namespace Util::System
