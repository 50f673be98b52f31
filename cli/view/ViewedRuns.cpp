#include "cli/view/ViewedRuns.h"

#include <filesystem>
#include <ostream>
#include <sstream>

#include "cli/batch/WorkFolder.h"
#include "cli/fuse/FuseRun.h"

namespace Kavelin::Cli {

namespace {

class ViewedLayoutRun final : public ViewedRun {
public:
    ViewedLayoutRun(const LayoutFileRunOptions& options, CommandContext& context) : run_(options, context) {}
    const LayoutBuilder& builder() const override { return run_.builder(); }
    void run(RoundGate& gate, RunWatcher& watcher, const Tell&) override { run_.run(&gate, &watcher); }

private:
    LayoutFileRun run_;
};

class ViewedFuseRun final : public ViewedRun {
public:
    ViewedFuseRun(const FuseOptions& options, std::string folder, CommandContext& context)
        : context_(context),
          folder_(std::move(folder)),
          own_{context.in, context.out, report_},
          run_(options, own_) {}
    const LayoutBuilder& builder() const override { return run_.builder(); }
    std::string temporaryFolder() const override { return folder_; }
    void run(RoundGate& gate, RunWatcher& watcher, const Tell& tell) override {
        run_.run(&gate, &watcher);
        context_.status = std::max(context_.status, own_.status);
        context_.err << report_.str() << std::flush;
        constexpr std::string_view kError = "kavelin: ";
        for (std::string line; std::getline(report_, line);) {
            const bool isError = line.starts_with(kError);
            tell(isError ? line.substr(kError.size()) : line, isError);
        }
    }

private:
    CommandContext& context_;
    const std::string folder_;
    std::stringstream report_;
    CommandContext own_;
    FuseRun run_;
};

}  // namespace

ViewSession::Maker makeLayoutRuns(LayoutFileRunOptions options, CommandContext& context) {
    options.run.threads = true;
    options.run.hasProgress = false;
    return [options = std::move(options), &context] {
        return std::make_unique<ViewedLayoutRun>(options, context);
    };
}

ViewSession::Maker makeFuseRuns(FuseOptions options, const std::string& output, CommandContext& context) {
    std::shared_ptr<WorkFolder> folder;
    options.output = output;
    if (output.empty()) {
        folder = std::make_shared<WorkFolder>(std::filesystem::temp_directory_path().string());
        const std::string stem = std::filesystem::path(options.recording).stem().string();
        options.output =
            folder->path() + "/" + (stem.empty() || stem == "-" ? "recording" : stem) + "-orientation.csv";
    }
    return [options = std::move(options), folder, &context] {
        return std::make_unique<ViewedFuseRun>(options, folder ? folder->path() : "", context);
    };
}

}  // namespace Kavelin::Cli
