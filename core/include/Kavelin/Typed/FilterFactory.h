#pragma once

#include <Kavelin/Core/AbstractFactory.h>
#include <Kavelin/Core/ComponentVersion.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Plugin.h>

#include <new>
#include <string>

namespace Kavelin::Core {

/// Makes filters of class T, which names itself by `T::kTypeName`.
template <class T>
class FilterFactory final : public AbstractFilterFactory {
public:
    explicit FilterFactory(const DefaultPlugin& plugin)
        : pluginName_(plugin.getName()), version_(plugin.getMetaData().version) {}

    void destroy(Filter* filter) override { delete filter; }
    std::string typeName() const override { return T::kTypeName; }
    Filter* create(const std::string& name) override { return new (std::nothrow) T(name); }

    const std::string& getPluginName() const { return pluginName_; }
    const ComponentVersion& getVersion() const { return version_; }

private:
    std::string pluginName_;
    ComponentVersion version_;
};

}  // namespace Kavelin::Core
