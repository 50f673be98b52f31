#pragma once

#include <Kavelin/Core/Export.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// One kind of failure out of `process`: the same filter, exception class and message.
struct ProcessError {
    std::string layout;
    std::string filter;
    std::string type;  ///< exception class, demangled: "Poco::IOException"
    std::string message;
    double timeStamp = 0.0;  ///< of the first
    std::uint64_t count = 0;
};

/// Collects the exceptions that came out of `process`, each distinct one once.  [any thread]
class KAVELIN_API ErrorLog {
public:
    /// Distinct failures kept one by one; further ones are only counted.
    static constexpr std::size_t kMostKept = 256;
    using Listener = std::function<void(const ProcessError&)>;

    /// Called at the first of each kind, in the thread where it happened.
    void setListener(Listener listener);
    void add(const std::string& layout, const std::string& filter, double timeStamp,
             const std::exception& error);
    std::uint64_t getCount() const;
    std::vector<ProcessError> getErrors() const;
    /// Goes on from what another log held. Tells nobody.
    void restore(std::uint64_t count, std::vector<ProcessError> errors);

private:
    mutable std::mutex mutex_;
    Listener listener_;
    std::uint64_t count_ = 0;
    std::vector<ProcessError> errors_;
};

/// Class name of an exception as its author wrote it ("Poco::RangeException"), and its own message.
KAVELIN_API std::string exceptionType(const std::exception& error);
KAVELIN_API std::string exceptionMessage(const std::exception& error);

}  // namespace Kavelin::Core
