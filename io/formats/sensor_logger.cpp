#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "io/formats/Formats.h"
#include "io/formats/SensorNames.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const char* const kWithoutGravity =
    "Accelerometer.csv holds an acceleration without gravity, and no orientation can be told from it; record "
    "and keep "
    "TotalAcceleration.csv (Android) or AccelerometerUncalibrated.csv (iOS)";

/// The files of a pin, the better one first.
struct Files {
    const char* pin;
    const char* quantity;
    const char* unit;
    std::vector<std::string> stems;
};

const std::vector<Files>& files() {
    static const std::vector<Files> all = {
        {"3a", "Accelerometer", "m/s^2", {"TotalAcceleration", "AccelerometerUncalibrated"}},
        {"3g", "Gyroscope", "rad/s", {"Gyroscope", "GyroscopeUncalibrated"}},
        {"3m", "Magnetometer", "uT", {"Magnetometer", "MagnetometerUncalibrated"}},
    };
    return all;
}

/// What Metadata.csv says of the phone.
struct Phone {
    bool isKnown = false;
    bool isApple = false;
    bool isStandardised = false;
};

class Planner {
public:
    explicit Planner(const Sighting& sighting) : sighting_(sighting) {}

    std::optional<RecordingPlan> plan() {
        std::vector<std::string> own;
        for (const FileTree::Entry& entry : sighting_.files()) {
            const std::vector<std::string> names = splitCells(sighting_.firstLine(entry.name), ',');
            const auto has = [&](const char* name) { return std::ranges::find(names, name) != names.end(); };
            if (has("time") && has("seconds_elapsed")) own.push_back(entry.name);
        }
        if (own.empty() || !areTogether(own)) return std::nullopt;
        own_ = own;
        phone_ = phone();
        for (const Files& kind : files()) add(kind);
        addOrientation();
        judge();
        if (sensor_.tables.empty()) return std::nullopt;
        return RecordingPlan{.format = {}, .sensors = {std::move(sensor_)}};
    }

private:
    std::optional<std::string> fileOf(const std::string& stem) const {
        const auto found = std::ranges::find_if(
            own_, [&](const std::string& file) { return equalsIgnoringCase(stemOf(file), stem); });
        return found == own_.end() ? std::nullopt : std::optional(*found);
    }

    Phone phone() const {
        Phone phone;
        for (const std::string& file : sighting_.filesCalled("Metadata.csv")) {
            const std::vector<std::string> lines = sighting_.firstLines(file);
            if (lines.size() < 2) continue;
            const std::vector<std::string> names = splitCells(lines[0], ',');
            const std::vector<std::string> cells = splitCells(lines[1], ',');
            for (std::size_t i = 0; i < std::min(names.size(), cells.size()); ++i) {
                const std::string value = lowered(cells[i]);
                if (names[i] == "platform") {
                    phone.isApple = value == "ios" || value == "ipados";
                    phone.isKnown = phone.isApple || value == "android";
                } else if (names[i] == "standardisation") {
                    phone.isStandardised = value == "true" || value == "1" || value == "on";
                }
            }
        }
        return phone;
    }

    TablePlan table(const std::string& file) const {
        TablePlan table = tablePlan(sighting_, file);
        for (std::size_t i = 0; i < table.form.columns.size(); ++i) {
            if (table.form.columns[i].name == "seconds_elapsed")
                table.form.time = TableForm::Time{.column = i, .unit = "s"};
        }
        table.form.decisions = {"time from seconds_elapsed"};
        return table;
    }

    void add(const Files& kind) {
        for (const std::string& stem : kind.stems) {
            const std::optional<std::string> file = fileOf(stem);
            if (!file) continue;
            TablePlan plan = table(*file);
            const std::string unit = kind.pin == std::string("3a") ? unitOfAcceleration(plan) : kind.unit;
            nameAxes(plan.form, kind.quantity, unit);
            if (!hasPin(plan.form, kind.pin)) continue;
            sensor_.tables.push_back(std::move(plan));
            return;
        }
    }

