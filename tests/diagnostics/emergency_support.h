// A log file of a test's own, and its content in a form that can be compared.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

class LogFile {
  public:
    LogFile()
        : name_(testing::TempDir() + "ondrel_" + std::to_string(getpid()) + "_" +
                testing::UnitTest::GetInstance()->current_test_info()->name() + ".log") {
        std::remove(name());
    }
    ~LogFile() { std::remove(name()); }
    char const * name() const { return name_.c_str(); }
    bool exists() const { return std::ifstream(name_).good(); }
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(name_).rdbuf();
        return text.str();
    }

  private:
    std::string name_;
};

/// The same with each well-formed time replaced by #.
inline std::string withoutTimes(std::string const & text) {
    return std::regex_replace(
        text, std::regex("TIME=\"[01][0-9]/[0-3][0-9]/[0-9]{2} [0-2][0-9]:[0-5][0-9]:[0-5][0-9]\""),
        "TIME=\"#\"");
}
