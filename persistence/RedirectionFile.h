// Where files are looked for: a small text file maps patterns of bare file names to lists of
// directories, so that data can lie on a hard disk, on a CD, or in both.
//
//     ; a comment
//     %DATA% = c:\game\data
//     *.dat *.txt = %DATA%;%CD%\data
//     d:\more;d:\even more
//
// The last line has no `=`: it adds directories to the patterns of the line above.
// The file is not trusted: lines are cut, expansion is bounded, and what goes beyond the limits
// below is left out.
#pragma once

#include "foundation/GSortedCollection.h"
#include "foundation/GString.h"
#include "foundation/GStringCollection.h"
#include "platform/Export.h"

class GAbstractBufferedIO;
class RedirectionFile;

/// One pattern and its directories, which stand without a backslash at their end.
class ONDREL_API RedirectionItem : public TGCollection<GString> {
  public:
    /// Whether `name` fits the pattern.
    bool match(char const * name) const;
    /// `name` in the first directory that has it; else in the first directory, one that exists
    /// when `mustExist` is set; else as it is.
    GString make_name(char const * name, unsigned char mustExist) const;
    GString const & getPattern() const { return pattern; }

  protected:
    friend class RedirectionFile;
    /// `directories` is a list parted by `;`.
    RedirectionItem(char const * pattern, char const * directories);
    RedirectionItem(RedirectionItem const & other);
    RedirectionItem & operator=(RedirectionItem const &) = delete;
    /// Those that come when there are `most` are left out.
    void add_line(char const * directories, long most = 0x7FFFFFFF);
    void add_from(RedirectionItem const & other, unsigned char front);

    GString pattern;
};

/// A variable of the file and what stands for it.
struct RedirectionVariableDefinition {
    GString name;
    GString value;
};

/// By name, in byte order.
class ONDREL_API RedirectionFileVariables
    : public TGSortedCollection<RedirectionVariableDefinition> {
  public:
    RedirectionFileVariables();
    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;
    /// Null when there is none of that name.
    RedirectionVariableDefinition * find(char const * name) const;
};

/// The patterns with their directories, in the order in which they are asked.
class ONDREL_API RedirectionFile : public TGCollection<RedirectionItem> {
  public:
    /// What is read of one line, and of one file without what lines were cut by.
    static constexpr long maxLineLength = 2048;
    static constexpr long maxTextLength = 1L << 20;
    /// What one file object holds at most.
    static constexpr long maxItems = 4096;
    static constexpr long maxDirectories = 16384;
    /// Of one text: replacements of variables, and its length when they are done.
    static constexpr int maxReplacements = 1024;
    static constexpr unsigned int maxExpandedLength = 65536;
    /// What one load or addition may cost, in characters looked at: some tenths of a second.
    static constexpr long maxWork = 1L << 26;

    RedirectionFile();
    explicit RedirectionFile(char const * file);
    ~RedirectionFile() override;

    /// Adds what the file says; with `add` its directories go in front of those that are here. A
    /// file that cannot be read adds nothing.
    void load_from_file(char const * file, unsigned char add);
    void load_from_string(char const * text, unsigned char add);
    /// The directories of patterns that are here go in front of, or behind, their own.
    void add_from(RedirectionFile const & other, unsigned char front);

    /// The first item whose pattern the name fits; null when there is none.
    RedirectionItem * find_matched_item(char const * name) const;
    RedirectionItem * find_matched_item(RedirectionItem const & item) const;
    /// Forgets the variables; the mapping stays.
    void delete_variable_definitions();

    /// The place of a bare name; a name with a directory comes back as it is.
    GString get_name(char const * name, unsigned char mustExist) const;
    /// Whether that place has the file.
    bool exists(char const * name) const;
    /// Whether the directory of `path` is one of those for its bare name.
    bool directory_matched(char const * path) const;

  private:
    void add_from_stream(GAbstractBufferedIO & stream, unsigned char add);
    void load_from_stream(GAbstractBufferedIO & stream);
    void define_cd_drives();
    void add_one_line(char const * line, GStringCollection & names);
    void add_directories(char const * name, char const * directories);
    void put_var(char const * text);
    bool value_of(GString const & name, GString & value) const;
    void substitute_values(GString & text);
    RedirectionItem * insert_item(RedirectionItem * item);

    RedirectionFileVariables * variables;
    int cdCount = 0;
    long directoryCount_ = 0;
    long patternLength_ = 0; ///< of all items, and one for each
    long work_ = maxWork;    ///< what is left
};
