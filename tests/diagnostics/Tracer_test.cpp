#include "diagnostics/Tracer.h"

#include "../TemporaryDirectory.h"
#include "platform/DebugOutput.h"
#include "platform/Registry.h"
#include "platform/TraceTool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace Tavlin;

namespace {

std::vector<std::string> debugLines;

std::string const values = "SOFTWARE\\mxq\\dbgTracer\\projects\\QX\\values";
std::string const settings = "SOFTWARE\\mxq\\dbgTracer\\projects\\QX\\settings";

/// A store and a tool of its own.
class TracerTest : public ::testing::Test {
  protected:
    TracerTest() {
        setenv("ONDREL_REGISTRY", folder.name("registry").c_str(), 1);
        setenv("ONDREL_TRACE", folder.name("trace").c_str(), 1);
        debugLines.clear();
        platform::setDebugOutputHandler([](char const * text) { debugLines.push_back(text); });
    }
    ~TracerTest() override {
        platform::closeTraceTool(tool);
        platform::setDebugOutputHandler(nullptr);
        unsetenv("ONDREL_REGISTRY");
        unsetenv("ONDREL_TRACE");
    }
    void startTool() { ASSERT_TRUE(tool = platform::openTraceTool()); }
    /// What the tool was told, as "line 0 text" or "new 0".
    std::string received() {
        platform::TraceRecord record;
        if (!platform::receiveTrace(tool, record, 0))
            return "nothing";
        return (record.message == platform::TraceMessage::Line ? "line " : "new ") +
               std::to_string(record.number) + " " + record.text;
    }
    static std::string registry(std::string const & key, char const * name) {
        std::string text = "none";
        platform::readRegistry(key.c_str(), name, text);
        return text;
    }

