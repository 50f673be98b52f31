#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <memory>
#include <ostream>
#include <random>
#include <thread>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/DurationOption.h"
#include "cli/Interruption.h"
#include "cli/Plugins.h"
#include "cli/fleet/UnitEngine.h"
#include "cli/fleet/WorkReport.h"
#include "cli/fleet/Worker.h"
#include "cli/fuse/FuseArguments.h"

namespace Kavelin::Cli {

namespace {

// Groups of options that shape results.
constexpr const char* kResults = "Results";
constexpr const char* kColumns = "What the columns of the rows are";

struct WorkOptions {
    ServerOptions server;
    FleetNames names{"imu", "attitude"};
    FuseOptions fuse;
    std::string calibrationBucket;
    std::string part = "0/1";
    std::size_t units = 10000;
    double snapshotEvery = 5.0;
    double lease = 10.0;
    int replicas = 1;
    std::string metrics;
    bool status = false;
    bool json = false;
};

/// A name that no other worker has.
std::string workerName() {
    char host[256] = "";
    ::gethostname(host, sizeof host - 1);
    std::string name(host);
    std::erase_if(name, [](char c) { return !isFleetName(std::string_view(&c, 1)); });
    std::random_device random;
    return fmt::format("{}-{}-{:08x}", name.substr(0, 40), ::getpid(), random());
}

Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
}

/// The options that shape results, as the user gave them, the filter always.
std::string recipeOf(const CLI::App& command, const FuseOptions& fuse) {
    std::string recipe = "--filter " + fuse.type;
    for (const CLI::Option* option : command.get_options()) {
        const bool shapes = option->get_group() == kResults || option->get_group() == kColumns;
        if (!shapes || option->get_name() == "--filter") continue;
        for (const std::string& value : option->results()) recipe += " " + option->get_name() + " " + value;
    }
    return recipe;
}

/// Other threads take the signals that ask this one, and those that it starts, to end: the library takes a call that a signal
/// interrupts for a failure.
class SignalsElsewhere {
public:
    SignalsElsewhere() {
        sigset_t ends;
        sigemptyset(&ends);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends, signal);
        pthread_sigmask(SIG_BLOCK, &ends, &before_);
    }
    ~SignalsElsewhere() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsElsewhere(const SignalsElsewhere&) = delete;
    SignalsElsewhere& operator=(const SignalsElsewhere&) = delete;

private:
    sigset_t before_{};
};

/// A server that has just started does not answer everything yet.
Fleet openPatiently(ServerLink& link, const FleetRequest& request, const WorkSettings& settings) {
    for (std::string told;;) {
        try {
            return openFleet(link, request);
        } catch (const ServerError& error) {
            if (Interruption::hasCome()) throw;
            const std::string refusal = link.refusal();
            const std::string why = refusal.empty() ? error.what() : "the server refuses: " + refusal;
            if (std::exchange(told, why) != why) settings.tell(why + "; trying again");
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            link.mend();
        }
    }
}

void work(WorkOptions options, const CLI::App& command, CommandContext& context) {
    loadPlugins(context, options.fuse.plugins);
    if (options.fuse.type.empty()) options.fuse.type = defaultEstimator();
    WorkSettings settings;
    settings.worker = workerName();
    settings.recipe = recipeOf(command, options.fuse);
    settings.units = options.units;
    settings.snapshotEvery = seconds(options.snapshotEvery);
    settings.lease = seconds(options.lease);
    settings.tell = [&context](const std::string& text) { context.err << "kavelin: " << text << std::endl; };
    UnitEngine engine(options.fuse);
    std::unique_ptr<MetricsServer> metrics;
    if (!options.metrics.empty()) {
        metrics = std::make_unique<MetricsServer>(options.metrics);
        settings.tell("metrics: " + metrics->url());
    }
    const PartChoice part = *parsePart(options.part);
    if (options.names.stream == options.names.results)
        throw UsageError("--results " + options.names.results +
                         ": rows and results need streams of their own");
    // One for all that follows: another one later would forget a signal that has come. Its thread takes the signals.
    const Interruption interruption([] {});
    const SignalsElsewhere signals;
    ServerLink link(options.server, "kavelin work " + settings.worker);
    const Fleet fleet = openPatiently(
        link, {options.names, part.count, options.calibrationBucket, options.replicas}, settings);
    for (const std::string& remark : fleet.remarks) settings.tell(remark);
    Worker worker(link, fleet, engine, settings, part, metrics.get());
    const bool isAllStored = worker.run();
    const PartStatus total = worker.total();
    context.err << fmt::format(
        "kavelin: {} rows in {} messages; {} results, {} snapshots; redelivered {}; rows left out {}; bad "
        "messages {}\n",
        total.rows, total.messages, total.results, total.snapshots, total.redelivered, total.refusedRows,
        total.badMessages);
    if (!isAllStored || total.refusedRows > 0 || total.badMessages > 0) context.status = kDoneWithErrors;
}

