#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>

namespace Kavelin::Cli {

/// Exit status of the program, the same for every command.
enum ExitStatus : int {
    kDone = 0,  ///< the work is done
    kDoneWithErrors =
        1,          ///< done as far as possible: errors in the data or the run, reported on standard error
    kUnusable = 2,  ///< nothing done: wrong usage, or a file that cannot be used
};

/// Ends a command with status kUnusable; `what()` is the message for the user: what was wrong, where, what
/// would be right.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What every command shares: where input comes from, where results and messages go, and the status it
/// leaves. The streams are borrowed from `main` (or a test) and outlive the command.
struct CommandContext {
    std::istream& in;
    std::ostream& out;  ///< results only
    std::ostream& err;  ///< messages only
    int status = kDone;
};

/// Reports `error` on `context.err` as "kavelin: message" and returns the exit status that belongs to its
/// class. kUnusable: usage errors, files that cannot be opened or read, bad contents and names;
/// kDoneWithErrors: all else.
int reportError(CommandContext& context, const std::exception& error);

}  // namespace Kavelin::Cli
