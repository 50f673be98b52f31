#pragma once

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/PluginManager.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// The process-wide owner of plugins, layouts and variables.
class KAVELIN_API FlowManager {
public:
    static FlowManager& instance();
    FlowManager(const FlowManager&) = delete;
    FlowManager& operator=(const FlowManager&) = delete;

    PluginManager& getPluginManager() const { return *plugins_; }

    // Layouts
    /// @throws Poco::ExistsException for a name that is taken.
    LayoutManager& createLayout(const std::string& name);
    /// Stops and destroys it with the filters that it owns.  @throws Poco::NotFoundException.
    void destroyLayout(const std::string& name);
    /// Stops and destroys all of them.
    void clear();
    std::vector<LayoutManager*> getLayouts() const;
    /// The filter of that name, or "layout/filter", in any layout.
    /// @throws Poco::NotFoundException naming what exists,
    /// Poco::ExistsException when several layouts have one.
    Filter& getFilter(const std::string& name) const;

    /// Connects by name, "filter:pin". Filters that make pins on demand make the input pin if need be.
    /// @throws Poco::SyntaxException, Poco::NotFoundException naming what exists, and as `connect`.
    void connect(const std::string& output, const std::string& input, const ConnectionOptions& options = {});
    void disconnect(const std::string& input);

    /// Runs all layouts in the caller's thread to their end, in rounds: the layout whose sources have the
    /// smallest time stamp of all takes one row, then every layout, each after those that feed it, takes all
    /// that was sent to it. So no sample is dropped because a reader runs late,
    /// and the same input gives the same output.
    void runToEnd();
    /// The same with a thread for each layout, or for each cycle of layouts that feed each other. Every
    /// layout goes through the same rounds in the same order as with `runToEnd`, so its output is identical
    /// bit for bit; it may lag some hundred rounds behind those that feed it.
    void runToEndInThreads();
    /// Starts the threads of such a run and returns; a layout that no source reaches runs until it is
    /// stopped. Connections made between two layouts meanwhile deliver at once, outside the rounds. In such a
    /// run readers do not wait for data inside `process`: a round is complete when it is called.
    /// @throws Poco::IllegalStateException while one of the layouts runs.
    void start();
    /// Waits until all layouts have ended.
    void wait();
    /// Asks a run in whatever threads, and all layouts, to stop.  [any thread, signal handlers excepted]
    void stop();

    // Variables
    void setVariable(const std::string& name, const std::string& value);
    void removeVariable(const std::string& name);
    /// Replaces each `${NAME}` by the variable of that name, else by the environment's; an unknown one stays
    /// as it is. Inserted text is not expanded again.
    std::string expandVariables(const std::string& text) const;

private:
    FlowManager();
    ~FlowManager();

    void startLanes(bool staysOpen);

    std::unique_ptr<PluginManager> plugins_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> variables_;
    std::vector<std::unique_ptr<LayoutManager>> layouts_;
};

}  // namespace Kavelin::Core
