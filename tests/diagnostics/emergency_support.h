// A log file of a test's own, and its content in a form that can be compared.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

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

/// Whether `time` begins as mm/dd/yy hh:mm:ss does.
inline bool isTime(std::string_view time) {
    constexpr std::string_view form = "00/00/00 00:00:00";
    if (time.size() < form.size())
        return false;
    for (std::size_t i = 0; i < form.size(); ++i)
        if (form[i] == '0' ? time[i] < '0' || time[i] > '9' : time[i] != form[i])
            return false;
    return true;
}

/// The same with each well-formed time replaced by #.
inline std::string withoutTimes(std::string text) {
    std::size_t const length = std::strlen("mm/dd/yy hh:mm:ss");
    for (std::size_t i = 0; (i = text.find("TIME=\"", i)) != std::string::npos;) {
        i += std::strlen("TIME=\"");
        if (isTime(std::string_view(text).substr(i)))
            text.replace(i, length, "#");
    }
    return text;
}
