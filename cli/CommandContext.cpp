#include "cli/CommandContext.h"

#include <Poco/Exception.h>
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <typeinfo>

namespace Kavelin::Cli {
namespace {

template <class... Classes>
bool isAnyOf(const std::exception& error) {
    return ((dynamic_cast<const Classes*>(&error) != nullptr) || ...);
}

int statusOf(const std::exception& error) {
    // A file that could not be written to its end: the work was under way.
    if (isAnyOf<Poco::WriteFileException>(error)) return kDoneWithErrors;
    const bool unusable =
        isAnyOf<UsageError, Poco::FileException, Poco::DataException, Poco::NotFoundException,
                Poco::ExistsException, Poco::LibraryLoadException, Poco::NoPermissionException,
                Poco::InvalidArgumentException, Poco::RangeException>(error);
    return unusable ? kUnusable : kDoneWithErrors;
}

}  // namespace

std::string demangled(const std::type_info& type) {
    const char* mangled = type.name();
    int failed = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(mangled, nullptr, nullptr, &failed), &std::free);
    return failed == 0 && name ? name.get() : mangled;
}

std::string exceptionMessage(const std::exception& error) {
    const auto* poco = dynamic_cast<const Poco::Exception*>(&error);
    return poco ? poco->message() : error.what();
}

int reportError(CommandContext& context, const std::exception& error) {
    context.out.flush();
    const bool speaksForItself = isAnyOf<UsageError>(error);
    const std::string message = exceptionMessage(error);
    context.err << "kavelin: ";
    if (!speaksForItself && message.empty()) context.err << demangled(typeid(error));
    context.err << message << std::endl;
    return statusOf(error);
}

}  // namespace Kavelin::Cli
