#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "io/formats/Formats.h"
#include "io/formats/MatTables.h"
#include "io/formats/SensorNames.h"
#include "io/formats/TrignoChannels.h"
#include "io/recording/ColumnMeaning.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const char* const kAxes[] = {"x", "y", "z"};
const char* const kElements[] = {"w", "x", "y", "z"};

/// An array that holds a vector of a sensor for each sample, or a single element of it, or their times.
struct Part {
    const MatArray* array = nullptr;
    std::string sensor;    ///< the struct that it is in, and the words before the quantity
    std::string within;    ///< where the quantity is a struct of its own: its name
    std::string quantity;  ///< "Gyroscope", "Gyroscope x"; empty where the name itself says all
    std::string leaf;
    std::string unit;
    std::size_t elements = 1;
    std::size_t samples = 0;
    bool samplesAreColumns = false;
    bool beginsWithTime = false;  ///< the elements come after the time of the sample

    bool isTime() const { return elements == 1 && ColumnName(leaf).isTime(); }
};

std::string parentOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(0, dot);
}

std::string leafNameOf(const std::string& name) { return name.substr(name.rfind('.') + 1); }

std::string joined(const std::string& a, const std::string& b) {
    return a.empty() || b.empty() ? a + b : a + "." + b;
}

bool isPlainWord(const std::string& leaf) {
    static const std::set<std::string> kWords = {"data", "values", "value", "xyz", "samples", "v"};
    return kWords.contains(lowered(leaf));
}

/// "t_acc", "time_gyr": the times of a quantity. @return "acc"; empty for any other name
std::string timedBy(const std::string& leaf) {
    const std::size_t mark = leaf.find('_');
    if (mark == std::string::npos || !ColumnName(leaf.substr(0, mark)).isTime()) return {};
    const std::string quantity = leaf.substr(mark + 1);
    return meaningOf(quantity + " x") ? quantity : std::string();
}

/// "acc.x", "acc.data", "acc.t": the struct is the quantity, and is no sensor. @return what the array is called then
std::string takeWithin(Part& part) {
    const std::string within = leafNameOf(part.sensor);
    if (within.empty() || !meaningOf(within + " x")) return part.leaf;
    part.within = within;
    part.sensor = parentOf(part.sensor);
    if (isPlainWord(part.leaf)) return within;
    return part.leaf.size() == 1 && part.leaf != "t" ? within + " " + part.leaf : part.leaf;
}

void takeMeaning(Part& part, const ColumnMeaning& meaning) {
    part.quantity = quantityOfPin(meaning.pin);
    part.unit = meaning.unit;
    part.sensor = joined(part.sensor, meaning.sensor);
}

/// As MATLAB writes it: "(1,:)" is the first element of all samples where those are columns.
std::string placeOf(const Part& part, std::size_t element) {
    return part.samplesAreColumns ? fmt::format("({},:)", element + 1) : fmt::format("(:,{})", element + 1);
}

/// The vectors or single elements that an array's shape and name make it.
std::optional<Part> partOf(const MatArray& array) {
    Part part;
    part.array = &array;
    part.sensor = parentOf(array.name);
    part.leaf = leafNameOf(array.name);
    part.samples = std::max(array.rows, array.columns);
    const std::string name = takeWithin(part);
    if (array.rows == 1 || array.columns == 1) {
        if (const std::string timed = timedBy(part.leaf); !timed.empty() && part.within.empty()) {
            part.within = timed;
            part.leaf = "t";
            return part;
        }
        if (const auto meaning = meaningOf(name)) {
            takeMeaning(part, *meaning);
            part.quantity += meaning->pin == "quat" ? std::string(" ") + kElements[meaning->axis]
                                                    : std::string(" ") + kAxes[meaning->axis];
        }
        return part;
    }
    const auto meaning = meaningOf((lowered(name) == "q" ? "quat" : name) + " x");
    if (!meaning) return std::nullopt;
    takeMeaning(part, *meaning);
    part.elements = meaning->pin == "quat" ? 4 : 3;
    // Deliberate: a square array has its samples in rows, as most have.
    part.beginsWithTime = part.elements == 3 && array.columns != 3 && array.rows != 3;
    const std::size_t height = part.elements + (part.beginsWithTime ? 1 : 0);
    part.samplesAreColumns = array.columns != height;
    if (part.samplesAreColumns && array.rows != height) return std::nullopt;
    part.samples = part.samplesAreColumns ? array.columns : array.rows;
    if (!part.beginsWithTime) return part;
    part.within = part.leaf;  // a table of its own
    const std::vector<double> times = elementOf(array, 0, part.samplesAreColumns);
    const bool increases = times.front() < times.back() && std::ranges::is_sorted(times);
    return increases ? std::optional(part) : std::nullopt;
}

