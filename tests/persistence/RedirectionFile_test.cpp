// The redirection file: what its lines say, where names lead, and how little a hostile one costs.
#include "persistence/RedirectionFile.h"

#include "foundation/GFile.h"
#include "platform/FileSystem.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

/// `pattern=directory;directory|pattern=...`
std::string shown(RedirectionFile const & file) {
    std::string text;
    for (long i = 0; i < file.getCount(); ++i) {
        text += (i ? "|" : "") + std::string(file.at(i)->getPattern().c_str()) + "=";
        for (long j = 0; j < file.at(i)->getCount(); ++j)
            text += (j ? ";" : "") + std::string(file.at(i)->at(j)->c_str());
    }
    return text;
}

std::string loaded(std::string const & text) {
    RedirectionFile file;
    file.load_from_string(text.c_str(), 0);
    return shown(file);
}

std::string portable(std::string const & name) {
    return GFile(name.c_str()).c_str();
}

TEST(RedirectionFile, ReadsMappingLines) {
    struct Case {
        char const *text, *mapping;
    };
    for (Case const & c : {
             Case{"", ""}, Case{"; *.a = x\n\r\n \t\n", ""}, Case{"*.a = x", "*.a=x"},
             Case{"*.a\t*.b =x;y\r\n  z ; ;w\\ \n*.c=v", "*.a=x;y;z;w|*.b=x;y;z;w|*.c=v"},
             Case{"lost\n*.a = x\n = y\n z", "*.a=x"}, // no patterns: nothing to add to
             Case{"*.a = x=y", "*.a=x=y"}, Case{"*.a = c:/d/e/;\\\\", "*.a=c:\\d\\e;\\"},
             Case{"*.a = x\n*.a = y;x", "*.a=x;y;x"},
             Case{"*.* = x\na.dat = y", "*.*=x;y"}, // an earlier pattern takes it in
             Case{" ; = x", ";=x"},                 // a comment begins the line
         })
        EXPECT_EQ(loaded(c.text), c.mapping) << c.text;

    std::string const longLine = "*.a = " + std::string(3000, 'x');
    EXPECT_EQ(loaded(longLine + "\n y"), "*.a=" + std::string(2048 - 6, 'x') + ";y")
        << "a line is cut, and the next is whole";
}

TEST(RedirectionFile, ReplacesVariables) {
    ASSERT_EQ(setenv("ONDREL_TEST_PLACE", "env", 1), 0);
    ASSERT_EQ(unsetenv("ONDREL_TEST_NONE"), 0);
    struct Case {
        char const *lines, *text, *result;
    };
    for (Case const & c : {
             Case{"%A% = x\n", "%A%\\y", "x\\y"},
             Case{"%A = x \r\n", "u\\%A%%A%", "u\\xx"},
             Case{"%A%%=x\n%A%=y\n", "%A%", "y"},
             Case{"%a%=x\n%A%=y\n", "%a%%A%", "xy"},
             Case{"%A%=%B%\n%B%=x\n", "%A%", "x"},        // expanded where it is used, again
             Case{"%B%=x\n%A%=%B%\n%B%=y\n", "%A%", "x"}, // and where it is defined
             Case{"%A%=x\n", "%A", "x"},                  // closed by the end of the line
             Case{"%A%=x\n", "%NONE_X%A%", "%NONE_Xx"},   // the closing one opens the next
             Case{"", "%ONDREL_TEST_PLACE%\\y", "env\\y"},
             Case{"%ONDREL_TEST_PLACE%=own\n", "%ONDREL_TEST_PLACE%", "own"},
             Case{"", "%ONDREL_TEST_NONE%\\y", "%ONDREL_TEST_NONE%\\y"},
             Case{"%A\n", "%A%", "%A%"}, // no definition without an equals sign
             Case{"%A%=x\\;y\n", "%A%;z", "x;y;z"},
         })
        EXPECT_EQ(loaded(std::string(c.lines) + "*.a = " + c.text), "*.a=" + std::string(c.result))
            << c.lines << c.text;
    unsetenv("ONDREL_TEST_PLACE");

    RedirectionFile file;
    file.load_from_string("%A%=x\n*.a=%A%", 0);
    file.load_from_string("*.b=%A%", 0);
    file.delete_variable_definitions();
    file.load_from_string("*.c=%A%", 0);
    EXPECT_EQ(shown(file), "*.a=x|*.b=x|*.c=%A%");
}

TEST(RedirectionFile, CdStandsForEachDrive) {
    platform::setDriveSource([]() -> std::uint32_t { return 0x1C; }, // C to E
                             [](char const * root) {
                                 return *root == 'C' ? platform::DriveFixed : platform::DriveCdRom;
                             });
    std::string const two = loaded("*.dat = %CD%\\data;c:\\data\n%CD1%\n*.x = %CD1%\\%CD0%");
    platform::setDriveSource(nullptr, nullptr);
    EXPECT_EQ(two, "*.dat=D:\\data;c:\\data;E:\\data;c:\\data|*.x=E:\\D:");
    EXPECT_EQ(loaded("*.dat = %CD%\\data"), "*.dat=%CD%\\data");
}

