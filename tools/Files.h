// The files that a command reads and writes. A source tells a failure to read from an end. A sink
// writes beside the file it is to become and takes its place in the end, so that a command that is
// broken off leaves what was there.
#pragma once

#include "persistence/GFileIO.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace tool {

/// Standard input and output in place of a file.
inline bool isStandard(std::string const & name) {
    return name == "-";
}

class Source : public GIO {
  public:
    /// Throws Failure when it cannot be opened.
    explicit Source(std::string const & name);

    long gseek(long offset, IOSeekDirection direction) override;
    long gwrite(void const *, long) override { return 0; }
    long gread(void * data, long count) override;

    std::string const & name() const { return name_; }
    /// In bytes; -1 when nobody knows.
    std::int64_t size() const { return size_; }
    /// Bytes taken so far.
    std::int64_t count() const { return count_; }
    /// Throws Failure when a reading ended before the end.
    void check() const;

  private:
    std::string name_;
    GFileIO file_;
    std::FILE * stream_ = nullptr;
    std::int64_t size_ = -1;
    std::int64_t count_ = 0;
    int error_ = 0;
};

class Sink : public GIO {
  public:
    /// Throws Failure when `name` is taken and not to be replaced, or nothing can be written there.
    /// With `isBinary` a terminal counts as taken.
    Sink(std::string const & name, bool replace, bool isBinary);
    /// Removes what was not committed.
    ~Sink() override;

    long gseek(long offset, IOSeekDirection direction) override;
    long gwrite(void const * data, long count) override;
    long gread(void *, long) override { return 0; }

    std::int64_t count() const { return count_; }
    /// Throws Failure when not all could be written.
    void check() const;
    /// Makes it what it was to be: it is on the disk, whole and under its name, or Failure is
    /// thrown and all is as before.
    void commit();

  private:
    void openBeside();

    std::string name_;
    std::string part_; // empty when there is nothing beside
    GFileIO file_;
    std::FILE * stream_ = nullptr;
    bool const replace_;
    std::int64_t count_ = 0;
    int error_ = 0;
    bool failed_ = false;
};

/// A name for a file beside `name` that is not there yet.
std::string nameBeside(std::string const & name);
/// Puts `part` in the place of `name`, with the rights of the file that is there. Without `replace`
/// there must be none. Throws Failure, and then nothing has changed.
void putInPlace(std::string const & part, std::string const & name, bool replace);
/// Where the links lead, so that a file is replaced and not the link to it.
std::string followLinks(std::string const & name);

} // namespace tool
