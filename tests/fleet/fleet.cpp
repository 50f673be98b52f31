// The other end of a fleet, for the demonstration, the tests and the benchmark: sends recordings as the rows of many units, and
// collects the results.
#include <fmt/format.h>
#include <nats/nats.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

const char* const kUsage = R"(fleet feed URL WORD [--rows N] [--rate HZ] [--cbor] [--repeat UNITS] FILE.csv...
    Sends each file as the rows of a unit, named as the file, to WORD.in.UNIT: N rows a message (20), HZ rows a second of each
    unit, as fast as it goes without. --cbor sends the same rows as arrays of numbers; --repeat sends the files as UNITS units.
    A message that the server does not take is sent again until it does.
fleet collect URL WORD FOLDER
    Writes the results on WORD.* to FOLDER/UNIT.csv: the columns, then what the messages hold, in their order.
fleet latency URL WORD SKIP
    How long results took, by the server's clock, from when it had the rows: JSON, without those of the first SKIP seconds.
fleet count URL STREAM
    How many messages the stream holds.
fleet send URL SUBJECT TEXT [COLUMNS [ID]]
    Sends one message.
fleet fill URL SUBJECT
    Sends messages until the server has no room for another.
)";

using Clock = std::chrono::steady_clock;

template <auto destroy>
struct Destroyer {
    template <class T>
    void operator()(T* handle) const {
        destroy(handle);
    }
};
using Message = std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>>;

void check(natsStatus status, const std::string& doing) {
    if (status != NATS_OK) throw std::runtime_error(doing + ": " + natsStatus_GetText(status));
}

std::string header(natsMsg* message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK ? value : "";
}

std::string_view payload(natsMsg* message) {
    return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

class Server {
public:
    explicit Server(const std::string& url) {
        natsOptions* options = nullptr;
        check(natsOptions_Create(&options), "options");
        const std::unique_ptr<natsOptions, Destroyer<natsOptions_Destroy>> owned(options);
        natsOptions_SetURL(options, url.c_str());
        natsOptions_SetMaxReconnect(options, -1);
        natsOptions_SetReconnectWait(options, 100);
        natsConnection* connection = nullptr;
        check(natsConnection_Connect(&connection, options), "connecting to " + url);
        connection_.reset(connection);
        jsCtx* stream = nullptr;
        check(natsConnection_JetStream(&stream, connection, nullptr), "JetStream");
        stream_.reset(stream);
    }
    jsCtx* stream() const { return stream_.get(); }

private:
    std::unique_ptr<natsConnection, Destroyer<natsConnection_Destroy>> connection_;
    std::unique_ptr<jsCtx, Destroyer<jsCtx_Destroy>> stream_;
};

struct Recording {
    std::string unit;
    std::string columns;
    std::vector<std::string> rows;
};

Recording readRecording(const std::string& path) {
    Recording recording;
    const std::size_t slash = path.rfind('/') + 1;
    recording.unit = path.substr(slash, path.find('.', slash) - slash);
    std::ifstream file(path);
    if (!std::getline(file, recording.columns)) throw std::runtime_error(path + " cannot be read");
    for (std::string row; std::getline(file, row);) recording.rows.push_back(row + "\n");
    return recording;
}

/// Rows as an array of arrays of numbers; an empty cell is null.
std::string asCbor(const std::string& rows) {
    nlohmann::json all = nlohmann::json::array();
    nlohmann::json row = nlohmann::json::array();
    std::string cell;
    for (const char c : rows) {
        if (c != ',' && c != '\n') {
            cell += c;
            continue;
        }
        row.push_back(cell.empty() ? nlohmann::json() : nlohmann::json(std::stod(cell)));
        cell.clear();
        if (c == '\n') all.push_back(std::exchange(row, nlohmann::json::array()));
    }
    const auto bytes = nlohmann::json::to_cbor(all);
    return {bytes.begin(), bytes.end()};
}

struct FeedOptions {
    std::size_t rows = 20;
    double rate = 0.0;
    bool isCbor = false;
    std::size_t repeat = 0;
    std::vector<std::string> files;
};

FeedOptions readFeedOptions(const std::vector<std::string>& words) {
    FeedOptions options;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--rows")
            options.rows = std::stoul(words.at(++i));
        else if (words[i] == "--rate")
            options.rate = std::stod(words.at(++i));
        else if (words[i] == "--repeat")
            options.repeat = std::stoul(words.at(++i));
        else if (words[i] == "--cbor")
            options.isCbor = true;
        else
            options.files.push_back(words[i]);
    }
    return options;
}

