#include "cli/CommandContext.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Exception.h>

#include <ostream>

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

int reportError(CommandContext& context, const std::exception& error) {
    context.out.flush();
    const bool speaksForItself = isAnyOf<UsageError>(error);
    const std::string message = Core::exceptionMessage(error);
    context.err << "kavelin: ";
    if (!speaksForItself && message.empty()) context.err << Core::exceptionType(error);
    context.err << message << std::endl;
    return statusOf(error);
}

}  // namespace Kavelin::Cli
