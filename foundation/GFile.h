// A file name with path operations. Names are held with backslashes everywhere; only the platform's
// file calls turn them into what the system wants. Comparison ignores letter case.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"

class ipstream;
class opstream;

class ONDREL_API GFile : public GString {
  public:
    enum DriveType {
        UnknownDrive = 0,
        RemovableDrive = 1,
        FixedDrive = 2,
        RemoteDrive = 3,
        CDROMDrive = 4,
        RAMDisk = 5
    };

    GFile() = default;
    GFile(char const * name) : GString(name) { convert(); }
    GFile(GString const & name) : GString(name) { convert(); }
    GFile & operator=(char const * name);
    GFile & operator=(GString const & name);

    /// None of "<>|" occurs in the name.
    bool valid() const;
    /// False for an empty name and for a mask.
    bool exists() const;
    /// The name has `*` or `?`.
    bool isMask() const;
    bool isDirectory() const;
    /// A letter and a colon that the system knows as a drive.
    bool isDrive() const;
    bool isRelativePath() const;
    /// Both names expanded are the same but for letter case.
    bool equals_to(char const * other) const;
    /// Letter case ignored.
    int compare(char const * other) const { return UCcompare(c_str(), other ? other : ""); }
    int compare(GFile const & other) const { return compare(other.c_str()); }
    friend bool operator==(GFile const & a, GFile const & b) { return a.compare(b) == 0; }
    friend bool operator<(GFile const & a, GFile const & b) { return a.compare(b) < 0; }

    /// Pointers into the name: behind the last dot, if no `\` follows it, else to the end; and
    /// behind the last `\`, or the first `:`, or to the whole name.
    char const * get_extension() const;
    char const * get_name() const;
    GFile get_directory() const;
    GFile get_drive() const;
    // Cut the name down to that portion.
    GFile & just_extension();
    GFile & just_name();
    GFile & just_directory();
    GFile & just_drive();

    GFile & add_extension(char const * extension);
    GFile & replace_extension(char const * extension);
    GFile & remove_extension();
    /// Appends a component, with a `\` in front if the name does not end in one.
    GFile & add_name(char const * name);
    GFile & replace_name(char const * name);

    /// The full path; the current directory with a `\` behind it for an empty name.
    GFile & expand();
    /// Relative to `base`, or to the current directory; on another drive the name stays absolute.
    GFile & shrink(char const * base);
    GFile & shrink();
    /// When the file does not exist, looks its bare name up in the redirection file, and takes the
    /// answer if that exists.
    GFile & redirect();

    /// How redirect finds a name; set by the streams at start-up.
    using Redirector = GString (*)(char const * name, unsigned char mustExist);
    static void SetRedirector(Redirector redirector);

  private:
    void convert() { translate('/', '\\'); }
    unsigned int namePosition() const;
    unsigned int drivePosition() const;
};

/// Version 1, then tags for the separators and the text between them, so that a reading system can
/// rebuild the name with its own. A damaged form raises GFileReadError_Exception.
ONDREL_API opstream & operator<<(opstream & out, GFile const & file);
ONDREL_API ipstream & operator>>(ipstream & in, GFile & file);
