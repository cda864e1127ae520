// The debug tool, with this program as the one that is traced.
#include "tests/tools/program_support.h"

#include "diagnostics/Tracer.h"
#include "platform/Registry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <future>
#include <thread>

namespace {

/// A registry and a place to listen of the test's own.
class TraceTest : public ::testing::Test {
  protected:
    TraceTest() {
        setenv("ONDREL_REGISTRY", folder.name("registry").c_str(), 1);
        setenv("ONDREL_TRACE", folder.name("trace").c_str(), 1);
    }
    ~TraceTest() override {
        unsetenv("ONDREL_REGISTRY");
        unsetenv("ONDREL_TRACE");
    }
    std::future<Outcome> start(std::vector<std::string> arguments, std::string const & input = "") {
        arguments.insert(arguments.begin(), "trace");
        return std::async(std::launch::async,
                          [=, this] { return runProgram(folder, arguments, input); });
    }
    /// Until the tool is there.
    static void find(Tavlin::Tracer & tracer) {
        while (!tracer.hasTool()) {
            tracer.refreshState();
            std::this_thread::yield();
        }
    }

    TemporaryDirectory folder;
};

TEST_F(TraceTest, ShowsTheChannelsThatAreOnAndKeepsThem) {
    EXPECT_EQ(runProgram(folder, {"trace", "off", "ai", "path"}).status, 0);
    std::future<Outcome> tool = start({"--lines", "3", "--log", "trace.log"});
    Tavlin::Tracer tracer;
    find(tracer);
    tracer.output("ai", "path", "not shown");
    tracer.output("net", "in", "one\n");
    tracer.output("net", "out", "\033[31mtwo");
    tracer.output("net", "in", "three");
    Outcome const run = tool.get();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "[net][in] one\n[net][out] ?[31mtwo\n[net][in] three\n");
    std::string const log = folder.content("trace.log");
    EXPECT_EQ(log.substr(19, 15), " [net][in] one\n");
    std::string active;
    platform::readRegistry(Tavlin::Tracer::toolKey, "isActive", active);
    EXPECT_EQ(active, "off");
    Outcome const list = runProgram(folder, {"trace", "list", "--json"});
    EXPECT_EQ(nlohmann::json::parse(list.out),
              nlohmann::json::parse(R"([{"first":"ai","second":"path","number":0,"on":false},
                                        {"first":"net","second":"in","number":1,"on":true},
                                        {"first":"net","second":"out","number":2,"on":true}])"));
}

TEST_F(TraceTest, IsSteeredFromTheKeyboardAndByOptions) {
    std::future<Outcome> tool =
        start({"--only", "a/b", "--only", "c", "--lines", "2", "--color", "always"},
              "nonsense\non c d\nlist\non last line\n");
    Tavlin::Tracer tracer;
    find(tracer);
    // What is typed is read beside the lines, so it may come late.
    while (runProgram(folder, {"trace", "list", "--json"}).out.find("last") == std::string::npos)
        std::this_thread::yield();
    tracer.output("a", "b", "first");
    tracer.output("a", "x", "unwanted");
    tracer.output("c", "y", "second");
    Outcome const run = tool.get();
    EXPECT_NE(run.out.find("[a][b]\033[0m first\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("unwanted"), std::string::npos);
    EXPECT_NE(run.out.find("[c][y]\033[0m second\n"), std::string::npos);
    EXPECT_NE(run.err.find("on  c d\n"), std::string::npos) << run.err;
    EXPECT_EQ(start({}, "quit\n").get().status, 0);
}

TEST_F(TraceTest, TellsADamagedTableAndASecondTool) {
    platform::writeRegistry("SOFTWARE\\mxq\\dbgTracer\\projects\\QX\\values", "0", "junk");
    Outcome run = runProgram(folder, {"trace", "list"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("is damaged"), std::string::npos) << run.err;
    folder.put("registry");
    std::future<Outcome> tool = start({"--lines", "1"});
    Tavlin::Tracer tracer;
    find(tracer);
    run = runProgram(folder, {"trace"});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("another trace runs"), std::string::npos) << run.err;
    tracer.output("a", "b", "end");
    EXPECT_EQ(tool.get().status, 0);
}

} // namespace
