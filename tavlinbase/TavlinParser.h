// A base for parsers that read a whole file from memory. The file is copied, and the copy mapped
// with one zero byte behind its end: a parser runs over a terminated text that it may change, and
// the source stays as it was and free for others.
#pragma once

#include "foundation/GException.h"
#include "foundation/GFile.h"
#include "platform/Export.h"
#include "platform/FileMapping.h"

namespace Tavlin {

/// Why a source could not be parsed, and where in the code that was found.
class ONDREL_API ParsingError : public GException {
  public:
    enum Code : unsigned long {
        NoError = 0,
        FileNotExists = 1,
        UnrecognizedFileType = 2,
        CanNotOpenFile = 3,
        CanNotGetFileSize = 4,
        CanNotCreateFileMapping = 5,
        CanNotCreateMapViewOfFile = 6,
        SourceAlreadyOpened = 7,
        CanNotCreateTemporaryFile = 8,
        SourceNotOpened = 9
    };

    ParsingError(char const * file, int line, unsigned long code);

    /// A text for a person. A code that is none of the above has the text of NoError.
    GString createErrorMessage() const;

    GString const & getFile() const { return file_; }
    int getLine() const { return line_; }
    unsigned long getCode() const { return code_; }

  private:
    GString file_;
    int line_;
    unsigned long code_;
};

/// Maps a copy of a file and has a derived class parse it.
class ONDREL_API FileParser {
  public:
    FileParser() = default;
    FileParser(FileParser const &) = delete;
    FileParser & operator=(FileParser const &) = delete;
    virtual ~FileParser();

    /// Opens `source`, which is also looked for where the redirection file says. On failure a
    /// message box tells why, the result is false and no source is open.
    bool setSource(GFile const & source);
    /// Runs parse over the open source. A ParsingError, that of no open source among them, is shown
    /// in a message box, and the result is false.
    bool doParse();
    /// Gives the source up and deletes its copy. Nothing happens when none is open.
    virtual void close();

    /// The text, with a zero byte behind its last one; null as long as no source is open.
    char * getHead() const { return head_; }
    /// Bytes of the source, without the zero byte.
    unsigned long getFileSize() const { return fileSize_; }
    /// Bytes in front of `place`, which lies in the text.
    unsigned long getParsedSize(void const * place) const;
    /// Bytes from `place` to the end.
    unsigned long getSizeToGo(void const * place) const;
    /// The name as it was found; empty when no source is open.
    GFile const & getSource() const { return source_; }

  protected:
    /// Finds the source and makes the working copy. Throws ParsingError.
    virtual void set_source(GFile const & source);
    /// Maps the working copy. Throws ParsingError.
    virtual void init_from_source();
    /// The work itself, over getHead(). May throw ParsingError.
    virtual void parse() = 0;

  private:
    void release();

    GFile source_;
    GFile workingCopy_;
    platform::FileHandle file_ = platform::noFile;
    platform::MappingHandle mapping_ = platform::noMapping;
    char * head_ = nullptr;
    unsigned long fileSize_ = 0;
};

} // namespace Tavlin
