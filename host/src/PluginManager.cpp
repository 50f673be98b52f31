#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/PluginManager.h>
#include <Kavelin/Core/Version.h>
#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "NameList.h"

namespace Kavelin::Core {

namespace fs = std::filesystem;

// A loaded module: open from construction to destruction, with its three functions.
struct PluginManager::Module {
    fs::path path;
    void* handle = nullptr;
    void (*start)() = nullptr;
    void (*stop)() = nullptr;
    const char* (*version)() = nullptr;
    std::vector<Plugin*> plugins;  // what it installed

    explicit Module(const fs::path& file);
    bool isNamed(const std::string& nameOrPath) const;
    ~Module() {
        if (handle != nullptr) ::dlclose(handle);
    }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    template <class Function>
    void find(Function& function, const char* symbol);
};

struct PluginManager::State {
    struct Type {
        std::string name;
        AbstractFilterFactory* factory;
        Plugin* plugin;
    };

    std::recursive_mutex loading;  // one module is loaded or unloaded at a time; installing re-enters
    mutable std::mutex mutex;      // guards what follows
    std::vector<std::unique_ptr<Module>> modules;
    std::vector<Plugin*> plugins;
    std::vector<Type> types;
    std::map<AbstractFilterFactory*, std::vector<std::string>> alive;

    std::vector<std::string> typeNames() const {
        std::vector<std::string> names;
        for (const Type& type : types) names.push_back(type.name);
        return names;
    }
    // Names of the plugin's filters that still exist.
    std::vector<std::string> aliveOf(const Plugin& plugin) const {
        std::vector<std::string> names;
        for (const Type& type : types) {
            const auto found = alive.find(type.factory);
            if (type.plugin != &plugin || found == alive.end()) continue;
            names.insert(names.end(), found->second.begin(), found->second.end());
        }
        return names;
    }
    void requireUnused(const Plugin& plugin) const {
        const std::vector<std::string> names = aliveOf(plugin);
        if (names.empty()) return;
        throw Poco::IllegalStateException("Plugin '" + plugin.getName() + "' is in use by the filters " +
                                          listNames(names) + "; destroy them first");
    }
};

namespace {

// The search path's entries are tried in order; a text with a slash is a path already.
fs::path resolve(const std::string& nameOrPath) {
    if (nameOrPath.find('/') != std::string::npos) {
        if (fs::exists(nameOrPath)) return fs::canonical(nameOrPath);
        throw Poco::FileNotFoundException("There is no plugin file '" + nameOrPath + "'");
    }
    const std::string file = nameOrPath.ends_with(".so") ? nameOrPath : nameOrPath + ".so";
    std::vector<std::string> tried;
    for (const fs::path& folder : PluginManager::searchPath()) {
        if (fs::exists(folder / file)) return fs::canonical(folder / file);
        tried.push_back(folder.string());
    }
    throw Poco::FileNotFoundException("There is no plugin '" + nameOrPath + "': no " + file + " in " +
                                      listNames(tried) + " (KAVELIN_PLUGIN_PATH adds folders)");
}

constexpr std::string_view kHostLibrary = "libKavelinCore.so.";

// The host library's name in a message of the loader, "libKavelinCore.so.1.2: cannot open";
// empty without one.
std::string hostNamedIn(const std::string& message) {
    const std::size_t at = message.find(kHostLibrary);
    if (at == std::string::npos) return {};
    return message.substr(at, message.find_first_not_of("0123456789.", at + kHostLibrary.size()) - at);
}

// The host library that a loaded module names among those it needs; empty when it names none.
std::string hostNeededBy(void* handle) {
    const link_map* map = nullptr;
    if (::dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) return {};
    const char* strings = nullptr;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_STRTAB) strings = reinterpret_cast<const char*>(entry->d_un.d_ptr);
    }
    for (const ElfW(Dyn)* entry = map->l_ld; strings != nullptr && entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag != DT_NEEDED) continue;
        const std::string_view needed = strings + entry->d_un.d_val;
        if (needed.starts_with(kHostLibrary)) return std::string(needed);
    }
    return {};
}

// Another version of the host library has different classes, and would be a second host.
void requireOwnHost(const fs::path& module, const std::string& library) {
    if (library.empty() || library == KAVELIN_CORE_SONAME) return;
    const auto version = [](std::string_view name) { return std::string(name.substr(kHostLibrary.size())); };
    throw Poco::LibraryLoadException("'" + module.string() + "' was built for KavelinCore " +
                                     version(library) + "; this is KavelinCore " +
                                     version(KAVELIN_CORE_SONAME) + ". Build it again for this one");
}

}  // namespace

