#include "cli/validate/ValidateRun.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/FlowManager.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>

#include "cli/Interruption.h"
#include "cli/Plugins.h"
#include "cli/batch/ProcessPool.h"
#include "cli/batch/WorkFolder.h"
#include "cli/layout/NearestNames.h"
#include "cli/validate/Checks.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"
#include "cli/validate/ValidateReport.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

void leave(CheckRecord& record, Outcome outcome, const std::string& wrong, const std::string& where = {},
           const std::string& expected = {}) {
    record.wrong = wrong;
    record.where = where;
    record.expected = expected;
    record.outcome = outcome;
}

void load(const std::string& plugin) { Core::FlowManager::instance().getPluginManager().load(plugin); }

/// A folder for a check to work in, with the files that its filters may read.
void workIn(const fs::path& folder) {
    fs::create_directories(folder);
    for (const char* file : kTrialFiles) fs::copy_file(folder.parent_path() / file, folder / file);
    fs::current_path(folder);
}

/// Loads the plugin, runs a check of it and leaves its result in the record.
/// @param folder for the check to work in; one of the plugin itself loads it from where the program is
void runCheck(const Check& check, const Validated& of, std::uint64_t seed, const fs::path& folder,
              CheckRecord& record) {
    const auto fail = [&](const std::string& wrong, const std::string& where, const std::string& expected) {
        leave(record, Outcome::failed, wrong, where.empty() ? record.step.str() : where, expected);
    };
    try {
        Subject subject(of.plugin, of.type, check.name, seed, record);
        subject.at("loading the plugin");
        load(of.plugin);
        if (!check.ofPlugin) workIn(folder);
        check.run(subject);
        subject.at("unloading the plugin after the check");
        Core::FlowManager::instance().getPluginManager().unloadAll();
        record.outcome = Outcome::passed;
    } catch (const Skip& skip) {
        leave(record, Outcome::skipped, skip.what());
    } catch (const Fault& fault) {
        fail(fault.what(), fault.where(), fault.expected());
    } catch (const std::exception& error) {
        fail("raised " + Core::exceptionType(error) + ": " + Core::exceptionMessage(error), {}, {});
    } catch (...) {
        fail("raised something other than a std::exception", {}, {});
    }
}

std::string listOfChecks() {
    std::string list;
    for (const Check& check : allChecks()) list += (list.empty() ? "" : ", ") + std::string(check.name);
    return list;
}

const Check& checkNamed(const std::string& name) {
    for (const Check& check : allChecks())
        if (check.name == name) return check;
    throw UsageError("there is no check \"" + name + "\"; there are " + listOfChecks());
}

class ValidateRun {
public:
    ValidateRun(const ValidateOptions& options, CommandContext& context)
        : options_(options),
          context_(context),
          work_(fs::temp_directory_path().string()),
          report_(context.out, options) {
        const fs::path before = fs::current_path();
        fs::current_path(work_.path());
        writeTrialFiles();
        fs::current_path(before);
    }

    void run() {
        for (const std::string& plugin : plugins()) plan(plugin);
        requireAll();
        const Interruption caught;
        const bool isWhole = runAll();
        report_.finish();
        if (!isWhole) context_.err << "kavelin: interrupted; checks that had not ended are not reported\n";
        if (!isWhole || report_.hasFaults() || hasLeftOut_) context_.status = kDoneWithErrors;
    }

    /// Runs one check here, so that a debugger can look on.
    void reproduce() {
        const std::size_t slash = options_.reproduce.rfind('/');
        Validated one;
        if (slash != std::string::npos) one.type = options_.reproduce.substr(0, slash);
        one.check = options_.reproduce.substr(slash + 1);  // all of it without a slash
        const Check& check = checkNamed(one.check);
        if (check.ofPlugin != one.type.empty())
            throw UsageError("--reproduce " + options_.reproduce + ": TYPE/CHECK is expected, or load alone");
        one.plugin = pluginOf(one.type);
        SharedRecords records(1);
        const fs::path before = fs::current_path();
        runCheck(check, one, options_.seed, fs::path(work_.path()) / "here", records[0]);
        fs::current_path(before);
        conclude(one, records[0], {0, 0, false, {}});
        report_.add({&one, 1});
        report_.finish();
        if (report_.hasFaults()) context_.status = kDoneWithErrors;
    }

private:
    /// The plugin that has the type, which is loaded then; the first for no type.
    std::string pluginOf(const std::string& type) const {
        Core::PluginManager& manager = Core::FlowManager::instance().getPluginManager();
        const std::vector<std::string> all = plugins();
        if (type.empty()) return all.front();
        for (const std::string& plugin : all) {
            load(plugin);
            if (manager.findPluginOf(type) != nullptr) return plugin;
        }
        manager.createFilter(type, type);  // raises, naming the nearest
        return {};
    }

    std::vector<std::string> plugins() const {
        if (!options_.plugin.empty()) return {options_.plugin};
        std::vector<std::string> found;
        for (const fs::path& path : pluginsFound()) found.push_back(path.string());
        if (found.empty())
            throw UsageError("no plugin was found; name one, or a folder in KAVELIN_PLUGIN_PATH");
        return found;
    }