    /// The unit of an acceleration, and whether it is turned: by the phone, or by its length where the phone is not known.
    std::string unitOfAcceleration(TablePlan& plan) {
        const bool isTotal = equalsIgnoringCase(stemOf(plan.file), "TotalAcceleration");
        const double length = lengthOf(plan);
        const bool looksLikeG = length > 0.5 && length < 2.0;
        const bool looksLikeSi = length > 5.0 && length < 20.0;
        const std::string size =
            std::isnan(length) ? "it has no rows" : fmt::format("its usual length is {:.3g}", length);
        if (!phone_.isKnown && sighting_.options().units.contains("3a")) {
            say(plan, "phone not known: unit of the acceleration as given, sign as in the file");
            return {};
        }
        const bool inG = phone_.isKnown ? phone_.isApple && !phone_.isStandardised && !isTotal : looksLikeG;
        const bool isContradicted = inG ? looksLikeSi : looksLikeG;
        if (isContradicted || (!phone_.isKnown && !isTotal && !looksLikeG && !looksLikeSi))
            refuseUnit(plan, size);
        const bool isTurned = phone_.isKnown ? phone_.isApple && !phone_.isStandardised : inG;
        if (isTurned) plan.form.inverted.emplace_back("3a");
        const std::string whose = phone_.isKnown ? phone_.isApple ? "iOS" : "Android"
                                  : isTotal      ? "Android, as TotalAcceleration.csv is there"
                                  : inG          ? "iOS, as " + size
                                                 : "Android or standardised, as " + size;
        const bool tellsStandard = phone_.isKnown && phone_.isApple && phone_.isStandardised;
        say(plan, whose + (tellsStandard ? ", standardised" : "") + ": acceleration in " +
                      (inG ? "g" : "m/s^2") + (isTurned ? ", sign turned" : ""));
        return inG ? "g" : "m/s^2";
    }

    double lengthOf(const TablePlan& plan) const {
        std::vector<std::size_t> axes;
        for (std::size_t i = 0; i < plan.form.columns.size(); ++i) {
            const std::string& key = plan.form.columns[i].key;
            if (key == "x" || key == "y" || key == "z") axes.push_back(i);
        }
        return usualLength(sighting_.firstLines(plan.file), plan.form, axes);
    }

    [[noreturn]] void refuseUnit(const TablePlan& plan, const std::string& size) const {
        const std::string why = phone_.isKnown ? "that does not fit what Metadata.csv says of the phone"
                                               : "the unit of the acceleration cannot be told, and "
                                                 "Metadata.csv, which names the phone, is not there";
        throw Poco::DataFormatException(fmt::format(
            "{}: {}: {}. {}", sighting_.tree().pathOf(plan.file), size, why,
            phone_.isKnown ? "Take Metadata.csv out of the folder, and say what is right"
                           : "An iPhone writes g with the opposite sign: say --units 3a=g --axes \"3a = "
                             "inverted\"; Android writes m/s^2: --units 3a=m/s^2"));
    }

    /// Android's orientation is relative to East-North-Up; that of iOS is not, and its heading is to true north.
    void addOrientation() {
        const std::optional<std::string> file = fileOf("Orientation");
        if (!file) return;
        TablePlan plan = table(*file);
        if (!hasPin(plan.form, "quat")) return;
        if (phone_.isKnown && !phone_.isApple) {
            sensor_.tables.push_back(std::move(plan));
            return;
        }
        sensor_.notes.emplace_back(
            "Orientation.csv is not taken as a reference: only Android's is relative to East-North-Up" +
            std::string(phone_.isKnown ? "" : ", and which phone it was is not known without Metadata.csv"));
    }

    /// The only acceleration may be one without gravity.
    void judge() {
        const auto hasAcceleration = [](const TablePlan& plan) { return hasPin(plan.form, "3a"); };
        if (std::ranges::any_of(sensor_.tables, hasAcceleration) || !fileOf("Accelerometer")) return;
        if (sensor_.tables.empty())
            throw Poco::DataFormatException(sighting_.tree().pathOf("") + ": " + kWithoutGravity);
        sensor_.notes.emplace_back(kWithoutGravity);
    }

    static void say(TablePlan& plan, const std::string& decision) { plan.form.decisions.push_back(decision); }

    const Sighting& sighting_;
    std::vector<std::string> own_;
    Phone phone_;
    SensorPlan sensor_;
};

}  // namespace

/// A file a sensor, "time,seconds_elapsed,z,y,x"; "Metadata.csv" names the phone.
std::optional<RecordingPlan> planSensorLogger(const Sighting& sighting) { return Planner(sighting).plan(); }

}  // namespace Kavelin::RecordingIO
