// Sections are composed in the log's own buffer by plain copying and written in one piece.
#include "diagnostics/GEmergencyLog.h"

#include "foundation/GException.h"
#include "platform/Clock.h"
#include "platform/Crash.h"
#include "platform/Modules.h"

#include <charconv>
#include <cstring>
#include <new>
#include <string_view>

namespace {

char const * const g_session_tag = "SESSION";
char const * const g_context_tag = "context";

/// Text into a fixed room. What does not fit is dropped together with all that follows, and the
/// terminating zero always has its place.
class FixedText {
  public:
    FixedText(char * room, std::size_t size) : room_(room), left_(size - 1) { *room_ = 0; }

    FixedText & operator<<(std::string_view text) {
        std::size_t const fitting = text.size() < left_ ? text.size() : left_;
        std::memcpy(room_, text.data(), fitting);
        room_ += fitting;
        left_ = fitting < text.size() ? 0 : left_ - fitting;
        *room_ = 0;
        return *this;
    }
    FixedText & operator<<(char const * text) {
        return text ? *this << std::string_view(text) : *this;
    }
    FixedText & operator<<(int number) {
        char digits[16];
        return *this << std::string_view(
                   digits, static_cast<std::size_t>(
                               std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    }
    /// At least two digits.
    FixedText & twoDigits(int number) {
        return number < 10 ? *this << "0" << number : *this << number;
    }

  private:
    char * room_;
    std::size_t left_;
};

/// <TAG TIME="mm/dd/yy hh:mm:ss">
void putHeader(FixedText & text, char const * tag) {
    platform::CalendarTime const now = platform::localTime();
    text << "<" << tag << " TIME=\"";
    text.twoDigits(now.month) << "/";
    text.twoDigits(now.day) << "/";
    text.twoDigits(now.year % 100) << " ";
    text.twoDigits(now.hour) << ":";
    text.twoDigits(now.minute) << ":";
    text.twoDigits(now.second) << "\">";
}

void putContexts(FixedText & text, GEmergencyContext const * innermost) {
    if (!innermost)
        return;
    text << "<" << g_context_tag << ">\n";
    for (GEmergencyContext const * context = innermost; context; context = context->previous())
        text << context->text() << "\n";
    text << "</" << g_context_tag << ">\n";
}

void write(void * stream, char const * text) {
    platform::writeEmergencyFile(stream, text, std::strlen(text));
}

/// The program's path with the extension LOG.
void defaultFileName(char * name, std::size_t size) {
    std::size_t length = platform::programPath(name, static_cast<unsigned long>(size - 4));
    for (std::size_t i = length; i > 0 && name[i - 1] != '\\'; --i)
        if (name[i - 1] == '.') {
            length = i - 1;
            break;
        }
    std::memcpy(name + length, ".LOG", 5);
}

/// Makes the log exist from the start of the program, so that it is among the last to go.
[[maybe_unused]] GEmergencyLog & g_log = GEmergencyLog::Get();

} // namespace

void GEmergencyContext::Enter(char const * text) {
    auto * const context = new (std::nothrow) GEmergencyContext(text);
    if (!context) {
        // Without memory for a pointer's worth nothing can go on: the crash path takes over.
        char volatile * volatile nowhere = reinterpret_cast<char volatile *>(8);
        *nowhere = 0;
    }
    context->heapMade_ = true;
}

void GEmergencyContext::Exit() {
    GEmergencyContext * const head = Head();
    if (head && head->heapMade_)
        delete head;
}

void GEmergencyContext::Empty() {
    while (Head() && Head()->heapMade_)
        delete Head();
}

char const * const GEmergencyLog::g_exception_tag = "EXCEPTION";
char const * const GEmergencyLog::g_warning_tag = "WARNING";

GEmergencyLog & GEmergencyLog::Get() {
    static GEmergencyLog log;
    return log;
}

GEmergencyLog::~GEmergencyLog() {
    close_session();
    // Statics that end later may still raise an Error; it finds a log that is off.
    enabled_ = false;
}

void GEmergencyLog::setFile(char const * name) {
    file_ = name;
}

void GEmergencyLog::open_session() {
    if (stream_)
        return;
    char programLog[4096];
    char const * name = file_.c_str();
    if (file_.isEmpty()) {
        defaultFileName(programLog, sizeof programLog);
        name = programLog;
        // A string takes memory, which is not to be had while a crash is reported.
        if (!platform::isCrashing())
            file_ = programLog;
    }
    stream_ = platform::openEmergencyFile(name, (flags_ & Append) != 0);
    if (!stream_)
        return;
    char header[64];
    FixedText text(header, sizeof header);
    putHeader(text, g_session_tag);
    text << "\n";
    write(stream_, header);
}

void GEmergencyLog::close_session() {
    if (!stream_)
        return;
    write(stream_, "</SESSION>\n\n\n");
    platform::closeEmergencyFile(stream_);
    stream_ = nullptr;
}

void GEmergencyLog::put_exception(GLibraryException & exception, char const * file, int line) {
    put_exception(exception.getMessage().c_str(), file, line);
}

void GEmergencyLog::put_exception(GLibraryException * exception, char const * file, int line) {
    put_exception(exception ? exception->getMessage().c_str() : nullptr, file, line);
}

void GEmergencyLog::put_exception(char const * text, char const * file, int line) {
    put_custom_section(g_exception_tag, flags_, text, file, line);
}

void GEmergencyLog::put_warning(char const * text, char const * file, int line) {
    put_custom_section(g_warning_tag, flags_, text, file, line);
}

void GEmergencyLog::put_custom_section(char const * tag, int flags, char const * text,
                                       char const * file, int line) {
    if (enabled_)
        put_custom_section_internal(tag, flags, text, file, line);
}

void GEmergencyLog::put_custom_section_internal(char const * tag, int flags, char const * text,
                                                char const * file, int line) {
    open_session();
    FixedText section(buffer_, sizeof buffer_);
    putHeader(section, tag);
    section << "\n";
    if (file)
        section << file << "(" << line << ")\n";
    if (text)
        section << text << "\n";
    if (!(flags & WithoutContexts))
        putContexts(section, get_context());
    section << "</" << tag << ">\n";
    if (!stream_)
        return;
    write(stream_, buffer_);
    write(stream_, "\n");
}
