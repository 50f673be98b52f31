#include "cli/validate/CheckRecord.h"

#include <Poco/Exception.h>
#include <sys/mman.h>

#include <algorithm>

namespace Kavelin::Cli {

const char* outcomeName(Outcome outcome) {
    static constexpr const char* kNames[] = {"running", "passed",    "failed",
                                             "crashed", "timed out", "skipped"};
    return kNames[static_cast<std::size_t>(outcome)];
}

SharedRecords::SharedRecords(std::size_t count) {
    count = std::max<std::size_t>(count, 1);
    void* const memory = ::mmap(nullptr, count * sizeof(CheckRecord), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw Poco::SystemException("no memory to share with the checks");
    records_ = {static_cast<CheckRecord*>(memory), count};  // zero pages are records at their beginning
}

SharedRecords::~SharedRecords() { ::munmap(records_.data(), records_.size_bytes()); }

}  // namespace Kavelin::Cli