TEST(RedirectionFile, AddsInFrontOrBehind) {
    RedirectionFile file, other;
    file.load_from_string("*.a=1;2\n*.b=3", 0);
    other.load_from_string("*.c=7;8\n*.a=5;6", 0);
    file.add_from(other, 0);
    EXPECT_EQ(shown(file), "*.a=1;2;5;6|*.b=3|*.c=7;8");
    file.load_from_string("*.a=x;y\n*.d=z", 1);
    EXPECT_EQ(shown(file), "*.a=x;y;1;2;5;6|*.b=3|*.c=7;8|*.d=z");
    file.load_from_string("*.a=w", 0);
    EXPECT_EQ(shown(file), "*.a=x;y;1;2;5;6;w|*.b=3|*.c=7;8|*.d=z");
    file.add_from(file, 1);
    EXPECT_EQ(shown(other), "*.c=7;8|*.a=5;6");
}

TEST(RedirectionFile, LeadsBareNamesToTheirPlaces) {
    TemporaryDirectory const directory;
    directory.put("second/here.dat");
    directory.put("third/here.dat");
    directory.put("third/only.dat");
    std::string const root = portable(directory.name());
    directory.put("map", "*.dat = " + root + "\\none;" + directory.name() + "/second/\r\n" + root +
                             "\\third\n*.non=" + root + "\\none");
    RedirectionFile const file(directory.name("map").c_str());
    struct Case {
        std::string name;
        unsigned char mustExist;
        std::string place;
        bool exists;
    };
    for (Case const & c : {
             Case{"here.dat", 1, root + "\\second\\here.dat", true},
             Case{"HERE.DAT", 1, root + "\\second\\HERE.DAT", false},
             Case{"only.dat", 0, root + "\\third\\only.dat", true},
             Case{"new.dat", 1, root + "\\second\\new.dat", false}, // a directory that is there
             Case{"new.dat", 0, root + "\\none\\new.dat", false},
             Case{"new.non", 1, "new.non", false},
             Case{"here.txt", 1, "here.txt", false},
             Case{"x\\here.dat", 1, "x\\here.dat", false},
             Case{"x/here.dat", 1, "x/here.dat", false},
         }) {
        EXPECT_EQ(file.get_name(c.name.c_str(), c.mustExist).c_str(), c.place) << c.name;
        EXPECT_EQ(file.exists(c.name.c_str()), c.exists) << c.name;
    }
    RedirectionFile nothing(directory.name("no such map").c_str());
    EXPECT_EQ(nothing.getCount(), 0);
    EXPECT_STREQ(nothing.get_name("a", 1).c_str(), "a");
}

TEST(RedirectionFile, KnowsTheDirectoriesOfAName) {
    RedirectionFile file;
    file.load_from_string("*.a = c:\\;d:/x/;\\;y", 0);
    for (char const * path : {"c:\\n.a", "d:\\x\\n.a", "\\n.a", "y\\n.a", "y/n.a"})
        EXPECT_TRUE(file.directory_matched(path)) << path;
    for (char const * path : {"c:n.b", "d:\\n.a", "n.a", "Y\\n.a", "y\\n.b", "y\\z\\n.a"})
        EXPECT_FALSE(file.directory_matched(path)) << path;
}

TEST(RedirectionFile, HostileTextCostsLittle) {
    std::string const x(1500, 'x');
    std::string many, doubling = "%Z% = " + x + "\n", names, pairs;
    for (int i = 0; i < 150000; ++i)
        many += "%" + std::to_string(i) + "=\n";
    for (char letter = 'Y'; letter >= 'A'; --letter) {
        char const above = static_cast<char>(letter + 1);
        doubling += std::string("%") + letter + "=%" + above + "%%" + above + "%\n";
    }
    for (int i = 0; i < 60000; ++i)
        names += "n" + std::to_string(i) + (i % 150 == 149 ? "=;\n" : " ");
    for (int i = 0; i < 100000; ++i)
        pairs += " ;\n";
    auto const repeated = [](std::string const & line) {
        std::string text = "*.a=x\n";
        for (int i = 0; i < 100000; ++i)
            text += line;
        return text;
    };
    std::string const signs = "%S%=" + std::string(2000, '%') + "\n";
    for (std::string const & text :
         {many, doubling + "*.a=%A%", names + pairs, repeated("y;z;\n"), repeated(" %CD%\n"),
          "%A%=%A%" + x + "\n" + repeated(" %A%\n"), "%A%=%B%\n%B%=%A%\n" + repeated(" %A%\n"),
          signs + "%T%=%S%x%S%x%S%x%S%x%S%\n" + repeated(" %T%\n"), std::string(5000000, '%')}) {
        RedirectionFile file;
        file.load_from_string(text.c_str(), 0);
        file.load_from_string(text.c_str(), 1);
        long directories = 0;
        for (long i = 0; i < file.getCount(); ++i)
            directories += file.at(i)->getCount();
        EXPECT_LE(file.getCount(), RedirectionFile::maxItems);
        EXPECT_LE(directories, RedirectionFile::maxDirectories);
    }
}

} // namespace
