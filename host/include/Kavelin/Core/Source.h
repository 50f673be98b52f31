#pragma once

#include <Kavelin/Core/Export.h>

namespace Kavelin::Core {

/// A filter that brings in samples from outside. In each round a layout calls those of its sources that have
/// the smallest next time stamp.
class KAVELIN_API Source {
public:
    virtual ~Source();

    /// Time stamp of what the next `process` will send. Not asked for at the end.  [layout thread]
    virtual double nextTimeStamp() const = 0;
    /// True when there is nothing more to come.  [layout thread]
    virtual bool atEnd() const = 0;

    /// A source that waits for outside input returns, and is at its end until `resume`. A stop of its layout
    /// calls this, a start calls `resume`. [any thread]
    virtual void interrupt() {}
    virtual void resume() {}

    /// Share of the stream, 0 to 1, that has passed; NaN where it is not known. [layout thread]
    virtual double progress() const;
};

}  // namespace Kavelin::Core
