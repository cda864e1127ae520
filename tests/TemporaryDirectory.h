// A directory of a test's own, which goes with all that is in it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::random_device random;
        do
            path_ = std::filesystem::canonical(testing::TempDir()) /
                    ("ondrel_test_" + std::to_string(random()));
        while (!std::filesystem::create_directory(path_));
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(TemporaryDirectory const &) = delete;
    TemporaryDirectory & operator=(TemporaryDirectory const &) = delete;

    std::filesystem::path const & path() const { return path_; }
    /// The full name of something in the directory, or of the directory.
    std::string name(std::string const & inside = "") const {
        return inside.empty() ? path_.string() : (path_ / inside).string();
    }
    /// Writes a file, making the directories in front of it; returns its full name.
    std::string put(std::string const & inside, std::string const & content = "") const {
        std::filesystem::create_directories((path_ / inside).parent_path());
        std::ofstream(path_ / inside, std::ios::binary) << content;
        return name(inside);
    }
    std::string content(std::string const & inside) const {
        std::ifstream file(path_ / inside, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool has(std::string const & inside) const { return std::filesystem::exists(path_ / inside); }

  private:
    std::filesystem::path path_;
};