void addServerOptions(CLI::App& command, WorkOptions& options) {
    const std::string group = "The server";
    const auto file = [&](const char* name, std::string& value, const char* help) {
        command.add_option(name, value, help)->type_name("FILE")->group(group);
    };
    command
        .add_option(
            "--nats", options.server.url,
            "Where the server is: nats://HOST:PORT, tls://HOST:PORT; several with commas between them")
        ->type_name("URL")
        ->required()
        ->group(group);
    file("--creds", options.server.credentials, "Credentials of the user");
    file("--tls-ca", options.server.authority, "Certificates of those who vouch for the server (PEM)");
    file("--tls-cert", options.server.certificate, "Certificate of this worker (PEM), with --tls-key");
    file("--tls-key", options.server.key, "Private key of --tls-cert (PEM)");
    const auto name = [](const std::string& text) {
        return isFleetName(text)
                   ? std::string()
                   : "'" + text + "' cannot be part of a subject: letters, digits, '-', '_' and '=' can";
    };
    command.add_option("--stream", options.names.stream, "Stream of rows, and first word of their subjects")
        ->check(name)
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--results", options.names.results, "Stream of results, and first word of their subjects")
        ->check(name)
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--calibration-bucket", options.calibrationBucket,
                    "Bucket with what kavelin calibrate found of each unit, as JSON under the unit's name")
        ->check([name](const std::string& text) { return name(text); })
        ->type_name("NAME")
        ->group(group);
    command
        .add_option("--replicas", options.replicas,
                    "Copies of streams and buckets that are made, in a cluster")
        ->check(CLI::Range(1, 5).description(""))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
}

void addAttitudeOptions(CLI::App& command, FuseOptions& options) {
    static const std::map<std::string, AttitudeForm> kForms = {{"quaternion", AttitudeForm::kQuaternion},
                                                               {"matrix", AttitudeForm::kMatrix},
                                                               {"euler", AttitudeForm::kEuler}};
    addEstimatorOptions(command, options);
    command
        .add_option_function<std::string>(
            "--as", [&options](const std::string& name) { options.form = kForms.at(name); },
            "What an attitude is written as: quaternion (qw, qx, qy, qz), matrix, or euler (degrees)")
        ->check(CLI::IsMember({"quaternion", "matrix", "euler"}).description(""))
        ->type_name("quaternion|matrix|euler");
    command
        .add_option(
            "--frame", options.frame,
            "The earth of the attitude that is written: enu (East, North, Up) or ned (North, East, Down); "
            "without it, that of the filter")
        ->check(CLI::IsMember({"enu", "ned"}).description(""))
        ->type_name("enu|ned");
    for (const char* name : {"--filter", "--set", "--as", "--frame"})
        command.get_option(name)->group(kResults);
}

/// As of `fuse`; --units is taken here.
void addColumnOptions(CLI::App& command, FuseOptions& options) {
    command
        .add_option("--map", options.mapping,
                    "Columns to pins: \"3a = ax1, ay1, az1 (g); 3g = ...; t = stamp (ms)\"")
        ->group(kColumns);
    command
        .add_option("--column-units", options.units,
                    "Units that the names of the columns do not give: \"3a=g, 3g=deg/s, t=ms\"")
        ->group(kColumns);
    command
        .add_option(
            "--axes", options.axes,
            "How the unit's axes lie along those of the rows: \"y,-x,z\"; for one sensor \"3m = y,-x,z\"")
        ->group(kColumns);
}

void addWorkerOptions(CLI::App& command, WorkOptions& options) {
    const std::string group = "The worker";
    command
        .add_option("--part", options.part,
                    "Which part of the stream, of how many: 0/4 to 3/4; any/4 takes those that are free")
        ->check([](const std::string& text) {
            return parsePart(text)
                       ? std::string()
                       : "'" + text + "' is no part: i/n is expected, with i from 0 to n - 1, or any/n";
        })
        ->type_name("I/N|any/N")
        ->capture_default_str()
        ->group(group);
    command.add_option("--units", options.units, "Most units kept in memory")
        ->check(CLI::Range(1, 10'000'000).description(""))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    addDuration(command, "--snapshot-every", "Time after which a unit's state is stored", 0.05, 600.0,
                [&options](double seconds) { options.snapshotEvery = seconds; })
        ->default_str("5s")
        ->group(group);
    addDuration(command, "--lease", "Time without a sign of life after which another worker takes a part",
                0.5, 600.0, [&options](double seconds) { options.lease = seconds; })
        ->default_str("10s")
        ->group(group);
    command
        .add_option("--metrics", options.metrics,
                    "Serve figures for Prometheus at http://ADDRESS:PORT/metrics")
        ->type_name("ADDRESS:PORT")
        ->group(group);
    command.add_flag("--status", options.status, "Show what the workers of the stream do, and exit")
        ->group(group);
    command.add_flag("--json", options.json, "With --status: as JSON")->group(group);
}

}  // namespace

void addWorkCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<WorkOptions>();
    CLI::App* command = app.add_subcommand(
        "work", "Turn the rows of many units into orientation, from streams of a NATS server");
    addServerOptions(*command, *options);
    addAttitudeOptions(*command, options->fuse);
    addColumnOptions(*command, options->fuse);
    addWorkerOptions(*command, *options);
    addPluginOption(*command, options->fuse.plugins);
    command->callback([options, command, &context] {
        if (options->json && !options->status) throw UsageError("--json is for --status");
        if (!options->status) {
            work(*options, *command, context);
            return;
        }
        const ServerLink link(options->server, "kavelin work --status");
        if (!reportWork(link, options->names, options->json, context.out)) context.status = kDoneWithErrors;
    });
}

}  // namespace Kavelin::Cli