/// Sends until the server has it. The message id makes the server drop what it has already.
void sendSurely(const Server& server, const std::string& subject, const std::string& text,
                const std::string& columns, const std::string& id) {
    natsMsg* raw = nullptr;
    check(natsMsg_Create(&raw, subject.c_str(), nullptr, text.data(), static_cast<int>(text.size())),
          subject);
    const Message message(raw);
    if (!columns.empty()) natsMsgHeader_Set(raw, "Columns", columns.c_str());
    jsPubOptions options;
    jsPubOptions_Init(&options);
    if (!id.empty()) options.MsgId = id.c_str();
    for (natsStatus status = NATS_ERR; status != NATS_OK;) {
        jsErrCode code{};
        status = js_PublishMsg(nullptr, server.stream(), raw, &options, &code);
        if (status != NATS_OK) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

/// Sends without waiting for each; the library holds back when too many are on their way.
void sendSoon(const Server& server, const std::string& subject, const std::string& text,
              const std::string& columns) {
    natsMsg* raw = nullptr;
    check(natsMsg_Create(&raw, subject.c_str(), nullptr, text.data(), static_cast<int>(text.size())),
          subject);
    natsMsgHeader_Set(raw, "Columns", columns.c_str());
    check(js_PublishMsgAsync(server.stream(), &raw, nullptr), subject);
    natsMsg_Destroy(raw);
}

std::vector<Recording> unitsOf(const FeedOptions& options) {
    std::vector<Recording> units;
    for (const std::string& file : options.files) units.push_back(readRecording(file));
    const std::size_t files = units.size();
    for (std::size_t i = files; i < options.repeat; ++i) units.push_back(units[i % files]);
    if (options.repeat > 0)
        for (std::size_t i = 0; i < units.size(); ++i) units[i].unit = fmt::format("u{}", i);
    return units;
}

void feed(const Server& server, const std::string& word, const FeedOptions& options) {
    const std::vector<Recording> units = unitsOf(options);
    std::size_t longest = 0;
    for (const Recording& unit : units) longest = std::max(longest, unit.rows.size());
    const std::string run = fmt::format("{:x}", Clock::now().time_since_epoch().count());
    const Clock::time_point start = Clock::now();
    for (std::size_t first = 0; first < longest; first += options.rows) {
        for (std::size_t i = 0; i < units.size(); ++i) {
            const Recording& unit = units[i];
            if (first >= unit.rows.size()) continue;
            std::string text;
            for (std::size_t row = first; row < std::min(first + options.rows, unit.rows.size()); ++row)
                text += unit.rows[row];
            if (options.isCbor) text = asCbor(text);
            const std::string subject = word + ".in." + unit.unit;
            if (options.rate <= 0.0) {
                sendSurely(server, subject, text, unit.columns,
                           fmt::format("{}:{}:{}", run, unit.unit, first));
                continue;
            }
            // The units' batches are spread over the time that a batch takes, as those of many devices are.
            const double share = static_cast<double>(i) / static_cast<double>(units.size());
            const double due =
                (static_cast<double>(first) + share * static_cast<double>(options.rows)) / options.rate;
            std::this_thread::sleep_until(
                start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(due)));
            sendSoon(server, subject, text, unit.columns);
        }
    }
    check(js_PublishAsyncComplete(server.stream(), nullptr), "the last messages");
}

/// Calls `use` with each message of a stream of results, in its order.
template <class Use>
void readAll(const Server& server, const std::string& word, Use use) {
    jsStreamInfo* info = nullptr;
    check(js_GetStreamInfo(&info, server.stream(), word.c_str(), nullptr, nullptr), "the stream " + word);
    const std::uint64_t last = info->State.LastSeq;
    const bool isEmpty = info->State.Msgs == 0;
    jsStreamInfo_Destroy(info);
    if (isEmpty) return;
    natsSubscription* subscription = nullptr;
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Ordered = true;
    options.Stream = word.c_str();
    check(js_SubscribeSync(&subscription, server.stream(), (word + ".>").c_str(), nullptr, &options, nullptr),
          word);
    for (std::uint64_t sequence = 0; sequence < last;) {
        natsMsg* raw = nullptr;
        check(natsSubscription_NextMsg(&raw, subscription, 10000), "the next result");
        const Message message(raw);
        jsMsgMetaData* meta = nullptr;
        check(natsMsg_GetMetaData(&meta, raw), "a result's number");
        sequence = meta->Sequence.Stream;
        use(raw, *meta);
        jsMsgMetaData_Destroy(meta);
    }
    natsSubscription_Destroy(subscription);
}

void collect(const Server& server, const std::string& word, const std::string& folder) {
    std::map<std::string, std::string> results;
    readAll(server, word, [&](natsMsg* message, const jsMsgMetaData&) {
        std::string& result = results[std::strrchr(natsMsg_GetSubject(message), '.') + 1];
        if (result.empty()) result = header(message, "Columns") + "\n";
        result += payload(message);
    });
    for (const auto& [unit, text] : results)
        std::ofstream(folder + "/" + unit + ".csv", std::ios::binary) << text;
}

void latency(const Server& server, const std::string& word, double skip) {
    std::vector<double> milliseconds;
    std::int64_t first = 0;
    std::size_t rows = 0;
    double span = 0.0;
    readAll(server, word, [&](natsMsg* message, const jsMsgMetaData& meta) {
        if (first == 0) first = meta.Timestamp;
        const double since = static_cast<double>(meta.Timestamp - first) * 1e-9;
        if (since < skip) return;
        span = since - skip;
        const std::string_view text = payload(message);
        rows += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        milliseconds.push_back(
            static_cast<double>(meta.Timestamp - std::stoll(header(message, "Input-Time"))) * 1e-6);
    });
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double share) {
        if (milliseconds.empty()) return 0.0;
        return milliseconds[static_cast<std::size_t>(share * static_cast<double>(milliseconds.size() - 1))];
    };
    std::cout << nlohmann::json{{"results", milliseconds.size()},
                                {"rows", rows},
                                {"seconds", span},
                                {"p50_ms", at(0.5)},
                                {"p90_ms", at(0.9)},
                                {"p99_ms", at(0.99)},
                                {"p999_ms", at(0.999)},
                                {"max_ms", at(1.0)}}
              << "\n";
}

