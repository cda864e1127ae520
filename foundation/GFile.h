// A file name: a text with the operations of paths. Names are written with backslashes everywhere;
// what the system wants instead is the business of the platform files. Names that differ in
// letter case alone are the same for compare and the operators, though not on every disk.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"

class ipstream;
class opstream;

/// A file name with its parts and what can be asked of the file; it is a text, and holds no file
/// open.
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

    /// All constructors and assignments turn `/` into `\`.
    GFile() noexcept = default;
    GFile(GFile const & other) noexcept = default;
    GFile(GFile && other) noexcept = default;
    GFile(GString const & name);
    GFile(char const * name);
    GFile(char const * name, unsigned int n);
    GFile & operator=(GFile const & other) noexcept = default;
    GFile & operator=(GFile && other) noexcept = default;
    GFile & operator=(GString const & name);
    GFile & operator=(char const * name);

    /// Below 0, 0 or above 0; letter case is ignored.
    int compare(GString const & other) const { return UCcompare(c_str(), other.c_str()); }
    int compare(char const * other) const { return UCcompare(c_str(), other ? other : ""); }
    /// Whether both lead to the same place: compares the full names.
    bool equals_to(char const * other) const;

    /// The name has none of `<`, `>` and `|`.
    bool valid() const;
    /// A file or directory of that name is there; false for an empty name and for a mask.
    bool exists() const;
    /// The name has `*` or `?`.
    bool isMask() const;
    bool isDirectory() const;
    /// The name is a letter and a colon, and there is such a drive.
    bool isDrive() const;
    /// Neither in front a backslash nor a drive. An empty name is relative.
    bool isRelativePath() const;

    /// Both point into the name and are valid until it changes. The extension is what stands
    /// behind the last dot of the last component, or the end of the name when there is no dot.
    char const * get_extension() const;
    /// The last component.
    char const * get_name() const;
    /// What is in front of the last component, without a backslash at its end unless it is a root.
    GFile get_directory() const;
    /// The letter and the colon, or nothing.
    GFile get_drive() const;

    /// Cut the name down to that portion.
    GFile & just_extension();
    GFile & just_name();
    GFile & just_directory();
    GFile & just_drive();

    /// Appends a dot and the text.
    GFile & add_extension(char const * extension);
    /// A name without an extension gets one.
    GFile & replace_extension(char const * extension);
    /// The dot goes, too.
    GFile & remove_extension();
    /// Appends a backslash, unless the name ends in one, and the text.
    GFile & add_name(char const * name);
    /// Puts `name` in place of the last component.
    GFile & replace_name(char const * name);

    /// Makes it the full path; nothing becomes the current directory with a backslash behind it.
    GFile & expand();
    /// Makes it relative to `base`: a directory, a drive, or a file in whose directory one starts.
    /// On another drive it becomes the full path.
    GFile & shrink(char const * base);
    /// Relative to the current directory.
    GFile & shrink();
    /// When there is no such file: the place that the redirection file gives for the bare name, if
    /// the file is there.
    GFile & redirect();

    /// How redirect asks: the bare name, and whether the file must exist. Persistence sets it.
    using Redirector = GString (*)(char const * name, unsigned char mustExist);
    static void SetRedirector(Redirector redirector);
    /// What it answers; the name itself without one.
    static GString RedirectedName(char const * name, unsigned char mustExist);

  private:
    void convert();
};

inline bool operator==(GFile const & a, GFile const & b) {
    return a.compare(b) == 0;
}
inline bool operator==(GFile const & a, GString const & b) {
    return a.compare(b) == 0;
}
inline bool operator==(GFile const & a, char const * b) {
    return a.compare(b) == 0;
}
inline bool operator<(GFile const & a, GString const & b) {
    return a.compare(b) < 0;
}
inline bool operator>(GFile const & a, GString const & b) {
    return a.compare(b) > 0;
}
inline bool operator<=(GFile const & a, GString const & b) {
    return a.compare(b) <= 0;
}
inline bool operator>=(GFile const & a, GString const & b) {
    return a.compare(b) >= 0;
}

/// The form keeps separators out of the texts, so that a name can be rebuilt with those of the
/// system that reads it. A reader that meets an unknown piece throws GFileReadError_Exception.
ONDREL_API opstream & operator<<(opstream & out, GFile const & file);
ONDREL_API ipstream & operator>>(ipstream & in, GFile & file);
