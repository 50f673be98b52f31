#pragma once

#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Plugin.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// Returns a filter to the factory that made it. A filter in a running layout stops that layout first.
class KAVELIN_API FilterDeleter {
public:
    FilterDeleter() = default;
    explicit FilterDeleter(AbstractFilterFactory* factory) : factory_(factory) {}
    void operator()(Filter* filter) const;

private:
    AbstractFilterFactory* factory_ = nullptr;
};

/// A filter that some factory made. It must not outlive its plugin:
/// the plugin manager does not unload a plugin while filters of it exist.
using FilterPtr = std::unique_ptr<Filter, FilterDeleter>;

/// Loads plugin modules, and makes filters of the types that they contribute.  [any thread]
class KAVELIN_API PluginManager {
public:
    ~PluginManager();
    PluginManager(const PluginManager&) = delete;
    PluginManager& operator=(const PluginManager&) = delete;

    /// Loads a module by path, or by name ("KavelinPluginOrientationInternal") along the search path, and
    /// starts it. A module that is loaded already is left as it is.
    /// @throws Poco::FileNotFoundException, Poco::LibraryLoadException (no module, built for another
    /// KavelinCore, or one of its three functions is missing), Poco::InvalidAccessException (another host
    /// version), Poco::ExistsException (a type name that exists); nothing stays half installed.
    void load(const std::string& nameOrPath);
    /// Stops and unloads, also a module whose file is gone.  @throws Poco::NotFoundException when it is not
    /// loaded, Poco::IllegalStateException, naming them, while filters of it are alive.
    void unload(const std::string& nameOrPath);
    /// Unloads every module, last loaded first.  @throws Poco::IllegalStateException as `unload`.
    void unloadAll();
    /// Folders searched for a module name:
    /// KAVELIN_PLUGIN_PATH, then the folder `kavelin` next to this library.
    static std::vector<std::filesystem::path> searchPath();

    /// Makes the plugin's filter types available. The plugin is lent until it is uninstalled.
    void installPlugin(Plugin& plugin);
    /// Withdraws them; harmless for a plugin that is not installed.
    /// @throws Poco::IllegalStateException while filters of it are alive.
    void uninstallPlugin(Plugin& plugin);

    std::vector<Plugin*> getPlugins() const;
    /// All filter types, in the order of installation.
    std::vector<std::string> getTypeNames() const;
    /// The plugin that contributes `type`; null when there is none.
    Plugin* findPluginOf(const std::string& type) const;
    /// @throws Poco::NotFoundException naming the nearest types, Poco::OutOfMemoryException.
    FilterPtr createFilter(const std::string& type, const std::string& name);

private:
    friend class DefaultPlugin;
    friend class FlowManager;
    friend class FilterDeleter;
    struct Module;
    struct State;

    PluginManager();
    void publish(Plugin& plugin, const std::vector<std::unique_ptr<AbstractFilterFactory>>& factories);
    void withdraw(Plugin& plugin);
    void unload(std::size_t position);
    void noteDestroyed(AbstractFilterFactory* factory, const std::string& name);

    std::unique_ptr<State> state_;
};

}  // namespace Kavelin::Core
