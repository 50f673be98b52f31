#pragma once

#include <iosfwd>
#include <map>
#include <string>

#include "cli/batch/ProcessPool.h"
#include "cli/validate/CheckRecord.h"
#include "cli/validate/ValidateOptions.h"

namespace Kavelin::Cli {

/// One check of one plugin or type, and how it ended.
struct Validated {
    std::string plugin;  ///< as a command line names it
    std::string type;    ///< empty: the plugin itself
    std::string check;
    Outcome outcome = Outcome::running;
    std::string where, wrong, expected;
    std::string output;  ///< what the process of the check wrote

    /// "TYPE/CHECK", as --only and --reproduce name it.
    std::string name() const { return type.empty() ? check : type + "/" + check; }
    bool isFault() const { return outcome != Outcome::passed && outcome != Outcome::skipped; }
};

/// The result of a check, from what its process left and how it ended.
void conclude(Validated& check, const CheckRecord& record, const ChildEnd& end);

/// The command that runs the check alone, in its own process.
std::string reproduceCommand(const Validated& check, std::uint64_t seed);

/// Writes results as they come; all of one type together, with what there is to tell of them.
class ValidateReport {
public:
    ValidateReport(std::ostream& out, const ValidateOptions& options) : out_(out), options_(options) {}

    /// One plugin or type, all of whose checks have ended.
    void add(std::span<const Validated> checks);
    /// The counts, or for programs the object with all.
    void finish();
    bool hasFaults() const;

private:
    std::ostream& out_;
    const ValidateOptions& options_;
    std::map<Outcome, std::size_t> counts_;
    std::vector<Validated> all_;
};

}  // namespace Kavelin::Cli