    TemporaryDirectory folder;
    HANDLE tool = nullptr;
};

TEST_F(TracerTest, WithoutAToolLinesGoToTheDebugOutput) {
    Tracer::Output("ai", "path", "lost");
    {
        Tracer tracer;
        EXPECT_EQ(Tracer::Get(), &tracer);
        tracer.refreshState();
        Tracer::Output("ai", nullptr, "found");
    }
    EXPECT_EQ(Tracer::Get(), nullptr);
    EXPECT_EQ(debugLines, (std::vector<std::string>{"[ai][path] : lost", "[ai][] : found"}));
    EXPECT_EQ(registry(settings, "lastid"), "none") << "no tool, no channel";
}

TEST_F(TracerTest, ANewChannelGetsANumberAndIsAnnouncedOnce) {
    startTool();
    Tracer tracer;
    tracer.refreshState();
    ASSERT_TRUE(tracer.hasTool());
    tracer.output("ai", "path", "one");
    tracer.output("ai", "path", "two");
    tracer.output("net", "path", "three");
    EXPECT_EQ(received(), "new 0 ");
    EXPECT_EQ(received(), "line 0 one");
    EXPECT_EQ(received(), "line 0 two");
    EXPECT_EQ(received(), "new 1 ");
    EXPECT_EQ(received(), "line 1 three");
    EXPECT_EQ(received(), "nothing");
    EXPECT_TRUE(debugLines.empty());
    EXPECT_EQ(registry(settings, "lastid"), "1");
    EXPECT_EQ(registry(values, "1"), "net|path|1|on");
    EXPECT_THROW(tracer.output("a|b", "c", "text"), TracerError);
}

TEST_F(TracerTest, TheFlagIsTheToolsMatterAndKeepsTheNumber) {
    startTool();
    Tracer tracer;
    tracer.refreshState();
    tracer.config().setInfo("ai", "path", true);
    tracer.config().setInfo("ai", "path", false);
    EXPECT_EQ(registry(values, "0"), "ai|path|0|off");
    tracer.output("ai", "path", "text");
    EXPECT_EQ(received(), "line 0 text");
    TracerConfig::Info info;
    ASSERT_TRUE(TracerConfig("QX").getInfo("ai", "path", info));
    EXPECT_FALSE(info.on);
    EXPECT_EQ(info.number, 0);
    EXPECT_FALSE(TracerConfig("other").getInfo("ai", "path", info));
}

TEST_F(TracerTest, ARefreshForgetsAToolThatHasGoneAndHeedsTheSwitch) {
    startTool();
    Tracer tracer;
    tracer.refreshState();
    platform::closeTraceTool(tool);
    tracer.output("a", "b", "into the void"); // must not hang nor fail
    tracer.refreshState();
    EXPECT_FALSE(tracer.hasTool());
    startTool();
    platform::writeRegistry(Tracer::toolKey, "isActive", "off");
    tracer.refreshState();
    EXPECT_FALSE(tracer.hasTool());
    platform::writeRegistry(Tracer::toolKey, "isActive", "on");
    tracer.refreshState();
    EXPECT_TRUE(tracer.hasTool());
    EXPECT_EQ(platform::openTraceTool(), nullptr) << "there is one already";
}

TEST_F(TracerTest, AToolThatDoesNotLookDoesNotHoldTheProgramUpForEver) {
    startTool();
    Tracer tracer;
    tracer.refreshState();
    for (int i = 0; i < 8; ++i)
        tracer.output("a", "b", std::string(50000, 'x').c_str());
    EXPECT_EQ(received(), "new 0 ");
    tracer.output("a", "b", std::string(100000, 'y').c_str());
    EXPECT_EQ(received().substr(0, 9), "line 0 xx");
}

TEST_F(TracerTest, DamagedEntriesRaiseTheError) {
    struct {
        char const * text;
        bool good;
    } const cases[] = {{"a|b|3|ON", true},     {"||3|off", true},   {"a|b|-1|on", true},
                       {"a|b|3", false},       {"a|b|x|on", false}, {"a|b||on", false},
                       {"a|b|3|maybe", false}, {"", false}};
    for (auto const & c : cases) {
        platform::writeRegistry(values.c_str(), "0", c.text);
        if (c.good)
            EXPECT_NO_THROW(TracerConfig("QX")) << c.text;
        else
            EXPECT_THROW(TracerConfig("QX"), TracerError) << c.text;
    }
}

TEST_F(TracerTest, TheLogGetsEveryLineWithItsTime) {
    std::string const file =
        folder.put("trace.log", "an older and longer content than the new one");
    Tracer tracer;
    tracer.setLogFile(file.c_str());
    ASSERT_TRUE(tracer.hasLogFile());
    tracer.output("ai", "path", "one\n");
    std::string const line = folder.content("trace.log");
    ASSERT_EQ(line.size(), std::string("mm/dd/yy hh:mm:ss [ai][path] one\n").size());
    EXPECT_EQ(line.substr(17), " [ai][path] one\n");
    tracer.output("ai", "path", "two\n");
    EXPECT_GT(folder.content("trace.log").size(), line.size());
    tracer.setLogFile(folder.name("absent\\trace.log").c_str());
    EXPECT_FALSE(tracer.hasLogFile());
    tracer.output("ai", "path", "three");
    EXPECT_EQ(debugLines.size(), 3u);
}

TEST_F(TracerTest, TheStoreKeepsAnyTextAndMissesWhatIsAbsent) {
    std::string const odd = "a=b\\[c]\nd \xC3\xA4";
    ASSERT_TRUE(platform::writeRegistry(odd.c_str(), odd.c_str(), odd.c_str()));
    ASSERT_TRUE(platform::writeRegistry("other", "", ""));
    EXPECT_EQ(registry(odd, odd.c_str()), odd);
    EXPECT_EQ(registry("other", ""), "");
    EXPECT_EQ(registry("other", "x"), "none");
    platform::RegistryValues list;
    EXPECT_FALSE(platform::listRegistry("absent", list));
    ASSERT_TRUE(platform::listRegistry(odd.c_str(), list));
    EXPECT_EQ(list.size(), 1u);
    folder.put("registry", "no key\n=\n[open\nname\n\\\n[k]\nx=1\nx=2");
    EXPECT_EQ(registry("k", "x"), "2");
}

TEST_F(TracerTest, AStoreThatCannotBeReadInFullIsNotReplaced) {
    ASSERT_TRUE(platform::writeRegistry("k", "x", "1"));
    std::filesystem::resize_file(folder.name("registry"), 17u << 20);
    EXPECT_FALSE(platform::writeRegistry("k", "y", "2"));
    int number = 0;
    EXPECT_FALSE(platform::countUpRegistry("k", "z", number));
    EXPECT_EQ(std::filesystem::file_size(folder.name("registry")), 17u << 20);
    std::filesystem::resize_file(folder.name("registry"), 8);
    EXPECT_EQ(registry("k", "x"), "1");
}

} // namespace
