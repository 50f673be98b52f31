#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/Filter.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// The properties of what is built: their present values as texts, what changed since when, writes and commands. Destroyed before
/// the filters.  [any thread, not in a `process`]
class PropertyBoard : private Core::PropertyObserver {
public:
    explicit PropertyBoard(const std::vector<Core::Filter*>& filters);
    ~PropertyBoard() override;
    PropertyBoard(const PropertyBoard&) = delete;
    PropertyBoard& operator=(const PropertyBoard&) = delete;

    /// The properties of a filter, as the page is told of them.
    nlohmann::ordered_json describe(const Core::Filter& filter);
    /// A message for each property that changed since `seen`, which becomes the present.
    std::vector<std::string> changesSince(std::uint64_t& seen);
    /// The number of the latest change.
    std::uint64_t present();

    /// Writes a property from its text, as `--set` does.
    /// @throws UsageError with the text of the refusal; for a file name in any case
    void write(const std::string& filter, const std::string& property, const std::string& text);
    /// Activates a command.  @throws what its handler raises; UsageError where there is no such command
    void command(const std::string& filter, const std::string& property);

private:
    struct Record {
        Core::AbstractProperty* property = nullptr;
        std::optional<std::string> initial = {};  // of a new filter
        std::string text = {};                    // JSON, as it was when last looked at
        std::uint64_t changed = 0;
    };
    struct Owner {
        Core::Filter* filter = nullptr;
        std::vector<Record> records;
        std::atomic<bool> mayHaveChanged{true};
    };

    void valueChanged(const Core::AbstractProperty& property) override;
    void attributeChanged(const Core::AbstractProperty& property) override { valueChanged(property); }
    void add(Core::Filter& filter);
    void look();
    void look(Owner& owner);
    Core::AbstractProperty& find(const std::string& filter, const std::string& property,
                                 bool isCommand) const;

    std::vector<std::unique_ptr<Owner>> owners_;
    std::map<const Core::AbstractProperty*, Owner*> ownerOf_;
    std::atomic<bool> mayHaveChanged_{true};
    std::mutex mutex_;  // guards the records
    std::uint64_t changes_ = 0;
};

}  // namespace Kavelin::Cli
