#include "diagnostics/GEmergencyLog.h"

#include "diagnostics/TavlinError.h"
#include "emergency_support.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

/// The log as a program finds it, writing to a file of this test's own.
class GEmergencyLogTest : public testing::Test {
  protected:
    void SetUp() override {
        GEmergencyLog::SetFile(file_.name());
        GEmergencyLog::SetFlags(GEmergencyLog::Append);
        GEmergencyLog::Enable(true);
    }
    void TearDown() override {
        log().close_session();
        GEmergencyLog::Enable(false);
        GEmergencyLog::EmptyContext();
        GEmergencyLog::SetFlags(GEmergencyLog::Append);
    }
    static GEmergencyLog & log() { return GEmergencyLog::Get(); }
    std::string content() {
        log().close_session();
        return withoutTimes(file_.content());
    }
    LogFile file_;
};

TEST_F(GEmergencyLogTest, WritesSessionsAndSectionsByTheirFormat) {
    GEmergencyContext const outer("outer");
    GEmergencyContext const inner("inner");
    log().put_exception("it broke", "Door.cpp", 42);
    log().put_warning("50% off %s", nullptr, 0);
    EXPECT_EQ(content(), "<SESSION TIME=\"#\">\n"
                         "<EXCEPTION TIME=\"#\">\n"
                         "Door.cpp(42)\n"
                         "it broke\n"
                         "<context>\ninner\nouter\n</context>\n"
                         "</EXCEPTION>\n\n"
                         "<WARNING TIME=\"#\">\n"
                         "50% off %s\n"
                         "<context>\ninner\nouter\n</context>\n"
                         "</WARNING>\n\n"
                         "</SESSION>\n\n\n");
}

TEST_F(GEmergencyLogTest, ShowsTheLocalTimeAsMonthDayYearAndTime) {
    auto minute = [](std::time_t time) {
        char text[32];
        std::strftime(text, sizeof text, "TIME=\"%m/%d/%y %H:%M:", std::localtime(&time));
        return std::string(text);
    };
    // At the turn of a minute either is right.
    std::string const before = minute(std::time(nullptr));
    log().put_warning("now", nullptr, 0);
    std::string const after = minute(std::time(nullptr));
    std::string const section = log().lastSection();
    std::string const shown = section.substr(std::strlen("<WARNING "), before.size());
    EXPECT_TRUE(shown == before || shown == after) << section;
}

TEST_F(GEmergencyLogTest, AppendsOrBeginsAnewBySession) {
    log().put_warning("one", nullptr, 0);
    log().close_session();
    log().put_warning("two", nullptr, 0);
    EXPECT_NE(content().find("one"), std::string::npos) << "flag 1 keeps what was there";
    GEmergencyLog::SetFlags(0);
    log().put_warning("three", nullptr, 0);
    log().put_warning("four", nullptr, 0);
    EXPECT_EQ(content(), "<SESSION TIME=\"#\">\n"
                         "<WARNING TIME=\"#\">\nthree\n</WARNING>\n\n"
                         "<WARNING TIME=\"#\">\nfour\n</WARNING>\n\n"
                         "</SESSION>\n\n\n");
}

TEST_F(GEmergencyLogTest, Flag2LeavesContextsOut) {
    GEmergencyContext const context("hidden");
    GEmergencyLog::SetFlags(3);
    log().put_warning("by the log's flags", nullptr, 0);
    log().put_custom_section("OWN", 0, "by its own flags", nullptr, 0);
    EXPECT_EQ(content(), "<SESSION TIME=\"#\">\n"
                         "<WARNING TIME=\"#\">\nby the log's flags\n</WARNING>\n\n"
                         "<OWN TIME=\"#\">\nby its own flags\n<context>\nhidden\n</context>\n"
                         "</OWN>\n\n"
                         "</SESSION>\n\n\n");
}

TEST_F(GEmergencyLogTest, ASectionIsCutWhereItsRoomEnds) {
    std::string const text(3000, 'x');
    log().put_warning(text.c_str(), nullptr, 0);
    EXPECT_EQ(std::strlen(log().lastSection()), 1023u);
    log().close_session();
    std::string const written = file_.content();
    std::size_t const begin = written.find("<WARNING");
    std::size_t const headerLength = std::strlen("<WARNING TIME=\"mm/dd/yy hh:mm:ss\">\n");
    EXPECT_EQ(written.substr(begin + headerLength),
              text.substr(0, 1023 - headerLength) + "\n</SESSION>\n\n\n");
}

