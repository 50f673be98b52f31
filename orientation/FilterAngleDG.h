#pragma once

#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/StampMatcher.h>

#include <string>

#include "orientation/frames/AngleDGComputer.h"

namespace Kavelin::OrientationInternal {

/// Computes the angle between two units, D and G:
/// a joint angle, with its swing-twist decomposition about "axis".
///
/// "D", "G": attitudes, sensor to earth, in the same earth frame; 3x3 or 1x4 (w, x, y, z). Samples of the
/// same time go together (see StampMatcher), others are skipped; a pair with another shape, or with one that
/// is not a rotation, is dropped. "angle":
/// 1x1, rad, the whole rotation, 0 to pi. "twist": 1x1, rad, about the axis, in [-pi, pi). "swing": 1x1, rad,
/// what remains, 0 to pi. "relative": 1x4, of D to G, w not negative. All are stamped with the later time
/// stamp of the pair.
class FilterAngleDG : public Filter, public Core::WithState<FilterAngleDG> {
public:
    static constexpr const char* kTypeName = "FilterAngleDG";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterAngleDG(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(matcher_, computer_);
    }

private:
    /// @throws Poco::DataFormatException unless the axis is 1x3 and has a direction.
    void onAxis(const Matrix& axis);
    void onReference() { computer_.requestReference(); }

    InputPin<Matrix> d_{"D", this, quaternionOrMatrix(kQuaternion)};
    InputPin<Matrix> g_{"G", this, quaternionOrMatrix(kQuaternion)};
    OutputPin<Matrix> angle_{"angle", this, kAngle};
    OutputPin<Matrix> twist_{"twist", this, kAngle};
    OutputPin<Matrix> swing_{"swing", this, kAngle};
    OutputPin<Matrix> relative_{"relative", this, inFrame(kQuaternion, "G to D")};
    ValueProperty<Matrix> axis_{"axis", this, Matrix{{0, 0, 1}}, handler(this, &FilterAngleDG::onAxis)};
    CommandProperty reference_{"Reference", this, handler(this, &FilterAngleDG::onReference)};

    Core::StampMatcher matcher_;
    AngleDGComputer computer_;
};

}  // namespace Kavelin::OrientationInternal
