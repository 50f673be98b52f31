#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/Names.h>
#include <Poco/Exception.h>

namespace Kavelin::Core {

std::string exceptionType(const std::exception& error) { return className(typeid(error)); }

std::string exceptionMessage(const std::exception& error) {
    if (const auto* poco = dynamic_cast<const Poco::Exception*>(&error)) return poco->message();
    return error.what();
}

void ErrorLog::setListener(Listener listener) {
    std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

void ErrorLog::add(const std::string& layout, const std::string& filter, double timeStamp,
                   const std::exception& error) {
    const std::string type = exceptionType(error);
    const std::string message = exceptionMessage(error);
    std::lock_guard lock(mutex_);
    ++count_;
    for (ProcessError& known : errors_) {
        if (known.filter == filter && known.layout == layout && known.type == type &&
            known.message == message) {
            ++known.count;
            return;
        }
    }
    if (errors_.size() >= kMostKept) return;
    errors_.push_back({layout, filter, type, message, timeStamp, 1});
    if (listener_) listener_(errors_.back());
}

std::uint64_t ErrorLog::getCount() const {
    std::lock_guard lock(mutex_);
    return count_;
}

void ErrorLog::restore(std::uint64_t count, std::vector<ProcessError> errors) {
    std::lock_guard lock(mutex_);
    count_ = count;
    errors_ = std::move(errors);
}

std::vector<ProcessError> ErrorLog::getErrors() const {
    std::lock_guard lock(mutex_);
    return errors_;
}

}  // namespace Kavelin::Core