class Planner {
public:
    Planner(const MatContents& contents, const Sighting& sighting, std::string file)
        : contents_(contents), sighting_(sighting), file_(std::move(file)) {
        for (const MatArray& array : contents.arrays) {
            const std::size_t most = std::max(array.rows, array.columns);
            if (array.values.empty() || most < 2) continue;
            if (auto part = partOf(array)) parts_.push_back(std::move(*part));
        }
        // "acc" is timed by "t_acc", as it would be in a struct "acc" next to "t".
        for (Part& part : parts_) {
            const bool hasOwnTimes = std::ranges::any_of(parts_, [&](const Part& time) {
                return time.isTime() && time.samples == part.samples && time.sensor == part.sensor &&
                       equalsIgnoringCase(time.within, part.leaf);
            });
            if (hasOwnTimes && part.within.empty()) part.within = part.leaf;
        }
    }

    std::vector<SensorPlan> sensors() {
        std::vector<SensorPlan> timed;
        std::vector<SensorPlan> timeless;
        std::vector<std::string> names;
        for (const Part& first : parts_) {
            if (first.isTime() || done_.contains({first.sensor, first.within, first.samples})) continue;
            done_.insert({first.sensor, first.within, first.samples});
            MatTable table = tableOf(first);
            if (wholePins(table.form()).empty()) continue;
            const bool hasTime = first.beginsWithTime || timeOf(first) || table.form().rate > 0.0 ||
                                 sighting_.options().rate > 0.0;
            if (!hasTime) names.push_back(first.array->name);
            std::vector<SensorPlan>& sensors = hasTime ? timed : timeless;
            auto sensor = std::ranges::find(sensors, first.sensor, &SensorPlan::name);
            if (sensor == sensors.end())
                sensor = sensors.insert(sensors.end(), {.name = first.sensor, .tables = {}, .notes = {}});
            for (MatTable& one : std::move(table).perSensor())
                sensor->tables.push_back(std::move(one).plan(sighting_, file_));
        }
        if (timed.empty() && !timeless.empty() && sighting_.options().mapping.empty()) refuseTimeless(names);
        if (timed.empty()) return timeless;
        for (SensorPlan& sensor : timed) {
            noteLinearAcceleration(sensor);
            for (const std::string& name : names)
                sensor.notes.push_back(name + " is left out: no times are known for it");
        }
        return timed;
    }

private:
    /// All arrays of a sensor with as many samples, and their times.
    MatTable tableOf(const Part& first) const {
        MatTable table;
        if (first.beginsWithTime) {
            table.add(first.array->name + placeOf(first, 0), "t",
                      elementOf(*first.array, 0, first.samplesAreColumns));
        } else if (const Part* time = timeOf(first)) {
            table.add(time->array->name, time->leaf, time->array->values);
        } else {
            takeRate(table, first.sensor);
        }
        for (const Part& part : parts_) {
            if (part.sensor == first.sensor && part.within == first.within && part.samples == first.samples &&
                !table.has(part.array->name))
                addPart(table, part);
        }
        sayUnits(table);
        return table;
    }

    /// The times next to the values; else those of their number elsewhere in the sensor's struct, or in the file.
    const Part* timeOf(const Part& of) const {
        const auto find = [&](const auto& isNear) -> const Part* {
            const auto found = std::ranges::find_if(parts_, [&](const Part& part) {
                return part.isTime() && part.samples == of.samples && isNear(part);
            });
            return found == parts_.end() ? nullptr : &*found;
        };
        const auto isNext = [&](const Part& part) {
            return part.sensor == of.sensor && part.within == of.within;
        };
        const auto isInSensor = [&](const Part& part) {
            return part.within.empty() && (part.sensor.empty() || of.sensor.starts_with(part.sensor));
        };
        if (const Part* time = find(isNext)) return time;
        return find(isInSensor);
    }

    [[noreturn]] void refuseTimeless(const std::vector<std::string>& names) const {
        const std::string left = contents_.leftOut.empty() ? "" : "; not read: " + listed(contents_.leftOut);
        throw Poco::DataFormatException(fmt::format(
            "{}: no times are known for {}: neither an array t or time of as many elements, nor a rate "
            "Fs{}. Give the rate, --rate HZ",
            sighting_.tree().pathOf(file_), listed(names), left));
    }

