#pragma once

#include <Kavelin/Core/AbstractFactory.h>
#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/PluginMetaData.h>

#include <memory>
#include <vector>

namespace Kavelin::Core {

/// What a loaded module contributes.
class KAVELIN_API Plugin : public NamedObject {
public:
    explicit Plugin(const std::string& name) : NamedObject(name) {}
    ~Plugin() override;

    /// Publishes what the plugin contributes. Called by the plugin manager.
    virtual void install() = 0;
    virtual void uninstall() = 0;
    virtual const PluginMetaData& getMetaData() const = 0;
};

/// A plugin that contributes filter types: it owns their factories, in the order in which they were added.
class KAVELIN_API DefaultPlugin : public Plugin {
public:
    DefaultPlugin(const std::string& name, const std::string& version);
    ~DefaultPlugin() override;

    /// Publishes the factories. @throws Poco::ExistsException for a type name that exists;
    /// nothing is published then.
    void install() override;
    void uninstall() override;
    const PluginMetaData& getMetaData() const override { return metaData_; }
    const std::vector<std::unique_ptr<AbstractFilterFactory>>& getFactories() const { return factories_; }

    /// Takes ownership. To be called before the plugin is installed.
    void addFactory(std::unique_ptr<AbstractFilterFactory> factory);

protected:
    PluginMetaData metaData_;

private:
    std::vector<std::unique_ptr<AbstractFilterFactory>> factories_;
};

}  // namespace Kavelin::Core
