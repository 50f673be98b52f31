#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Exception.h>
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

namespace Kavelin::Core {

std::string exceptionType(const std::exception& error) {
    const char* mangled = typeid(error).name();
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : mangled;
}

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

std::vector<ProcessError> ErrorLog::getErrors() const {
    std::lock_guard lock(mutex_);
    return errors_;
}

}  // namespace Kavelin::Core
