#pragma once

#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Version.h>

/// Defines the three functions that the host looks for in a plugin module, and the one plugin object behind
/// them. To be used once in a module, at global scope.
#define KAVELIN_EXPORT_PLUGIN(PluginClass)                                                     \
    namespace {                                                                                \
    PluginClass* thePlugin = nullptr; /* null while the plugin is not started */               \
    }                                                                                          \
    extern "C" {                                                                               \
    __attribute__((visibility("default"))) void dllStartPlugin() {                             \
        if (thePlugin != nullptr) return;                                                      \
        thePlugin = new PluginClass;                                                           \
        Kavelin::Core::FlowManager::instance().getPluginManager().installPlugin(*thePlugin);   \
    }                                                                                          \
    __attribute__((visibility("default"))) void dllStopPlugin() {                              \
        if (thePlugin == nullptr) return;                                                      \
        Kavelin::Core::FlowManager::instance().getPluginManager().uninstallPlugin(*thePlugin); \
        delete thePlugin;                                                                      \
        thePlugin = nullptr;                                                                   \
    }                                                                                          \
    __attribute__((visibility("default"))) const char* dllGetKavelinVersion() {                \
        return Kavelin::Core::kHostVersion;                                                    \
    }                                                                                          \
    }