    /// Where the only acceleration is one without gravity.
    void noteLinearAcceleration(SensorPlan& sensor) const {
        for (const TablePlan& table : sensor.tables) {
            if (hasPin(table.form, "3a")) return;
        }
        for (const MatArray& array : contents_.arrays) {
            if (ColumnName(leafNameOf(array.name) + " x").isLinearAcceleration())
                sensor.notes.push_back(
                    array.name + " is an acceleration without gravity: no orientation can be told from it");
        }
    }

    void takeRate(MatTable& table, const std::string& sensor) const {
        static const std::set<std::string> kNames = {"fs",   "rate",      "samplerate",       "samplingrate",
                                                     "freq", "frequency", "samplingfrequency"};
        for (const MatArray& array : contents_.arrays) {
            const ColumnName name(leafNameOf(array.name));
            const std::string parent = parentOf(array.name);
            if (array.values.size() != 1 || !kNames.contains(name.key)) continue;
            if (!parent.empty() && parent != sensor) continue;
            if (!(array.values.front() > 0.0 && array.values.front() < 1e6)) continue;
            table.form().rate = array.values.front();
            return;
        }
    }

    static void addPart(MatTable& table, const Part& part) {
        const MatArray& array = *part.array;
        const std::string unit = part.unit.empty() ? "" : " (" + part.unit + ")";
        if (part.elements == 1) {
            table.add(array.name, part.quantity.empty() ? part.leaf : part.quantity + unit, array.values);
            return;
        }
        for (std::size_t i = 0; i < part.elements; ++i) {
            const std::size_t place = i + (part.beginsWithTime ? 1 : 0);
            const char* axis = part.elements == 4 ? kElements[i] : kAxes[i];
            table.add(array.name + placeOf(part, place), part.quantity + " " + axis + unit,
                      elementOf(array, place, part.samplesAreColumns));
        }
    }

    /// A file of this kind seldom says units.
    void sayUnits(MatTable& table) const {
        std::string taken;
        for (const auto& [pin, unit] : {std::pair("3a", "m/s^2"), {"3g", "rad/s"}, {"3m", "uT"}}) {
            for (const ColumnGroup& group :
                 groupColumns(table.form().columns, std::vector<bool>(table.form().columns.size(), false))) {
                const bool says = !table.form().columns[group.columns.front()].unit.empty();
                if (group.pin != pin || says || sighting_.options().units.contains(pin)) continue;
                taken += (taken.empty() ? "" : ", ") + std::string(unit);
            }
        }
        if (!taken.empty()) table.say("no units in the file, taken for " + taken);
    }

    const MatContents& contents_;
    const Sighting& sighting_;
    std::string file_;
    std::vector<Part> parts_;
    std::set<std::tuple<std::string, std::string, std::size_t>> done_;
};

[[noreturn]] void refuse(const MatContents& contents, const std::string& path) {
    std::vector<std::string> names;
    for (const MatArray& array : contents.arrays)
        names.push_back(fmt::format("{} ({}x{})", array.name, array.rows, array.columns));
    for (const std::string& name : contents.leftOut) names.push_back(name);
    throw Poco::DataFormatException(fmt::format(
        "{}: no sensor's arrays found among: {}. A recording has variables, or fields of a struct, such "
        "as t (N x 1), acc, gyr and mag (N x 3 or 3 x N)",
        path, names.empty() ? "nothing" : listed(names)));
}

}  // namespace

/// Arrays such as t, acc, gyr and mag, in structs or not; a struct is a sensor where several have such arrays.
std::optional<RecordingPlan> planMatlabMat(const Sighting& sighting) {
    if (sighting.files().size() != 1) return std::nullopt;
    const std::string& file = sighting.files().front().name;
    const std::string path = sighting.tree().pathOf(file);
    if (!MatContents::beginsLike(firstBytes(*sighting.tree().openRaw(file), 128))) return std::nullopt;
    const MatContents contents = MatContents::read(*sighting.tree().openRaw(file), path);
    RecordingPlan plan;
    plan.sensors = trignoSensors(contents, sighting, file);
    if (plan.sensors.empty()) plan.sensors = Planner(contents, sighting, file).sensors();
    if (plan.sensors.empty()) refuse(contents, path);
    return plan;
}

}  // namespace Kavelin::RecordingIO
