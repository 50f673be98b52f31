#pragma once

#include <Kavelin/Core/Export.h>

namespace Kavelin::Core {

/// A filter that brings samples in from outside. A layout calls, in each round, those of its sources whose
/// next time stamp is smallest.
class KAVELIN_API Source {
public:
    virtual ~Source();

    /// Time stamp of what the next `process` will send. Not asked for at the end.  [layout thread]
    virtual double nextTimeStamp() const = 0;
    /// True when there is nothing more to come.  [layout thread]
    virtual bool atEnd() const = 0;

    /// A source that waits for somebody outside returns, and is at its end until `resume`. A stop of its
    /// layout calls this, a start calls `resume`.  [any thread]
    virtual void interrupt() {}
    virtual void resume() {}

    /// Share of the stream, 0 to 1, that has passed; not a number where it is not known.  [layout thread]
    virtual double progress() const;
};

}  // namespace Kavelin::Core
