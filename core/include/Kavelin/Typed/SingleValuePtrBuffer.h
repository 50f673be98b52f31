#pragma once

#include <cstddef>

namespace Kavelin::Core {

/// Holds a pointer to the writer's own sample, no copy. The reader sees the writer's memory until the writer
/// refills it, so this kind serves only where both run in one thread. Deliberate: a sample that was taken and
/// is still in use then shows the new value, which can be taken as well.
template <class D>
class SingleValuePtrBuffer {
public:
    using Sample = D;
    explicit SingleValuePtrBuffer(unsigned = 1) {}

    /// @return how many samples were pushed out.
    std::size_t put(const D& sample) {
        const std::size_t overwritten = empty_ ? 0 : 1;
        sample_ = &sample;
        empty_ = false;
        return overwritten;
    }
    /// Null when there is none.
    const D* take() {
        if (empty_) return nullptr;
        empty_ = true;
        return sample_;
    }
    void clear() { empty_ = true; }
    unsigned capacity() const { return 1; }
    std::size_t size() const { return empty_ ? 0 : 1; }

private:
    const D* sample_ = nullptr;
    bool empty_ = true;
};

}  // namespace Kavelin::Core
