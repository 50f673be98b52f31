#pragma once

#include <algorithm>
#include <memory>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

/// The bytes of a source, one of them replaced by another.
class TranslatedSource : public ByteSource {
public:
    TranslatedSource(std::unique_ptr<ByteSource> source, char from, char to)
        : source_(std::move(source)), from_(from), to_(to) {}

    std::size_t read(char* into, std::size_t size) override {
        const std::size_t count = source_->read(into, size);
        std::replace(into, into + count, from_, to_);
        return count;
    }
    std::function<void()> closer() override { return source_->closer(); }
    bool mayWait() const override { return source_->mayWait(); }
    std::uint64_t consumed() const override { return source_->consumed(); }
    std::uint64_t total() const override { return source_->total(); }

private:
    std::unique_ptr<ByteSource> source_;
    char from_;
    char to_;
};

}  // namespace Kavelin::RecordingIO
