#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Core/Stage.h>
#include <Util/System/Visitor.h>

#include <limits>

namespace Kavelin::Core {

NamedObject::NamedObject(const std::string& name) : name_(name) {}
NamedObject::~NamedObject() = default;
Source::~Source() = default;
Stage::~Stage() = default;
double Source::progress() const { return std::numeric_limits<double>::quiet_NaN(); }

}  // namespace Kavelin::Core

namespace Util::System {

AbstractVisitor::~AbstractVisitor() = default;
void AbstractVisitor::visitOther(const AbstractVisitable&) {}
AbstractVisitable::~AbstractVisitable() = default;
void AbstractVisitable::accept(AbstractVisitor& visitor) const { visitor.visitOther(*this); }

}  // namespace Util::System
