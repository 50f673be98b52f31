#pragma once

#include <Kavelin/Core/Export.h>

namespace Util::System {

class AbstractVisitable;

/// Base of every visitor. A concrete one derives from it and from `Visitor<T>` for each T that it knows.
class KAVELIN_API AbstractVisitor {
public:
    virtual ~AbstractVisitor();
    /// Catch-all: called for whatever the visitor has no `Visitor<T>` for. Does nothing by default.
    virtual void visitOther(const AbstractVisitable& visited);
};

/// The part of a visitor that takes a T.
template <class T>
class Visitor {
public:
    virtual void visit(const T& visited) = 0;

protected:
    ~Visitor() = default;
};

/// Something a visitor can be sent to. The default hands itself to the catch-all.
class KAVELIN_API AbstractVisitable {
public:
    virtual ~AbstractVisitable();
    virtual void accept(AbstractVisitor& visitor) const;
};

/// Sends `visitor` to `visited` as a T; false when it has no `Visitor<T>`.
template <class T>
bool visitAs(AbstractVisitor& visitor, const T& visited) {
    auto* typed = dynamic_cast<Visitor<T>*>(&visitor);
    if (typed == nullptr) return false;
    typed->visit(visited);
    return true;
}

}  // namespace Util::System
