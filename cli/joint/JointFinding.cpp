#include "cli/joint/JointFinding.h"

#include <fmt/format.h>

#include <array>

#include "attitude/rotation/AngleConstants.h"
#include "cli/CommandContext.h"
#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

using OrientationInternal::HingeAxis;
using OrientationInternal::HingePairing;
using OrientationInternal::JointPose;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::StillPose;
using OrientationInternal::Vector3;

namespace {

constexpr std::size_t kFewestInPose = 10;

std::string degrees(double angle) { return fmt::format("{:.3g}", angle * kRadiansToDegrees); }

void requireStill(const StillPose& pose, const std::string& unit, const TimeInterval& interval) {
    if (pose.isStill()) return;
    throw UsageError(fmt::format(
        "--pose {}: {} moves there: its rate varies by {} degrees/s and its orientation by {} degrees, RMS; "
        "{} and {} at most are still; choose an interval in which both units are held still",
        interval.text, unit, degrees(pose.rateSpread), degrees(pose.spread),
        degrees(StillPose::kGreatestRateSpread), degrees(StillPose::kGreatestSpread)));
}

JointPose findPose(const JointSurvey& survey, const TimeInterval& interval, const JointUnits& units) {
    const JointSurvey::Span& all = survey.all();
    if (!(all.first <= all.last)) {
        throw UsageError(
            fmt::format("{} and {} have no attitudes of one time; are their time stamps of one clock? --set "
                        "pairs:Shift=G=SECONDS shifts those of {}",
                        units[0].recording, units[1].recording, units[1].name));
    }
    const double covered = survey.inPose().last - survey.inPose().first;
    if (survey.poseSamples() < kFewestInPose || !(covered >= 0.5 * (interval.end - interval.begin))) {
        throw UsageError(fmt::format(
            "--pose {}: both units together have only {} samples there; they have samples from {} s to {} s, "
            "the pose needs {} or more that cover half of the interval",
            interval.text, survey.poseSamples(), numberText(all.first), numberText(all.last), kFewestInPose));
    }
    const JointPose pose{survey.poseOfD().result(), survey.poseOfG().result()};
    requireStill(pose.d, units[0].name, interval);
    requireStill(pose.g, units[1].name, interval);
    return pose;
}

const char* const kWithoutHinge = "; without --hinge the angles come from the pose alone";

std::string undeterminedText(const HingeAxis& axis, const JointUnits& units) {
    const double share = axis.slopeShareOfD;
    if (share > 0.3 && share < 0.7) return "the joint hardly bends while the units move: bend it too";
    const std::string& still = units[share > 0.5 ? 0 : 1].name;
    return still + " hardly turns, so that the axis in it stays unknown: turn it too";
}

void requireHinge(const HingeAxis& axis, const JointUnits& units) {
    switch (axis.weakness()) {
        case HingeAxis::Weakness::kNone:
            return;
        case HingeAxis::Weakness::kNoMotion:
            throw UsageError(
                fmt::format("--hinge: the motion does not tell the axis: {} samples with a rate above {} "
                            "degrees/s, {} are "
                            "needed; bend the joint and turn both units, for ten seconds or so{}",
                            axis.samples, degrees(OrientationInternal::JointSamples::kSlowest),
                            HingeAxis::kFewestSamples, kWithoutHinge));
        case HingeAxis::Weakness::kUndetermined:
            throw UsageError("--hinge: the motion does not tell the axis: " + undeterminedText(axis, units) +
                             kWithoutHinge);
        case HingeAxis::Weakness::kNotAHinge:
            throw UsageError(fmt::format(
                "--hinge: the motion is not that of a hinge: across the best axis the rates differ by {} "
                "degrees/s of {}, RMS, {:.0f} % and {:.0f} % at most are one; are the clocks of both units "
                "the same, "
                "and is each fixed to its segment?{}",
                degrees(axis.residual), degrees(axis.rate), 100 * axis.residual / axis.rate,
                100 * HingeAxis::kGreatestResidual, kWithoutHinge));
    }
}

void requirePairing(const HingePairing& pairing) {
    if (!pairing.isCertain) {
        throw UsageError(
            "--hinge: the motion does not tell which way the axis of one unit points in the other: it stays "
            "level, and the headings have no common zero without a field; lift the limb sideways too, so "
            "that "
            "the axis tilts, or say --alike if both units are mounted alike");
    }
    if (!pairing.fits()) {
        throw UsageError(fmt::format(
            "--hinge: the motion is not that of a hinge: the axes found in both units differ by {} degrees "
            "in the earth, and {:.0f} % of the relative rate is across them; {} degrees and {:.0f} % at most "
            "are one{}",
            degrees(pairing.disagreement), 100 * pairing.across, degrees(HingePairing::kGreatestDisagreement),
            100 * HingePairing::kGreatestAcross, kWithoutHinge));
    }
}

void findHinge(const JointSurvey& survey, const JointWishes& wishes, const JointUnits& units,
               JointFinding& finding) {
    const std::vector<OrientationInternal::JointSample>& motion = survey.motion().kept();
    // What a gyroscope shows at rest is its bias.
    const Vector3 bias_d = finding.pose ? finding.pose->d.meanRate : survey.bias(0);
    const Vector3 bias_g = finding.pose ? finding.pose->g.meanRate : survey.bias(1);
    finding.axis = findHingeAxis(motion, bias_d, bias_g);
    requireHinge(finding.axis, units);
    OrientationInternal::PairingHints hints{.hasCommonHeading = wishes.hasCommonHeading, .isOpposite = {}};
    if (wishes.alike) hints.isOpposite = finding.axis.d.dot(finding.axis.g) < 0.0;
    finding.pairing = pairHingeAxes(motion, finding.axis, bias_d, bias_g, hints);
    requirePairing(finding.pairing);
    const Vector3 g = finding.pairing.isOpposite ? Vector3(-finding.axis.g) : finding.axis.g;
    finding.hinge = towardsFlexion({finding.axis.d, g, finding.pairing.heading}, motion, finding.pose);
}

std::string list(const Vector3& v) { return fmt::format("({:.3f}, {:.3f}, {:.3f})", v.x(), v.y(), v.z()); }

std::string hingeText(const JointFinding& finding, const JointUnits& units) {
    const HingeAxis& axis = finding.axis;
    const HingePairing& pairing = finding.pairing;
    return fmt::format(
        "hinge: {} in {}, {} in {}, within {} degrees by its residual, {} of {} degrees/s ({:.2g} %)\n"
        "the axes differ by {} degrees in the earth; {:.2g} % of the relative rate is across them\n"
        "heading of {} turned by {} degrees; during the motion its difference changes by {} degrees, which "
        "the "
        "hinge takes out\n",
        list(finding.hinge->d), units[0].name, list(finding.hinge->g), units[1].name, degrees(axis.sigma()),
        degrees(axis.residual), degrees(axis.rate), 100 * axis.residual / axis.rate,
        degrees(pairing.disagreement), 100 * pairing.across, units[1].name,
        degrees(finding.alignment.g.heading), degrees(pairing.drift));
}

}  // namespace

JointFinding findJoint(const JointSurvey& survey, const JointWishes& wishes, const JointUnits& units) {
    JointFinding finding;
    if (wishes.pose) finding.pose = findPose(survey, *wishes.pose, units);
    if (wishes.hinge) findHinge(survey, wishes, units, finding);
    if (finding.pose)
        finding.alignment = alignJoint(*finding.pose, finding.hinge);
    else if (finding.hinge)
        finding.alignment = alignJoint(*finding.hinge);
    return finding;
}

std::string findingText(const JointFinding& finding, const JointWishes& wishes, const JointUnits& units) {
    std::string text;
    if (finding.pose) {
        text += fmt::format("pose {}: {} still within {} degrees, {} within {}; the angles are zero there\n",
                            wishes.pose->text, units[0].name, degrees(finding.pose->d.spread), units[1].name,
                            degrees(finding.pose->g.spread));
    } else {
        text += "no --pose: the angles are zero at the first pair of samples\n";
    }
    if (finding.hinge)
        text += hingeText(finding, units);
    else
        text += "no --hinge: flexion is about z of " + units[0].name +
                ", unless joint:axis is set, and only as good as that axis\n";
    return text;
}

}  // namespace Kavelin::Cli
