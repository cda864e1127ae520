// The copy, the mapping, and how their failures are told.
#include "tavlinbase/TavlinParser.h"

#include "foundation/FileSystem.h"
#include "platform/FileSystem.h"
#include "platform/MessageBox.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tavlin {

namespace {

constexpr char sourcePosition[] = "tavlinbase/TavlinParser";

void show(ParsingError const & error) {
    GString text;
    text.format("%s\n\n Occured in <%s> at line %d", error.createErrorMessage().c_str(),
                error.getFile().c_str(), error.getLine());
    platform::messageBox(text.c_str(), "Parsing error", platform::boxErrorIcon);
}

} // namespace

ParsingError::ParsingError(char const * file, int line, unsigned long code)
    : file_(file), line_(line), code_(code) {}

GString ParsingError::createErrorMessage() const {
    switch (code_) {
        case FileNotExists:
            return "File not exists";
        case UnrecognizedFileType:
            return "Unrecognized file type";
        case CanNotOpenFile:
            return "Can't open file";
        case CanNotGetFileSize:
            return "File size is incorrect";
        case CanNotCreateFileMapping:
            return "Can't create file mapping";
        case CanNotCreateMapViewOfFile:
            return "Can't create map view of file";
        case SourceAlreadyOpened:
            return "Parcer is busy by other source file";
        case CanNotCreateTemporaryFile:
            return "Temporay file coulnd not be created";
        case SourceNotOpened:
            return "Source file is empty";
        default:
            return "Unrecognized error";
    }
}

FileParser::~FileParser() {
    release();
}

bool FileParser::setSource(GFile const & source) {
    try {
        if (!source_.isEmpty())
            throw ParsingError(sourcePosition, 48, ParsingError::SourceAlreadyOpened);
        try {
            set_source(source);
            init_from_source();
        } catch (...) {
            // A source that is half open would be taken for an open one from now on.
            close();
            throw;
        }
        return true;
    } catch (ParsingError const & error) {
        show(error);
        return false;
    }
}

bool FileParser::doParse() {
    try {
        if (source_.isEmpty())
            throw ParsingError(sourcePosition, 66, ParsingError::SourceNotOpened);
        parse();
        return true;
    } catch (ParsingError const & error) {
        show(error);
        return false;
    }
}

void FileParser::set_source(GFile const & source) {
    source_ = source;
    source_.redirect();
    if (!source_.exists())
        throw ParsingError(sourcePosition, 102, ParsingError::FileNotExists);
    std::string const copy =
        platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "tav");
    if (copy.empty()) {
        workingCopy_ = source_;
        workingCopy_.replace_extension("tmp");
        if (workingCopy_ == source_) {
            workingCopy_ = GFile(); // or close would delete the source
            throw ParsingError(sourcePosition, 117, ParsingError::CanNotCreateTemporaryFile);
        }
    } else {
        workingCopy_ = copy.c_str();
    }
    if (!FileSystem::Copy(source_, workingCopy_))
        throw ParsingError(sourcePosition, 117, ParsingError::CanNotCreateTemporaryFile);
}

void FileParser::init_from_source() {
    file_ = platform::openFile(workingCopy_.c_str(), platform::ReadAccess | platform::WriteAccess,
                               platform::FileCreation::Existing, 0);
    if (file_ == platform::noFile)
        throw ParsingError(sourcePosition, 129, ParsingError::CanNotOpenFile);
    // Sizes are 32 bits wide, and one more byte must fit.
    std::int64_t const size = platform::fileSize(file_);
    if (size < 0 || size >= 0xFFFFFFFE)
        throw ParsingError(sourcePosition, 132, ParsingError::CanNotGetFileSize);
    fileSize_ = static_cast<unsigned long>(size);
    mapping_ = platform::createFileMapping(file_, size + 1);
    if (mapping_ == platform::noMapping)
        throw ParsingError(sourcePosition, 140, ParsingError::CanNotCreateFileMapping);
    head_ =
        static_cast<char *>(platform::mapFileView(mapping_, static_cast<std::size_t>(size) + 1));
    if (!head_)
        throw ParsingError(sourcePosition, 143, ParsingError::CanNotCreateMapViewOfFile);
    head_[fileSize_] = 0;
}

void FileParser::close() {
    release();
}

void FileParser::release() {
    platform::unmapFileView(head_, std::size_t{fileSize_} + 1);
    head_ = nullptr;
    fileSize_ = 0;
    platform::closeFileMapping(mapping_);
    mapping_ = platform::noMapping;
    if (file_ != platform::noFile)
        platform::closeFile(file_);
    file_ = platform::noFile;
    if (!workingCopy_.isEmpty())
        FileSystem::Remove(workingCopy_);
    source_ = GFile();
    workingCopy_ = GFile();
}

unsigned long FileParser::getParsedSize(void const * place) const {
    return static_cast<unsigned long>(static_cast<char const *>(place) - head_);
}

unsigned long FileParser::getSizeToGo(void const * place) const {
    return fileSize_ - getParsedSize(place);
}

} // namespace Tavlin
