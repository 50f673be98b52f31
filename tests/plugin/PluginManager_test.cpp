#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

#include "support/FilterTest.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

const std::string kPlugin = "KavelinPluginOrientationInternal";
const std::string kModules = KAVELIN_TEST_MODULES "/";

/// Alphabetical, case ignored, digits first.
bool isListedBefore(const std::string& a, const std::string& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
    });
}

PluginManager& plugins() { return FlowManager::instance().getPluginManager(); }

struct PluginModule : testing::Test {
    ~PluginModule() override {
        FlowManager::instance().clear();
        plugins().unloadAll();
    }
};

TEST_F(PluginModule, OffersItsTypesInOrderAndDescribesItself) {
    plugins().load(kPlugin);
    const std::vector<std::string> types = plugins().getTypeNames();
    EXPECT_THAT(types, testing::IsSupersetOf({"Filter3a3mGenerator", "FilterSO3Attitude"}));
    EXPECT_TRUE(std::is_sorted(types.begin(), types.end(), isListedBefore)) << testing::PrintToString(types);
    ASSERT_EQ(plugins().getPlugins().size(), 1u);
    const PluginMetaData& data = plugins().getPlugins()[0]->getMetaData();
    EXPECT_THAT((std::vector<std::string>{data.version, data.hostVersion, data.name, data.description,
                                          data.platform, data.buildDate}),
                ElementsAre("1.3.1", "0.10.0", "OrientationInternal",
                            "This is the plugin that wraps OrientationInternal elements.", "win32",
                            "Tue 06/27/2017"));
    for (const std::string& type : types) {
        const FilterPtr filter = plugins().createFilter(type, "an instance");
        EXPECT_EQ(filter->typeName(), type);
        EXPECT_EQ(filter->getName(), "an instance");
        EXPECT_TRUE(filter->isSchedulable());
        filter->process();  // nothing connected: returns, sends nothing
    }
}

TEST_F(PluginModule, StartAndStopMayBeRepeatedOrLeftOut) {
    const std::string path = kModules + "EchoA.so";
    void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << ::dlerror();
    const auto start = reinterpret_cast<void (*)()>(::dlsym(handle, "dllStartPlugin"));
    const auto stop = reinterpret_cast<void (*)()>(::dlsym(handle, "dllStopPlugin"));
    const auto version = reinterpret_cast<const char* (*)()>(::dlsym(handle, "dllGetKavelinVersion"));
    EXPECT_STREQ(version(), "0.10.0");
    stop();
    for (int i = 0; i < 2; ++i) {
        start();
        start();
        EXPECT_THAT(plugins().getTypeNames(), ElementsAre("FilterEchoA"));
        EXPECT_STREQ(version(), "0.10.0");
        stop();
        stop();
        EXPECT_THAT(plugins().getTypeNames(), IsEmpty());
    }
    ::dlclose(handle);
}

TEST_F(PluginModule, PinsOfTwoModulesConnect) {
    plugins().load(kModules + "EchoA.so");
    plugins().load(kModules + "EchoB.so");
    for (const bool sameLayout : {true, false}) {
        LayoutManager one("one"), two("two");
        Filter& a = one.add(plugins().createFilter("FilterEchoA", "a"));
        Filter& b = (sameLayout ? one : two).add(plugins().createFilter("FilterEchoB", "b"));
        connect(a.getOutputPin("out"), b.getInputPin("in"), {.synchronous = true});
        std::vector<Sent> log;
        ListeningPin end("end", log);
        OutputPin<Matrix> feeder("feeder", nullptr, row({1, 2}));
        connect(feeder, a.getInputPin("in"));
        connect(b.getOutputPin("out"), end);
        feeder.send(5);
        one.runToEnd();
        two.runToEnd();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].t, 7.0);
        EXPECT_EQ(log[0].value, row({1, 2}));
        disconnect(end);
    }
}

TEST_F(PluginModule, WhatCannotBeLoadedLeavesNothingBehind) {
    plugins().load(kModules + "EchoA.so");
    const auto load = [](const std::string& name) { return outcome([&] { plugins().load(name); }); };
    EXPECT_THAT(load("NoSuchPlugin"), AllOf(HasSubstr("Poco::FileNotFoundException"),
                                            HasSubstr("NoSuchPlugin.so"), HasSubstr("KAVELIN_PLUGIN_PATH")));
    EXPECT_THAT(load("./no/such.so"), HasSubstr("no plugin file './no/such.so'"));
    EXPECT_THAT(load(kModules + "WrongVersion.so"),
                AllOf(HasSubstr("0.9.7"), HasSubstr("this host is 0.10.0")));
    for (const char* module : {"ForOldHost.so", "ForAbsentHost.so"}) {
        EXPECT_THAT(load(kModules + module),
                    HasSubstr("was built for KavelinCore 1.2; this is KavelinCore 1.3"));
    }
    EXPECT_THAT(load(kModules + "Incomplete.so"), HasSubstr("has no function dllStopPlugin"));
    EXPECT_THAT(load(KAVELIN_TEST_MODULES "/NotAModule.so"), HasSubstr("Poco::LibraryLoadException"));
    EXPECT_THAT(load(kModules + "EchoAgain.so"),
                AllOf(HasSubstr("Poco::ExistsException"), HasSubstr("'FilterEchoA'"),
                      HasSubstr("'Echo of FilterEchoA'")));
    EXPECT_EQ(plugins().getPlugins().size(), 1u);
    EXPECT_THAT(plugins().getTypeNames(), ElementsAre("FilterEchoA"));
    EXPECT_NE(plugins().createFilter("FilterEchoA", "still there"), nullptr);
    EXPECT_THAT(outcome([] { plugins().createFilter("FilterEkoA", "x"); }),
                HasSubstr("the nearest are 'FilterEchoA'"));
}

