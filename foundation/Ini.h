// The settings of a program in a chain of files: the first that has a key wins. A file names
// further ones in its topic [Include], which come behind it, each followed by its own. A key that
// no file has is written into the first with the value that the program would take, so that a file
// of settings fills itself in.
#pragma once

#include "foundation/GCollection.h"
#include "foundation/GInitializationFile.h"
#include "foundation/GString.h"
#include "platform/Export.h"

#include <cstdint>
#include <utility>
#include <vector>

class GFile;

namespace Tavlin {

/// In all operations a null `section` means the default section. Numbers and texts that cannot be
/// saved stay in memory and are tried again with the next change.
class ONDREL_API Ini {
  public:
    /// Files within files, and names in [Include] topics that are looked at in one chain.
    static constexpr int maxDepth = 64;
    static constexpr int maxIncludes = 4096;

    /// See setStorage. Missing keys are written, includes are followed, the default section is
    /// "Game".
    explicit Ini(char const * name);
    Ini();
    ~Ini();
    Ini(Ini const &) = delete;
    Ini & operator=(Ini const &) = delete;

    /// Saves and forgets the files and starts a chain with `name`, or where the redirection file
    /// has it; null for the file beside the program that has its name and the extension INI.
    void setStorage(char const * name);

    /// Makes this the one that Get returns, as long as it lives.
    void setDefault();
    /// Null when there is none.
    static Ini * Get();

    /// Whether keys that are asked for and missing are written.
    bool forceVars() const { return forceVars_; }
    void forceVars(bool value) { forceVars_ = value; }
    /// Takes effect with the next setStorage.
    bool supportIncludes() const { return supportIncludes_; }
    void supportIncludes(bool value) { supportIncludes_ = value; }
    GString const & defaultSection() const { return defaultSection_; }
    void defaultSection(char const * section) { defaultSection_ = section; }

    /// The value in the first file that has the key. Where none has it, `value`, which goes into
    /// the first file unless `noWrite` is set or forceVars is off. What does not read as a number
    /// is 0; what does not read as a flag is `value`, and stays as it is.
    int getInt(char const * section, char const * key, int value, bool noWrite = false);
    bool getBool(char const * section, char const * key, bool value, bool noWrite = false);
    GString getString(char const * section, char const * key, char const * value,
                      bool noWrite = false);
    /// With a point as the decimal sign, six digits when written.
    float getFloat(char const * section, char const * key, float value, bool noWrite = false);

    /// Change and save the first file that has the key, or else the first. Always true.
    bool writeInt(char const * section, char const * key, int value);
    bool writeBool(char const * section, char const * key, bool value);
    bool writeString(char const * section, char const * key, char const * value);
    bool writeFloat(char const * section, char const * key, float value);

    /// Ask without a default: false, and `value` as it was, when no file has the key (or the flag
    /// does not read as one).
    bool getValue(char const * section, char const * key, GString & value) const;
    bool getValue(char const * section, char const * key, long & value) const;
    bool getValue(char const * section, char const * key, float & value) const;
    bool getBoolean(char const * section, char const * key, unsigned char & value) const;
    bool setValue(char const * section, char const * key, char const * value);
    bool setValue(char const * section, char const * key, long value);
    bool setBoolean(char const * section, char const * key, unsigned char value);

    /// The keys of all files in the order of the chain; a key that several have comes several
    /// times. The list owns its texts then.
    void getKeyList(char const * section, GStringCollection & keys) const;
    /// Of the first file.
    bool getTopic(char const * section, GString & text) const;
    void setTopic(char const * section, char const * text);

  private:
    GInitializationFile * addFile(char const * name);
    void readIncludes(GInitializationFile const & file, int depth);
    void include(GFile name, GInitializationFile const & from, int depth);
    char const * sectionOf(char const * section) const;
    GInitializationFile * fileWith(char const * section, char const * key) const;
    GInitializationFile & fileToWrite(char const * section, char const * key) const;
    bool keepsDefault(bool noWrite) const { return forceVars_ && !noWrite; }

    bool forceVars_ = true;
    bool supportIncludes_ = true;
    GString defaultSection_;
    TGCollection<GInitializationFile> files_;
    /// By which the system tells the files of the chain apart, under whatever names.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> identities_;
    int includesLeft_ = 0;
};

} // namespace Tavlin