TEST_F(GEmergencyLogTest, DisabledItMakesNoFile) {
    GEmergencyLog::Enable(false);
    log().put_exception("text", "file", 1);
    Tavlin::Error const error("text");
    EXPECT_FALSE(file_.exists());
    EXPECT_FALSE(log().isEnabled());
}

TEST_F(GEmergencyLogTest, AFileThatCannotBeOpenedIsNoFault) {
    GEmergencyLog::SetFile("\\no\\such\\folder\\log");
    log().put_warning("kept for the crash report", nullptr, 0);
    EXPECT_NE(std::strstr(log().lastSection(), "kept for the crash report"), nullptr);
}

TEST_F(GEmergencyLogTest, ErrorsLogThemselvesAsTheyAreBuilt) {
    Tavlin::Error const plain("plain %s");
    Tavlin::Error const formatted("Gate.cpp", "no %s of %d", "gate", 7);
    Tavlin::Error const placed("Gate.cpp", 12, "no %s", "gate");
    Tavlin::Error const silent(static_cast<char const *>(nullptr));
    EXPECT_STREQ(plain.getMessage().c_str(), "plain %s");
    EXPECT_STREQ(formatted.getMessage().c_str(), "no gate of 7");
    EXPECT_EQ(content(), "<SESSION TIME=\"#\">\n"
                         "<EXCEPTION TIME=\"#\">\nplain %s\n</EXCEPTION>\n\n"
                         "<EXCEPTION TIME=\"#\">\nGate.cpp(0)\nno gate of 7\n</EXCEPTION>\n\n"
                         "<EXCEPTION TIME=\"#\">\nGate.cpp(12)\nno gate\n</EXCEPTION>\n\n"
                         "</SESSION>\n\n\n");
}

TEST_F(GEmergencyLogTest, VersionErrorsTellWhatTheyKnow) {
    struct Case {
        int found, expected;
        char const * text;
    };
    for (Case const & tested :
         {Case{-1, 3, "Unsupported stream version"}, Case{5, -1, "Unsupported stream version (5)"},
          Case{5, 0, "Unsupported stream version (5, when expected 0)"}}) {
        Tavlin::XStrVer const error("Gate.cpp", 1, tested.found, tested.expected);
        EXPECT_STREQ(error.getMessage().c_str(), tested.text);
    }
    EXPECT_NE(content().find("Gate.cpp(1)\nUnsupported stream version (5)\n"), std::string::npos);
}

/// The texts of the calling thread's contexts from the innermost outward.
std::string contexts() {
    std::string texts;
    for (GEmergencyContext const * context = GEmergencyLog::Get().get_context(); context;
         context = context->previous())
        texts += std::string(texts.empty() ? "" : " ") + context->text();
    return texts;
}

TEST_F(GEmergencyLogTest, ExitAndEmptyStopAtWhatAScopeHolds) {
    GEmergencyLog::EnterContext("a");
    {
        GEmergencyContext const scope("b");
        GEmergencyLog::ExitContext();
        EXPECT_EQ(contexts(), "b a") << "a scope's node is not for Exit";
        GEmergencyLog::EnterContext("c");
        GEmergencyLog::EnterContext("d");
        EXPECT_EQ(contexts(), "d c b a");
        GEmergencyLog::ExitContext();
        EXPECT_EQ(contexts(), "c b a");
        GEmergencyLog::EnterContext("e");
        GEmergencyLog::EmptyContext();
        EXPECT_EQ(contexts(), "b a");
    }
    EXPECT_EQ(contexts(), "a");
    GEmergencyLog::ExitContext();
    GEmergencyLog::ExitContext();
    EXPECT_EQ(contexts(), "");
}

TEST_F(GEmergencyLogTest, EachThreadHasContextsOfItsOwn) {
    GEmergencyContext const mine("mine");
    std::string others;
    std::thread([&others] {
        others = contexts() + ";";
        GEmergencyContext const context("theirs");
        others += contexts();
    }).join();
    EXPECT_EQ(others, ";theirs");
    EXPECT_EQ(contexts(), "mine");
}

} // namespace
