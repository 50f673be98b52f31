#include "converters/FilterCompass.h"

#include "converters/computers/CompassAngles.h"

namespace Kavelin::OrientationInternal {

FilterCompass::FilterCompass(const std::string& name) : Filter(name, true) {}

void FilterCompass::process() {
    if (!mag_.readNext()) return;
    const Matrix& sample = mag_.value();
    // Deliberate: the test is on columns, so a 3x1 column is refused and a 2x4 matrix gives its first three
    // elements.
    if (sample.cols() < 3 || sample.rows() < 1) return;
    const CompassAngles angles = compassAngles(Eigen::Vector3d::Map(sample.data()));
    out_.value() << angles.heading, angles.tilt, angles.norm;
    out_.send(mag_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
