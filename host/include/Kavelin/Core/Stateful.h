#pragma once

#include <Kavelin/Core/Export.h>

namespace Kavelin::Core {

class StateReader;
class StateWriter;

/// A filter that can give what it has learned, and take it back. Filters derive from `WithState` or
/// `WithoutState` (<Kavelin/Typed/State.h>); programs call `saveSnapshot` and `restoreSnapshot`.
///
/// The host adds what it keeps itself: properties, and what the pins hold. State is given and taken between two
/// calls of `process`.  [layout thread, or the layout not running]
class KAVELIN_API Stateful {
public:
    virtual ~Stateful();

    /// Raised whenever what is written changes: states of another version are refused.
    virtual unsigned stateVersion() const = 0;
    virtual void saveState(StateWriter& to) const = 0;
    /// Called after the properties have been restored, and before the pins.
    /// @throws Poco::Exception for a state that cannot be; the host then restores what was before
    virtual void restoreState(StateReader& from) = 0;
};

}  // namespace Kavelin::Core
