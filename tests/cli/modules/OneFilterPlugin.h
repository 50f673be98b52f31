#pragma once

#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/FilterRegistry.h>
#include <Kavelin/Typed/PluginExports.h>

#include <string>

namespace Kavelin::Core {

/// A plugin with one filter type, whose name it has behind "Filter".
template <class F>
class OneFilterPlugin : public DefaultPlugin {
public:
    OneFilterPlugin() : DefaultPlugin(std::string(F::kTypeName).substr(6), "1.0") {
        static constexpr RegistryRow kRows[] = {row<F>()};
        registerFilters(*this, kRows);
    }
};

}  // namespace Kavelin::Core
