#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Kavelin::Cli {

/// Which parts a worker works on.
struct PartChoice {
    unsigned index = 0;
    unsigned count = 1;
    bool isAny = false;  ///< whichever are free; `index` does not matter
};

/// @return empty: the text is neither "i/n", with i from 0 to n - 1, nor "any/n"
std::optional<PartChoice> parsePart(const std::string& text);

/// Whether a text may stand between the dots of a subject and be a key of a bucket: letters, digits, '-', '_' and '='; no
/// wildcards, blanks or dots; at most 128.
bool isFleetName(std::string_view text);

/// What streams, buckets and subjects of a fleet are called: all follow from two words.
struct FleetNames {
    std::string stream;   ///< "imu": the stream of rows, and the first word of their subjects
    std::string results;  ///< "attitude": the same for results

    std::string badStream() const { return stream + "-bad"; }
    std::string snapshots() const { return stream + "-snapshots"; }
    std::string leases() const { return stream + "-leases"; }
    std::string badSubject() const { return stream + ".bad"; }
    std::string rowSubject(unsigned part, const std::string& unit) const {
        return stream + "." + std::to_string(part) + "." + unit;
    }
    /// Of a unit in any part.
    std::string rowSubjects(const std::string& unit) const { return stream + ".*." + unit; }
    std::string resultSubject(const std::string& unit) const { return results + "." + unit; }
    static std::string leaseKey(unsigned part) { return "part-" + std::to_string(part); }
};

/// What a result's message id says: of which message of which stream it is the result. Streams that are deleted and made again
/// begin their sequences at 1, so the time at which the stream was made belongs to it.
struct ResultId {
    std::uint64_t sequence = 0;
    std::int64_t streamMade = 0;  ///< ns

    std::string text(const std::string& unit) const;  ///< "unit:sequence:made"
    /// @return empty: no such text
    static std::optional<ResultId> parse(std::string_view text);
};

}  // namespace Kavelin::Cli
