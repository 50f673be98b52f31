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
};

}  // namespace Kavelin::Core