TEST_F(PluginModule, IsUnloadedAlsoWhereItsFileIsGone) {
    const TemporaryFolder folder;
    for (const char* copy : {"One.so", "Another.so"}) {
        const std::filesystem::path file = folder.path(copy);
        std::filesystem::copy_file(kModules + "EchoA.so", file);
        plugins().load(file.string());
        std::filesystem::remove(file);
        if (copy[0] == 'O') plugins().unload(file.string());
        if (copy[0] == 'A') plugins().unloadAll();
        EXPECT_THAT(plugins().getTypeNames(), IsEmpty());
    }
}

TEST_F(PluginModule, BuiltForWiderVectorsReadsMatricesOfOthers) {
#ifndef KAVELIN_HAS_WIDE_MODULE
    GTEST_SKIP() << "skipped: not built, the compiler has no -march=x86-64-v3";
#elif defined(__x86_64__)
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi2"))
        GTEST_SKIP() << "skipped: the processor lacks what -march=x86-64-v3 asks for";
    plugins().load(kPlugin);
    plugins().load(kModules + "EchoWide.so");
    // Several of each, for matrices at addresses of any alignment.
    LayoutManager layout("layout");
    std::vector<Sent> log;
    ListeningPin direct("direct", log), end("end", log);
    OutputPin<Matrix> feeder("feeder", nullptr, row({0.5, 1, 0.25}));
    for (int i = 0; i < 16; ++i) {
        const std::string number = std::to_string(i);
        Filter& plane = layout.add(plugins().createFilter("FilterConstantPlane", "plane" + number));
        Filter& echo = layout.add(plugins().createFilter("FilterEchoWide", "echo" + number));
        connect(feeder, plane.getInputPin("3m"));
        ConnectionOptions options;
        if (i % 2 == 0) options.bufferSize = 1;
        connect(plane.getOutputPin("attitude"), echo.getInputPin("in"), options);
        if (i < 15) continue;
        connect(plane.getOutputPin("attitude"), direct);
        connect(echo.getOutputPin("out"), end);
    }
    for (int t = 0; t < 3; ++t) feeder.send(t);
    layout.runToEnd();
    ASSERT_EQ(log.size(), 6u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(log[3 + i].value, log[i].value);
    disconnect(direct);
    disconnect(end);
#endif
}

TEST_F(PluginModule, IsNotUnloadedUnderItsFilters) {
    plugins().load(kModules + "EchoA.so");
    FilterPtr filter = plugins().createFilter("FilterEchoA", "the one");
    EXPECT_THAT(outcome([] { plugins().unloadAll(); }), HasSubstr("in use by the filters 'the one'"));
    filter.reset();
    EXPECT_EQ(outcome([] { plugins().unloadAll(); }), "accepted");
}

TEST_F(PluginModule, AFilterInARunningLayoutStopsItWhenDestroyed) {
    plugins().load(kModules + "EchoA.so");
    LayoutManager layout("layout");
    FilterPtr filter = plugins().createFilter("FilterEchoA", "echo");
    layout.add(*filter);
    OutputPin<Matrix> feeder("feeder", nullptr, row({1}));
    connect(feeder, filter->getInputPin("in"));
    layout.start();
    filter.reset();
    EXPECT_FALSE(layout.isRunning());
    EXPECT_THAT(layout.getFilters(), IsEmpty());
    EXPECT_THAT(feeder.getAttachedInputs(), IsEmpty());
}

std::vector<std::string> exportedSymbols(const std::string& file) {
    const std::string command = "nm -D -C --defined-only '" + file + "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::vector<std::string> symbols;
    std::array<char, 4096> line;
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
        std::string text = line.data();
        text.pop_back();
        symbols.push_back(text.substr(text.find(' ', text.find(' ') + 1) + 1));
    }
    return symbols;
}

TEST(Symbols, APluginExportsItsThreeFunctionsOnly) {
    EXPECT_THAT(exportedSymbols(KAVELIN_PLUGIN_FILE),
                testing::UnorderedElementsAre("dllStartPlugin", "dllStopPlugin", "dllGetKavelinVersion"));
}

TEST(Symbols, TheHostExportsItsOwnNamesOnly) {
    const std::vector<std::string> symbols = exportedSymbols(KAVELIN_CORE_FILE);
    EXPECT_GT(symbols.size(), 100u);
    for (const std::string& symbol : symbols) {
        EXPECT_TRUE(symbol.find("Kavelin::") != std::string::npos ||
                    symbol.find("Util::System::") != std::string::npos)
            << symbol;
    }
}

}  // namespace
}  // namespace Kavelin::Core
