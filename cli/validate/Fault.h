#pragma once

#include <stdexcept>
#include <string>

namespace Kavelin::Cli {

/// What a check found wrong; it ends the check.
class Fault : public std::runtime_error {
public:
    /// @param where pin, property, sample; empty: where the check says it was.
    /// @param wrong what is there.  @param expected what would be right; may be empty.
    Fault(std::string where, const std::string& wrong, std::string expected = {})
        : std::runtime_error(wrong), where_(std::move(where)), expected_(std::move(expected)) {}

    const std::string& where() const { return where_; }
    const std::string& expected() const { return expected_; }

private:
    std::string where_, expected_;
};

/// Why a check does not apply.
class Skip : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Kavelin::Cli
