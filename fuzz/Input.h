// The bytes that a fuzzer gives, as a file for those readers that want one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

/// What every program of this folder defines: reads the bytes, and gives 0.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

/// A folder of this process, which goes with it.
class InputFolder {
  public:
    InputFolder()
        : path_(std::filesystem::temp_directory_path() /
                ("ondrel_fuzz_" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directories(path_);
    }
    ~InputFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    InputFolder(InputFolder const &) = delete;
    InputFolder & operator=(InputFolder const &) = delete;

    /// Writes the bytes into a file of the folder and returns its full name.
    std::string put(char const * name, std::uint8_t const * data, std::size_t size) const {
        std::filesystem::path const file = path_ / name;
        std::ofstream(file, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<char const *>(data), static_cast<std::streamsize>(size));
        return file.string();
    }
    /// Removes what a reader has left beside the file.
    void clear() const {
        for (auto const & entry : std::filesystem::directory_iterator(path_))
            std::filesystem::remove_all(entry.path());
    }

  private:
    std::filesystem::path path_;
};
