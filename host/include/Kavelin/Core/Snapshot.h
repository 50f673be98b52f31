#pragma once

#include <Kavelin/Core/Export.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::Core {

class Filter;
class LayoutManager;
class Stateful;

/// What a filter has learned, its properties, and what its pins hold, as bytes with its type, the version of the
/// interface and of its state, and a checksum.  [layout thread, or the layout not running]
/// @throws Poco::NotImplementedException for a filter that is not Stateful
KAVELIN_API std::string saveSnapshot(const Filter& filter);

/// Takes it back: an instance of the same type, wired alike, then goes on as the one that was saved, bit for bit.
/// A sample that a pin borrows from its writer (buffer size 1, one thread) is put back into the writer's pin.
/// @throws Poco::DataFormatException, saying what is wrong, for bytes that are damaged, of another version or type;
/// the filter is then as it was before
KAVELIN_API void restoreSnapshot(Filter& filter, std::string_view bytes);

/// The same for all filters of layouts, and the layouts' logs of errors: between two rounds of a run in one thread.
KAVELIN_API std::string saveSnapshot(const std::vector<LayoutManager*>& layouts);
/// @throws Poco::DataFormatException also where layouts or filters are others than those saved
KAVELIN_API void restoreSnapshot(const std::vector<LayoutManager*>& layouts, std::string_view bytes);

/// Passes many streams through the same filters in turn: saves and restores what their results depend on, in
/// few bytes. Properties must stay as they are: they are not saved, but a state made with others is refused.
/// [layout thread, or the layout not running]
class KAVELIN_API StreamStates {
public:
    /// @param filters lent, wired for good  @throws as `saveSnapshot`
    explicit StreamStates(const std::vector<Filter*>& filters);

    std::string save() const;
    /// @throws Poco::DataFormatException; after that the filters hold no stream's state until the next `restore`
    void restore(std::string_view bytes);

private:
    struct Member {
        Filter* filter;
        Stateful* state;
    };

    std::vector<Member> members_;
    std::uint32_t fingerprint_;  // of types, versions, pins and properties
};

}  // namespace Kavelin::Core
