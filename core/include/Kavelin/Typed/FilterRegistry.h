#pragma once

#include <Kavelin/Core/Plugin.h>
#include <Kavelin/Typed/FilterFactory.h>

#include <memory>
#include <new>
#include <span>

namespace Kavelin::Core {

/// One row of a plugin's ordered table of filter types.
struct RegistryRow {
    AbstractFilterFactory* (*makeFactory)(const DefaultPlugin&);
};

/// The row of filter class T.
template <class T>
constexpr RegistryRow row() {
    return {[](const DefaultPlugin& plugin) -> AbstractFilterFactory* {
        return new (std::nothrow) FilterFactory<T>(plugin);
    }};
}

/// Appends a factory for each row, in order. A factory that cannot be allocated is stored as null.
inline void registerFilters(DefaultPlugin& plugin, std::span<const RegistryRow> rows) {
    for (const RegistryRow& entry : rows)
        plugin.addFactory(std::unique_ptr<AbstractFilterFactory>(entry.makeFactory(plugin)));
}

}  // namespace Kavelin::Core