void count(const Server& server, const std::string& stream) {
    jsStreamInfo* info = nullptr;
    check(js_GetStreamInfo(&info, server.stream(), stream.c_str(), nullptr, nullptr), "the stream " + stream);
    std::cout << info->State.Msgs << "\n";
    jsStreamInfo_Destroy(info);
}

void fill(const Server& server, const std::string& subject) {
    for (const int size : {10000, 1000, 100, 1}) {
        const std::string text(static_cast<std::size_t>(size), 'x');
        jsErrCode code{};
        while (js_Publish(nullptr, server.stream(), subject.c_str(), text.data(), static_cast<int>(size),
                          nullptr, &code) == NATS_OK) {
        }
    }
}

int run(const std::vector<std::string>& words) {
    const Server server(words.at(1));
    const std::string& what = words.at(0);
    const std::string& word = words.at(2);
    if (what == "feed")
        feed(server, word, readFeedOptions({words.begin() + 3, words.end()}));
    else if (what == "collect")
        collect(server, word, words.at(3));
    else if (what == "latency")
        latency(server, word, std::stod(words.at(3)));
    else if (what == "count")
        count(server, word);
    else if (what == "fill")
        fill(server, word);
    else if (what == "send")
        sendSurely(server, word, words.at(3), words.size() > 4 ? words[4] : "",
                   words.size() > 5 ? words[5] : "");
    else
        return 2;
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + argumentCount);
    try {
        const int status = words.size() < 3 ? 2 : run(words);
        if (status == 2) std::cerr << kUsage;
        return status;
    } catch (const std::exception& error) {
        std::cerr << "fleet: " << error.what() << "\n";
        return 1;
    }
}
