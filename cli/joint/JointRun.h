#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <memory>
#include <string>

#include "cli/CommandContext.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/joint/AngleRange.h"
#include "cli/joint/JointFinding.h"
#include "cli/joint/JointLayout.h"
#include "cli/layout/LayoutBuilder.h"

namespace Kavelin::Cli {

/// One run of `kavelin fuse --joint`: a first pass over the recordings finds how the units are aligned with
/// their segments, a second one writes the joint's angles; each is a layout, run as `kavelin run` does.
class JointRun {
public:
    /// @throws UsageError for options that cannot go together
    JointRun(const FuseOptions& options, const JointOptions& joint, CommandContext& context);

    /// Runs both passes, reports on standard error, sets the exit status.
    /// @throws UsageError and Poco exceptions for what cannot be used; nothing is written then
    void run();

private:
    /// A layout under construction and what it is built by.
    struct Stage {
        Stage(const FuseOptions& options, const JointUnits& units, const Estimator& estimator);
        JointLayout::Schemas open();
        void build();

        Mistakes mistakes;
        JointLayout layout;
        std::unique_ptr<Core::Filter> watch;  // declared after the builder's layout, which borrows it
        LayoutBuilder builder;
    };

    void requireOptions() const;
    void requireSensorsOf(const JointLayout::Schemas& schemas) const;
    void requireCommonTime(const JointLayout::Schemas& schemas) const;
    bool hasCommonHeading(const Stage& stage, const JointLayout::Schemas& schemas) const;
    void noteHeading(const Stage& stage, const JointLayout::Schemas& schemas);
    JointFinding survey();
    void writeAngles(const JointFinding& finding);
    void summarise(const JointFinding& finding, const AngleRange& range);

    const FuseOptions options_;
    CommandContext& context_;
    const JointUnits units_;
    const Estimator estimator_;
    JointWishes wishes_;
};

}  // namespace Kavelin::Cli
