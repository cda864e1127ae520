// The small services of the platform: memory, clocks, modules, boxes, debug output, emergency
// files.
#include "platform/Clock.h"
#include "platform/Crash.h"
#include "platform/DebugOutput.h"
#include "platform/Memory.h"
#include "platform/MessageBox.h"
#include "platform/Modules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>

namespace {

TEST(Memory, CommitsPartsOfAReservationInPlace) {
    std::size_t const page = platform::pageSize();
    std::size_t const bytes = std::size_t(64) << 20;
    char * const base = static_cast<char *>(platform::reserveMemory(bytes, nullptr));
    ASSERT_NE(base, nullptr);
    // A range across a page border makes both pages usable.
    char * const odd = base + 5 * page - 8;
    ASSERT_TRUE(platform::commitMemory(odd, 16));
    std::memset(odd, 0x5A, 16);
    EXPECT_EQ(odd[-1], 0);
    EXPECT_EQ(base[6 * page - 1], 0);
    ASSERT_TRUE(platform::commitMemory(base + 4 * page, page));
    EXPECT_EQ(odd[0], 0x5A) << "committed again, the content stays";

    EXPECT_EQ(platform::reserveMemory(page, base), nullptr) << "the place is taken";
    platform::releaseMemory(base, bytes);
    void * const wanted = platform::reserveMemory(bytes, base);
    EXPECT_EQ(wanted, base) << "the place is free again";
    platform::releaseMemory(wanted, bytes);
    EXPECT_EQ(platform::reserveMemory(~std::size_t(0), nullptr), nullptr);
    EXPECT_EQ(platform::reserveMemory(0, nullptr), nullptr);
    platform::releaseMemory(nullptr, 0);
}

TEST(Clock, TheCounterRunsForwardAndCanBeReplaced) {
    double const before = platform::counterSeconds();
    EXPECT_GE(platform::counterSeconds(), before);
    platform::setCounterSource([] { return 12.5; });
    EXPECT_EQ(platform::counterSeconds(), 12.5);
    platform::setCounterSource(nullptr);
    EXPECT_GE(platform::counterSeconds(), before);
}

TEST(Clock, AFloatTellsReadingsOfTheCounterApart) {
    auto const reading = static_cast<float>(platform::counterSeconds());
    EXPECT_GE(reading, 1.0f);
    EXPECT_LT(std::nextafter(reading, 1e9f) - reading, 0.0005f) << "it counts from the boot";
}

TEST(Clock, SystemTimeCountsFrom1601) {
    // 1970 began 11644473600 seconds after 1601.
    std::int64_t const seconds = platform::systemFileTime() / 10000000 - 11644473600;
    EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(std::time(nullptr)), 2.0);
}

TEST(Clock, LocalTimeAgreesWithTheCLibrary) {
    auto fieldsOf = [](platform::CalendarTime const & time) {
        std::tm fields{};
        fields.tm_year = time.year - 1900;
        fields.tm_mon = time.month - 1;
        fields.tm_mday = time.day;
        fields.tm_hour = time.hour;
        fields.tm_min = time.minute;
        fields.tm_sec = time.second;
        fields.tm_isdst = -1;
        return fields;
    };
    std::time_t const before = std::time(nullptr);
    std::tm fields = fieldsOf(platform::localTime());
    std::tm const asTold = fields;
    std::time_t const told = std::mktime(&fields);
    EXPECT_GE(told, before - 1);
    EXPECT_LE(told, std::time(nullptr) + 1);
    EXPECT_EQ(fields.tm_mday, asTold.tm_mday) << "a date that exists";
}

int ownFunction() {
    return 1;
}