// Whether a name or a path refers to the module; its file may be gone.
bool PluginManager::Module::isNamed(const std::string& nameOrPath) const {
    if (nameOrPath.find('/') != std::string::npos) return fs::weakly_canonical(nameOrPath) == path;
    return path.filename() == (nameOrPath.ends_with(".so") ? nameOrPath : nameOrPath + ".so");
}

PluginManager::Module::Module(const fs::path& file) : path(file) {
    handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const std::string error = ::dlerror();
        requireOwnHost(path, hostNamedIn(error));
        throw Poco::LibraryLoadException("Cannot load '" + path.string() + "': " + error);
    }
    try {
        requireOwnHost(path, hostNeededBy(handle));
        find(start, "dllStartPlugin");
        find(stop, "dllStopPlugin");
        find(version, "dllGetKavelinVersion");
    } catch (...) {
        ::dlclose(handle);
        throw;
    }
}

template <class Function>
void PluginManager::Module::find(Function& function, const char* symbol) {
    function = reinterpret_cast<Function>(::dlsym(handle, symbol));
    if (function == nullptr) {
        throw Poco::LibraryLoadException(
            "'" + path.string() + "' is not a plugin: it has no function " + symbol +
            "; a plugin exports dllStartPlugin, dllStopPlugin and dllGetKavelinVersion");
    }
}

PluginManager::PluginManager() : state_(std::make_unique<State>()) {}

PluginManager::~PluginManager() {
    // The process is ending: filters that still exist must not lose their code.
    for (auto& module : state_->modules) module->handle = nullptr;
}

std::vector<fs::path> PluginManager::searchPath() {
    std::vector<fs::path> folders;
    std::istringstream list(Poco::Environment::get("KAVELIN_PLUGIN_PATH", ""));
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty()) folders.emplace_back(folder);
    }
    Dl_info self{};
    if (::dladdr(reinterpret_cast<const void*>(&FlowManager::instance), &self) != 0 &&
        self.dli_fname != nullptr) {
        folders.push_back(fs::absolute(self.dli_fname).parent_path() / "kavelin");
    }
    return folders;
}

void PluginManager::load(const std::string& nameOrPath) {
    std::lock_guard loading(state_->loading);
    const fs::path path = resolve(nameOrPath);
    for (const auto& module : state_->modules) {
        if (module->path == path) return;
    }
    auto module = std::make_unique<Module>(path);
    const std::string version = module->version();
    if (version != kHostVersion) {
        throw Poco::InvalidAccessException("'" + path.string() + "' was built for host version " + version +
                                           "; this host is " + kHostVersion +
                                           ". Build it again with the headers of this host");
    }
    const std::vector<Plugin*> before = getPlugins();
    try {
        module->start();
    } catch (...) {
        module->stop();  // takes down what the refused start left behind
        throw;
    }
    for (Plugin* plugin : getPlugins()) {
        if (std::find(before.begin(), before.end(), plugin) == before.end())
            module->plugins.push_back(plugin);
    }
    state_->modules.push_back(std::move(module));
}

void PluginManager::unload(const std::string& nameOrPath) {
    std::lock_guard loading(state_->loading);
    const auto found = std::find_if(state_->modules.begin(), state_->modules.end(),
                                    [&](const auto& module) { return module->isNamed(nameOrPath); });
    if (found == state_->modules.end()) throw Poco::NotFoundException("'" + nameOrPath + "' is not loaded");
    unload(static_cast<std::size_t>(found - state_->modules.begin()));
}

void PluginManager::unload(std::size_t position) {
    const Module& module = *state_->modules[position];
    {
        std::lock_guard lock(state_->mutex);
        for (const Plugin* plugin : module.plugins) state_->requireUnused(*plugin);
    }
    module.stop();
    state_->modules.erase(state_->modules.begin() + static_cast<std::ptrdiff_t>(position));
}

void PluginManager::unloadAll() {
    std::lock_guard loading(state_->loading);
    while (!state_->modules.empty()) unload(state_->modules.size() - 1);
}

void PluginManager::installPlugin(Plugin& plugin) {
    std::lock_guard loading(state_->loading);
    const std::vector<Plugin*> installed = getPlugins();
    if (std::find(installed.begin(), installed.end(), &plugin) != installed.end()) return;
    plugin.install();
    std::lock_guard lock(state_->mutex);
    state_->plugins.push_back(&plugin);
}

