#include "cli/view/ViewedRuns.h"

#include <Poco/Exception.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <sstream>

#include "cli/fuse/FuseRun.h"

namespace Kavelin::Cli {

namespace {

/// A folder that only this user can look into, and that goes with it.
class PrivateFolder {
public:
    PrivateFolder() : path_((std::filesystem::temp_directory_path() / "kavelin-view-XXXXXX").string()) {
        if (!::mkdtemp(path_.data()))
            throw Poco::CreateFileException("cannot make the folder '" + path_ + "'", std::strerror(errno));
    }
    ~PrivateFolder() {
        std::error_code unknown;
        std::filesystem::remove_all(path_, unknown);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

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
    std::shared_ptr<PrivateFolder> folder;
    options.output = output;
    if (output.empty()) {
        folder = std::make_shared<PrivateFolder>();
        const std::string stem = std::filesystem::path(options.recording).stem().string();
        options.output =
            folder->path() + "/" + (stem.empty() || stem == "-" ? "recording" : stem) + "-orientation.csv";
    }
    return [options = std::move(options), folder, &context] {
        return std::make_unique<ViewedFuseRun>(options, folder ? folder->path() : "", context);
    };
}

}  // namespace Kavelin::Cli