TEST(Modules, AnAddressLeadsToItsModuleAndTheName) {
#if defined(ONDREL_STATIC)
    GTEST_SKIP() << "the library is no module of its own here";
#endif
    HINSTANCE const program =
        platform::moduleOfAddress(reinterpret_cast<void const *>(&ownFunction));
    HINSTANCE const library =
        platform::moduleOfAddress(reinterpret_cast<void const *>(&platform::pageSize));
    ASSERT_NE(program, nullptr);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(program, library);
    int onStack = 0;
    EXPECT_EQ(platform::moduleOfAddress(&onStack), nullptr);
    EXPECT_EQ(platform::moduleOfAddress(nullptr), nullptr);

    char name[1024];
    unsigned long const length = platform::moduleFileName(program, name, sizeof name);
    EXPECT_EQ(length, std::strlen(name));
    EXPECT_EQ(name[0], '\\');
    EXPECT_NE(std::strstr(name, "\\platform_tests"), nullptr) << name;
    char path[1024];
    EXPECT_EQ(platform::programPath(path, sizeof path), length);
    EXPECT_STREQ(path, name);
    EXPECT_GT(platform::moduleFileName(library, name, sizeof name), 0ul);
    EXPECT_NE(std::strstr(name, "libondrel"), nullptr) << name;

    char small[5];
    EXPECT_EQ(platform::moduleFileName(program, small, sizeof small), 4ul);
    EXPECT_EQ(std::string(small), std::string(path).substr(0, 4));
    EXPECT_EQ(platform::moduleFileName(reinterpret_cast<HINSTANCE>(&onStack), name, sizeof name),
              0ul);
}

TEST(Modules, LoadingByNameAndFindingByAddressAgree) {
#if defined(ONDREL_STATIC)
    GTEST_SKIP() << "the library is no module of its own here";
#endif
    char name[1024];
    HINSTANCE const library =
        platform::moduleOfAddress(reinterpret_cast<void const *>(&platform::pageSize));
    ASSERT_GT(platform::moduleFileName(library, name, sizeof name), 0ul);
    HINSTANCE const loaded = platform::loadModule(name);
    EXPECT_EQ(loaded, library);
    EXPECT_NE(platform::moduleSymbol(loaded, "GRTTIObject_no_such_symbol"), loaded);
    EXPECT_TRUE(platform::unloadModule(loaded));
    EXPECT_EQ(platform::loadModule("\\no\\such\\library.so"), nullptr);
    EXPECT_EQ(platform::loadModule(nullptr), nullptr);
    EXPECT_FALSE(platform::unloadModule(nullptr));
}

TEST(MessageBox, ShowsTextOnTheErrorStreamAndAnswersOk) {
    testing::internal::CaptureStderr();
    int const answer = platform::messageBox("text", "Caption", platform::boxErrorIcon);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption: text\n");
    EXPECT_EQ(answer, platform::answerOk);
}

TEST(MessageBox, AHostsHandlerDecides) {
    static std::string seen;
    auto former =
        platform::setMessageBoxHandler([](char const * text, char const * caption, unsigned flags) {
            seen = std::string(caption) + "/" + text + "/" + std::to_string(flags);
            return platform::answerIgnore;
        });
    EXPECT_EQ(former, nullptr);
    EXPECT_EQ(platform::messageBox("t", "c", 2), platform::answerIgnore);
    EXPECT_EQ(seen, "c/t/2");
    EXPECT_NE(platform::setMessageBoxHandler(nullptr), nullptr);
}

TEST(DebugOutput, WritesALineOrCallsTheHandler) {
    testing::internal::CaptureStderr();
    platform::debugOutput("hello");
    platform::debugOutput(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "hello\n");
    static std::string seen;
    platform::setDebugOutputHandler([](char const * text) { seen += text; });
    platform::debugOutput("one");
    platform::setDebugOutputHandler(nullptr);
    EXPECT_EQ(seen, "one");
}

TEST(EmergencyFile, AppendsOrBeginsAnewAndTakesBackslashes) {
    std::string const name = testing::TempDir() + "ondrel_emergency_file.txt";
    std::string backslashes = name;
    for (char & letter : backslashes)
        if (letter == '/')
            letter = '\\';
    auto put = [&](char const * text, bool append) {
        void * const file = platform::openEmergencyFile(backslashes.c_str(), append);
        ASSERT_NE(file, nullptr);
        EXPECT_TRUE(platform::writeEmergencyFile(file, text, std::strlen(text)));
        platform::closeEmergencyFile(file);
    };
    auto content = [&] {
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        return text.str();
    };
    put("old", false);
    put("one", false);
    put("two", true);
    EXPECT_EQ(content(), "onetwo");
    std::remove(name.c_str());
    EXPECT_EQ(platform::openEmergencyFile("\\no\\such\\folder\\file", true), nullptr);
    EXPECT_EQ(platform::openEmergencyFile(std::string(10000, 'x').c_str(), true), nullptr);
}

} // namespace
