#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/batch/BatchEntry.h"
#include "cli/batch/BatchPlan.h"
#include "cli/fuse/FuseOptions.h"

namespace Kavelin::Cli {

struct ChildEnd;
class WorkFolder;

struct BatchOptions {
    std::vector<std::string> recordings;  ///< files and folders of files
    std::string kind;         ///< ending of the results' names, without its dot; empty: what suits
    std::size_t jobs = 0;     ///< recordings at a time; 0: as many as there are processors
    bool allSensors = false;  ///< a result of each sensor of a recording
    bool resume = false;      ///< keep the results that still hold
    std::string text;         ///< what shapes a result, to be compared at a resume
};

/// `kavelin fuse` of many recordings into one folder, each in a process of its own.
class BatchRun {
public:
    /// Finds the recordings and checks everything that does not depend on one; makes the folder of results.
    /// @param fuse options of each run; its output is the folder, its plot "svg" or "png"
    /// @throws UsageError and Poco exceptions where nothing can start
    BatchRun(BatchOptions options, FuseOptions fuse, CommandContext& context);
    ~BatchRun();

    /// Runs what is to be run, reports errors on standard error as they come, in the order of the recordings, then prints
    /// the table, and sets the exit status.
    void run();

private:
    struct Paths;

    std::string ending() const;
    std::vector<std::string> sensorNames(const std::string& recording) const;
    void requireUsable() const;
    void requireNotOthers() const;
    void chooseUnitFiles();
    std::string path(const std::string& result) const;
    FuseOptions optionsOf(std::size_t item) const;
    int work(std::size_t item);
    void take(std::size_t item, const ChildEnd& end);
    void complete(std::size_t item, bool isWhole);
    void tell(std::size_t item, std::string text);
    void tellDue();
    void showProgress();
    void note(std::size_t item);
    void report();
    void writeSummary() const;

    const BatchOptions options_;
    const FuseOptions fuse_;
    CommandContext& context_;
    /// Of an item: the files of its unit, and the options with what they hold now, to be compared at a resume.
    struct Choice {
        std::string calibration, mount, text;
    };

    std::vector<BatchItem> items_;
    std::vector<Choice> choices_;      // one for each item
    std::vector<BatchEntry> entries_;  // one for each item
    std::vector<std::string> stamps_;  // of the recordings, before their runs
    std::unique_ptr<WorkFolder> work_;

    std::map<std::size_t, std::string> due_;  // messages of items that have ended, not yet printed
    std::size_t told_ = 0;                    // items whose messages have been printed
    std::size_t ended_ = 0;
};

}  // namespace Kavelin::Cli
