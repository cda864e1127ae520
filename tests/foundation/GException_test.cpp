// Texts of the exceptions, from the message table and without it.
#include "foundation/GDiag.h"
#include "foundation/GException.h"
#include "foundation/GModule.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <ostream>
#include <string>

#include <unistd.h>

namespace {

void loadMessages() {
    static bool const once = (GString::AddLoadStringFunc(GLoadMessage, nullptr), true);
    static_cast<void>(once);
}

std::string textOf(GLibraryException const & exception) {
    return exception.getMessage().c_str();
}

} // namespace

TEST(GException, TextsComeFromTheMessageTable) {
    loadMessages();
    EXPECT_EQ(textOf(OutOfMemory_Exception()), "Out of memory");
    EXPECT_EQ(textOf(DuplicatedTypes_Exception("Door")), "Class with name 'Door' already exists");
    EXPECT_EQ(textOf(GCollection_IndexOutOfRange_Exception(-1, 0, -1)),
              "GCollection : index (-1) is out of range (0--1)");
    EXPECT_EQ(textOf(TGVector_IndexOutOfRange_Exception(7, 0, 3)),
              "TGVector : index (7) is out of range (0-3)");
    EXPECT_EQ(textOf(FileIsAbsent_Exception("a.bmp")), "File a.bmp not found");
    EXPECT_EQ(textOf(InvalidFileFormat_Exception()), "Invalid file format");
    EXPECT_EQ(textOf(InvalidFileFormat_Exception("No picture")), "No picture");
    EXPECT_EQ(textOf(GLibraryException(41u)), "Compressor Error");
    EXPECT_EQ(textOf(GLibraryException(31u)), "") << "there is no message 31";
}

TEST(GException, FailuresOfTheCodeNameTheirPlace) {
    EXPECT_EQ(textOf(GCheckException("a < b", "door.cpp", 12)),
              "Check failure: 'a < b'\non line 12 in file 'door.cpp'");
    EXPECT_EQ(textOf(GPreconditionException("p", "x.cpp", 1)),
              "Precondition failure: 'p'\non line 1 in file 'x.cpp'");
}

TEST(GException, LoadingCutsToTheBuffer) {
    char buffer[5] = "xxxx";
    EXPECT_EQ(GLoadMessage(1, buffer, sizeof buffer, nullptr), 4u);
    EXPECT_STREQ(buffer, "Out ");
    EXPECT_EQ(GLoadMessage(99, buffer, sizeof buffer, nullptr), 0u);
    EXPECT_EQ(GLoadMessage(1, buffer, 0, nullptr), 0u);
}

TEST(GDiag, LinesGoToTheNamedFile) {
    std::string const name = testing::TempDir() + "gdiag_" + std::to_string(getpid()) + ".txt";
    GDiagSetFileName(name.c_str());
    GDiagStream("door.cpp", "open", 12) << "stuck\n";
    GDiagSetFileName(nullptr);
    std::ifstream file(name);
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "door.cpp open 12: stuck");
    std::remove(name.c_str());
}

TEST(GDiagDeathTest, TakesWhatIsSaidWhileTheProgramEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process where nobody has used the stream
    std::string const name = testing::TempDir() + "gdiag_end.txt";
    auto const endWithLastWords = [&name] {
        static GModuleDtor const last([] { GDiagStream() << "late\n"; });
        GDiagSetFileName(name.c_str());
        GDiagStream() << "early\n";
        std::exit(0);
    };
    EXPECT_EXIT(endWithLastWords(), testing::ExitedWithCode(0), "");
    std::ifstream file(name);
    std::string early, late;
    std::getline(file, early);
    std::getline(file, late);
    EXPECT_EQ(early, "early");
    EXPECT_EQ(late, "late");
    std::remove(name.c_str());
}

namespace {
int handlerCalls = 0;
}

TEST(GModule, NewHandlerIsCalledOnceForAFailedAllocation) {
    auto const handler = [] { ++handlerCalls; };
    EXPECT_EQ(GSetNewHandler(handler), nullptr);
    ASSERT_NE(std::get_new_handler(), nullptr);
    EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
    EXPECT_EQ(handlerCalls, 1);
    EXPECT_EQ(GSetNewHandler(nullptr), static_cast<void (*)()>(handler));
    EXPECT_EQ(std::get_new_handler(), nullptr);
}

TEST(GModule, AddressLeadsToItsModule) {
#if defined(ONDREL_STATIC)
    GTEST_SKIP() << "the library is no module of its own here";
#endif
    char name[260] = "";
    HINSTANCE const module =
        GetProcHInstance(reinterpret_cast<void const *>(&GSetNewHandler), name, sizeof name);
    EXPECT_NE(module, nullptr);
    EXPECT_NE(std::string(name).find("ondrel"), std::string::npos);
    int local = 0;
    EXPECT_EQ(GetProcHInstance(&local), nullptr);
}
