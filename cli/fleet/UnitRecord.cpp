#include "cli/fleet/UnitRecord.h"

#include <Kavelin/Core/StateArchive.h>
#include <Kavelin/Core/StateSeal.h>
#include <Poco/Exception.h>

#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#include <utility>

#include "cli/fleet/StateDifference.h"

namespace Kavelin::Cli {

namespace {

constexpr std::string_view kMark = "KAVELIN UNIT 1\n";
constexpr std::size_t kZeros = std::size_t{1} << 16;
constexpr std::size_t kLongestState = std::size_t{1} << 26;

template <class Archive, class Record, class Sum>
void archive(Archive& to, Record& record, Sum& freshSum) {
    to(record.columns, record.time.isDate, record.time.unit, record.isCalibrated, record.isTimeWatched,
       record.firstTimes, freshSum);
}

}  // namespace

FreshState::FreshState(std::string state)
    : bytes(std::move(state)), base(bytes + std::string(kZeros, '\0')), sum(Core::checksum(bytes)) {}

std::string packUnit(const UnitRecord& unit, const FreshState& fresh, std::string_view filters) {
    Core::StateWriter to(Core::StateExtent::kResults);
    archive(to, unit, fresh.sum);
    const std::string& head = to.bytes();
    const std::uint32_t sum = Core::checksum(head);
    std::string bytes(kMark);
    bytes.append(reinterpret_cast<const char*>(&sum), sizeof sum);
    bytes += head;
    appendDifference(bytes, fresh.base, filters);
    bytes.shrink_to_fit();  // there are thousands of them
    return bytes;
}

PackedUnit::PackedUnit(std::string_view bytes) {
    if (!bytes.starts_with(kMark))
        throw Poco::DataFormatException("the state is not that of a unit, or of another version");
    bytes.remove_prefix(kMark.size());
    Core::StateReader from(bytes, Core::StateExtent::kResults);
    std::uint32_t sum = 0;
    from(sum);
    const std::string_view behindSum = from.rest();
    archive(from, record, freshSum);
    difference = from.rest();
    if (Core::checksum(behindSum.substr(0, behindSum.size() - difference.size())) != sum)
        throw Poco::DataFormatException("the unit's state is damaged: its checksum is not that of its bytes");
}

std::string PackedUnit::filters(const FreshState& fresh) const {
    if (fresh.sum != freshSum)
        throw Poco::DataFormatException(
            "the unit's state was made with other filters or settings, or by another version of the program");
    return applyDifference(fresh.base, difference, kLongestState);
}

}  // namespace Kavelin::Cli
