#pragma once

#include <memory>
#include <utility>

namespace Util::System {

/// Argument list of a functor.
template <class... Args>
struct Seq {};

template <class R, class Arguments>
class FunctorImpl;

/// What a functor calls: one implementation per kind of callee.
template <class R, class... Args>
class FunctorImpl<R, Seq<Args...>> {
public:
    virtual ~FunctorImpl() = default;
    virtual R operator()(Args... args) = 0;
    virtual std::unique_ptr<FunctorImpl> clone() const = 0;
};

template <class R, class Arguments>
class Functor;

/// A callable that owns what it calls. Copying clones the implementation; an empty one converts to false
/// and must not be called.
template <class R, class... Args>
class Functor<R, Seq<Args...>> {
public:
    using Impl = FunctorImpl<R, Seq<Args...>>;

    Functor() = default;
    explicit Functor(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
    Functor(const Functor& other) : impl_(other.impl_ ? other.impl_->clone() : nullptr) {}
    Functor(Functor&&) noexcept = default;
    Functor& operator=(const Functor& other) {
        impl_ = other.impl_ ? other.impl_->clone() : nullptr;
        return *this;
    }
    Functor& operator=(Functor&&) noexcept = default;

    explicit operator bool() const { return impl_ != nullptr; }
    R operator()(Args... args) const { return (*impl_)(std::forward<Args>(args)...); }

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace Util::System