    static bool isNamed(const Validated& check, const std::string& name) {
        return name == check.name() || name == check.type || name == check.check;
    }
    bool isAsked(const Validated& check) const {
        const auto& names = options_.only;
        return names.empty() || std::any_of(names.begin(), names.end(),
                                            [&](const std::string& name) { return isNamed(check, name); });
    }

    void requireAll() const {
        for (const std::string& name : options_.only) {
            const bool isThere = std::any_of(checks_.begin(), checks_.end(),
                                             [&](const Validated& check) { return isNamed(check, name); });
            if (!isThere && !hasLeftOut_)
                throw UsageError(
                    fmt::format("--only {}: no such type, check or TYPE/CHECK; {}; the checks are {}", name,
                                known_, listOfChecks()));
        }
    }

    /// Loads the plugin in a child, to learn its types.
    void plan(const std::string& plugin) {
        const fs::path list = fs::path(work_.path()) / "types";
        fs::remove(list);
        SharedRecords records(1);
        ChildEnd end;
        const auto work = [&](std::size_t) { return listTypes(plugin, list, records[0]); };
        const Interruption caught;
        runInChildren(
            {0}, 1, work, [&](std::size_t, const ChildEnd& ended) { end = ended; }, limit());
        Validated load{.plugin = plugin,
                       .type = {},
                       .check = allChecks().front().name,
                       .where = {},
                       .wrong = {},
                       .expected = {},
                       .output = {}};
        conclude(load, records[0], end);
        if (load.outcome == Outcome::failed) return leaveOut(load.wrong);
        if (load.outcome != Outcome::passed) {  // nothing more can be asked of it
            report_.add({&load, 1});
            hasLeftOut_ = true;
            return;
        }
        std::ifstream file(list);
        std::vector<std::string> types;
        for (std::string type; std::getline(file, type);) types.push_back(type);
        addChecks(plugin, types);
    }

    int listTypes(const std::string& plugin, const fs::path& list, CheckRecord& record) {
        record.step = "loading it";
        try {
            load(plugin);
            std::ofstream file(list);
            for (const std::string& type : Core::FlowManager::instance().getPluginManager().getTypeNames())
                file << type << '\n';
            record.outcome = Outcome::passed;
        } catch (const std::exception& error) {
            leave(record, Outcome::failed, Core::exceptionMessage(error));
        }
        return 0;
    }

    void leaveOut(const std::string& reason) {
        if (!options_.plugin.empty()) throw UsageError(reason);
        context_.err << "kavelin: plugin left out: " << reason << std::endl;
        hasLeftOut_ = true;
    }

    void addChecks(const std::string& plugin, const std::vector<std::string>& types) {
        const auto add = [&](const std::string& type, const Check& check) {
            Validated one{.plugin = plugin,
                          .type = type,
                          .check = check.name,
                          .where = {},
                          .wrong = {},
                          .expected = {},
                          .output = {}};
            if (isAsked(one)) checks_.push_back(one);
        };
        for (const Check& check : allChecks())
            if (check.ofPlugin) add({}, check);
        for (const std::string& type : types)
            for (const Check& check : allChecks())
                if (!check.ofPlugin) add(type, check);
        known_ +=
            fmt::format("{}{} has the types {}", known_.empty() ? "" : "; ", plugin, fmt::join(types, ", "));
    }

    bool runAll() {
        SharedRecords records(checks_.size());
        std::vector<std::size_t> tasks(checks_.size());
        for (std::size_t i = 0; i < tasks.size(); ++i) tasks[i] = i;
        return runInChildren(
            tasks, options_.jobs > 0 ? options_.jobs : usableProcessors(),
            [&](std::size_t i) {
                runCheck(checkNamed(checks_[i].check), checks_[i], options_.seed, folderOf(i), records[i]);
                return 0;
            },
            [&](std::size_t i, const ChildEnd& end) {
                conclude(checks_[i], records[i], end);
                std::error_code unknown;
                fs::remove_all(folderOf(i), unknown);
                reportWhole();
            },
            limit());
    }

    fs::path folderOf(std::size_t i) const { return fs::path(work_.path()) / std::to_string(i); }
    std::chrono::milliseconds limit() const {
        return std::chrono::milliseconds(static_cast<long long>(options_.timeLimit * 1000.0));
    }

    /// Reports the plugins and types that are next in the list and whose checks have all ended.
    void reportWhole() {
        while (reported_ < checks_.size()) {
            std::size_t end = reported_;
            const Validated& first = checks_[reported_];
            for (; end < checks_.size() && checks_[end].type == first.type &&
                   checks_[end].plugin == first.plugin;
                 ++end)
                if (checks_[end].outcome == Outcome::running) return;
            report_.add(std::span(checks_).subspan(reported_, end - reported_));
            reported_ = end;
        }
    }

    const ValidateOptions& options_;
    CommandContext& context_;
    const WorkFolder work_;
    ValidateReport report_;
    std::vector<Validated> checks_;
    std::size_t reported_ = 0;
    bool hasLeftOut_ = false;
    std::string known_;
};

}  // namespace

void validate(const ValidateOptions& options, CommandContext& context) {
    ValidateRun run(options, context);
    options.reproduce.empty() ? run.run() : run.reproduce();
}

}  // namespace Kavelin::Cli
