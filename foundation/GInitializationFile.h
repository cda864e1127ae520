// One text file of settings, edited in place: the object is the list of the file's lines, and all
// that a change does not concern stays as it is, comments and order included.
//
//     ; a comment
//     [Topic]
//     key = value
//
// Blanks in front of a line do not count. Of two topics of one name the later is the one that is
// found; topics and keys are told apart by letter case. A line whose end is CR LF keeps it, and new
// lines take after their neighbour; the CR belongs to no name and no value.
#pragma once

#include "foundation/GString.h"
#include "foundation/GStringCollection.h"
#include "platform/Export.h"

#include <string>
#include <unordered_map>

/// One file of settings as the list of its lines, saved when it changed.
class ONDREL_API GInitializationFile : public GStringCollection {
  public:
    /// A larger file counts as one that cannot be read.
    static constexpr long maxFileSize = 64L << 20;
    static constexpr long maxLines = 4L << 20;

    /// Reads the file at the place that the redirection file gives for the name. A null or empty
    /// name is no file; one that is missing or cannot be read has no lines.
    explicit GInitializationFile(char const * name);
    /// Saves what was changed.
    ~GInitializationFile() override;
    GInitializationFile(GInitializationFile const &) = delete;
    GInitializationFile & operator=(GInitializationFile const &) = delete;

    /// The file of the whole program; null at first. It is saved at exit.
    static GInitializationFile * GetFile();
    /// Ends the former one and reads another; null for none.
    static void SetFile(char const * name);

    /// All behind the first `=`, blanks included; empty for a line without one. False, and what is
    /// asked for as it was, when there is no such key; also in the next two.
    bool getValue(char const * topic, char const * key, GString & value) const;
    /// The decimal number at the start of the value, cut to the range of a long; 0 when there is
    /// none.
    bool getValue(char const * topic, char const * key, long & value) const;
    /// Whether the value begins, in any letter case, with one of true, on, 1, yes or false, off, 0,
    /// no, which sets the flag.
    bool getBoolean(char const * topic, char const * key, unsigned char & value) const;

    /// A new key stands directly behind the header of its topic, a new topic at the end. The texts
    /// are taken as they are: one with a line break is several lines when it is read again.
    void setValue(char const * topic, char const * key, char const * value);
    void setValue(char const * topic, char const * key, long value);
    /// Writes "yes" or "no".
    void setBoolean(char const * topic, char const * key, unsigned char value);

    /// In the order of the file; the list owns its texts then.
    void getTopicList(GStringCollection & topics) const;
    void getKeyList(char const * topic, GStringCollection & keys) const;

    /// Removes the lines up to the next topic, and with `withHeader` the header. False when there
    /// is no such topic, here and in the next two.
    bool removeTopic(char const * topic, unsigned char withHeader);
    bool removeKey(char const * topic, char const * key);
    /// The lines behind the header as they are, each with a line feed.
    bool getTopic(char const * topic, GString & text) const;
    /// Puts lines in place of those; a topic that is missing is added at the end.
    void setTopic(char const * topic, char const * text);

    /// Saves when there are changes. A failure leaves the file of before, whole, and the mark of
    /// the changes. A file that is there but could not be read is not written.
    bool update();
    unsigned char isModified() const { return modified_; }
    GString const & getFileName() const { return fileName_; }
    /// The next update writes that file.
    void setFileName(char const * name);

  protected:
    void freeItem(void * item) override;

  private:
    void load();
    void insertText(long index, char const * text, std::size_t size);
    void insertLine(long index, char const * line, std::size_t size);
    void addLine(long index, GString line, bool carriageReturn);
    long findTopic(char const * name) const;
    long endOfTopic(long header) const;
    long findKey(char const * name, long start) const;
    long findKey(char const * topic, char const * key) const {
        return findKey(key, findTopic(topic));
    }
    long addTopic(char const * name);
    void removeLines(long from, long to);
    bool hasReturn(long index) const;
    void appendLine(std::string & text, long index) const;

    GString fileName_;
    unsigned char modified_ = 0;
    bool unreadable_ = false;
    /// Lines with zero bytes, which a text ends at; by the address of the text.
    std::unordered_map<char const *, std::string> linesWithZeros_;
};
