#pragma once

#include <cstddef>
#include <utility>

namespace Kavelin::Core {

/// Holds a pointer to the writer's own sample, no copy. The reader sees the writer's memory until the writer
/// refills it, so this kind serves only where both run in one thread. Deliberate: a sample that was taken and
/// is still in use then shows the new value, which can be taken as well.
template <class D>
class SingleValuePtrBuffer {
public:
    using Sample = D;
    explicit SingleValuePtrBuffer(unsigned = 1) {}

    /// @return false when it pushed out another.
    bool put(const D& sample) { return std::exchange(sample_, &sample) == nullptr; }
    /// Null when there is none.
    const D* take() { return std::exchange(sample_, nullptr); }
    void clear() { sample_ = nullptr; }
    unsigned capacity() const { return 1; }
    template <class Visit>
    void visit(const Visit& visit) const {
        if (sample_ != nullptr) visit(*sample_);
    }
    std::size_t size() const { return sample_ == nullptr ? 0 : 1; }

private:
    const D* sample_ = nullptr;  // null while empty
};

}  // namespace Kavelin::Core