void PluginManager::uninstallPlugin(Plugin& plugin) {
    std::lock_guard loading(state_->loading);
    {
        std::lock_guard lock(state_->mutex);
        if (std::find(state_->plugins.begin(), state_->plugins.end(), &plugin) == state_->plugins.end())
            return;
        state_->requireUnused(plugin);
    }
    plugin.uninstall();
    std::lock_guard lock(state_->mutex);
    std::erase(state_->plugins, &plugin);
}

void PluginManager::publish(Plugin& plugin,
                            const std::vector<std::unique_ptr<AbstractFilterFactory>>& factories) {
    std::lock_guard lock(state_->mutex);
    std::vector<State::Type> types = state_->types;
    for (const auto& factory : factories) {
        if (factory == nullptr) continue;
        const std::string name = factory->typeName();
        const auto known =
            std::find_if(types.begin(), types.end(), [&](const auto& t) { return t.name == name; });
        if (known != types.end()) {
            throw Poco::ExistsException("Plugin '" + plugin.getName() + "' brings the filter type '" + name +
                                        "', which plugin '" + known->plugin->getName() +
                                        "' provides already");
        }
        types.push_back({name, factory.get(), &plugin});
    }
    state_->types = std::move(types);
}

void PluginManager::withdraw(Plugin& plugin) {
    std::lock_guard lock(state_->mutex);
    std::erase_if(state_->types, [&](const State::Type& type) { return type.plugin == &plugin; });
}

std::vector<Plugin*> PluginManager::getPlugins() const {
    std::lock_guard lock(state_->mutex);
    return state_->plugins;
}

std::vector<std::string> PluginManager::getTypeNames() const {
    std::lock_guard lock(state_->mutex);
    return state_->typeNames();
}

Plugin* PluginManager::findPluginOf(const std::string& type) const {
    std::lock_guard lock(state_->mutex);
    for (const State::Type& known : state_->types) {
        if (known.name == type) return known.plugin;
    }
    return nullptr;
}

FilterPtr PluginManager::createFilter(const std::string& type, const std::string& name) {
    AbstractFilterFactory* factory = nullptr;
    {
        std::lock_guard lock(state_->mutex);
        for (const State::Type& known : state_->types) {
            if (known.name == type) factory = known.factory;
        }
        if (factory == nullptr) {
            const std::vector<std::string> names = state_->typeNames();
            throw Poco::NotFoundException(
                "There is no filter type '" + type + "'; " +
                (names.empty() ? "no plugin is loaded"
                               : "the nearest are " + listNames(nearestNames(type, names, 3))));
        }
        state_->alive[factory].push_back(name);
    }
    Filter* filter = nullptr;
    try {
        filter = factory->create(name);
    } catch (...) {
        noteDestroyed(factory, name);
        throw;
    }
    if (filter == nullptr) {
        noteDestroyed(factory, name);
        throw Poco::OutOfMemoryException("No memory for a filter of type '" + type + "'");
    }
    return FilterPtr(filter, FilterDeleter(factory));
}

void PluginManager::noteDestroyed(AbstractFilterFactory* factory, const std::string& name) {
    std::lock_guard lock(state_->mutex);
    std::vector<std::string>& names = state_->alive[factory];
    const auto found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) names.erase(found);
    if (names.empty()) state_->alive.erase(factory);
}

void FilterDeleter::operator()(Filter* filter) const {
    if (LayoutManager* layout = filter->getManager()) {
        layout->stop();
        layout->wait();
        layout->remove(*filter);
    }
    const std::string name = filter->getName();
    factory_->destroy(filter);
    FlowManager::instance().getPluginManager().noteDestroyed(factory_, name);
}

AbstractFilterFactory::~AbstractFilterFactory() = default;
Plugin::~Plugin() = default;

DefaultPlugin::DefaultPlugin(const std::string& name, const std::string& version) : Plugin(name) {
    metaData_.name = name;
    metaData_.version = version;
}
DefaultPlugin::~DefaultPlugin() = default;

void DefaultPlugin::install() { FlowManager::instance().getPluginManager().publish(*this, factories_); }
void DefaultPlugin::uninstall() { FlowManager::instance().getPluginManager().withdraw(*this); }
void DefaultPlugin::addFactory(std::unique_ptr<AbstractFilterFactory> factory) {
    factories_.push_back(std::move(factory));
}

}  // namespace Kavelin::Core
