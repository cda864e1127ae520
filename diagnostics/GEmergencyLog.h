// The emergency log: a small text file next to the program, often all that is known of a failure at
// a customer's machine. It holds tagged sections with the time and with what the thread was doing:
// the stack of contexts that code keeps while it runs. Writing a section takes no memory, so that
// it still works while a crash is being reported.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"
#include "platform/ThreadLocal.h"

#include <atomic>

class GLibraryException;

/// What the calling thread is doing: one node of its stack of contexts, pushed for a scope. The
/// text is not copied and must live as long as the node.
class ONDREL_API GEmergencyContext {
  public:
    explicit GEmergencyContext(char const * text)
        : previous_(static_cast<GEmergencyContext *>(platform::contextSlot())), text_(text) {
        platform::contextSlot() = this;
        keepOrder();
    }
    ~GEmergencyContext() {
        keepOrder();
        platform::contextSlot() = previous_;
    }
    GEmergencyContext(GEmergencyContext const &) = delete;
    GEmergencyContext & operator=(GEmergencyContext const &) = delete;

    /// Pushes a node that is not bound to a scope. Without memory the process crashes on purpose.
    static void Enter(char const * text);
    /// Pops the innermost node if it was pushed by Enter; one that a scope holds stays.
    static void Exit();
    /// Pops what Enter pushed down to the first node that a scope holds: for the place that caught
    /// an exception which jumped over calls of Exit.
    static void Empty();
    /// The innermost node of the calling thread, or null.
    static GEmergencyContext * Head() {
        return static_cast<GEmergencyContext *>(platform::contextSlot());
    }

    GEmergencyContext * previous() const { return previous_; }
    char const * text() const { return text_; }
    bool isHeapMade() const { return heapMade_; }

  private:
    /// The reader is a crash handler, of which the compiler knows nothing: without this it may drop
    /// a push that nobody else sees, or move what the scope does out of it. No instruction.
    static void keepOrder() { std::atomic_signal_fence(std::memory_order_seq_cst); }

    GEmergencyContext * previous_;
    char const * text_;
    bool heapMade_ = false;
};

/// The one log of the process: sections of text with the time and the contexts.
class ONDREL_API GEmergencyLog {
  public:
    /// Tags of the usual sections: "EXCEPTION" and "WARNING".
    static char const * const g_exception_tag;
    static char const * const g_warning_tag;

    /// Flags.
    enum : int { Append = 1, WithoutContexts = 2 };
    /// A section is cut at this many bytes, the terminating zero counted.
    static constexpr int bufferSize = 1024;

    /// The one log of the process, from the first use on.
    static GEmergencyLog & Get();
    static void Enable(bool enabled) { Get().enable(enabled); }
    static void SetFile(char const * name) { Get().setFile(name); }
    static void SetFlags(int flags) { Get().setFlags(flags); }
    static void EnterContext(char const * text) { GEmergencyContext::Enter(text); }
    static void ExitContext() { GEmergencyContext::Exit(); }
    static void EmptyContext() { GEmergencyContext::Empty(); }

    /// While not enabled, which is so at first, no section is written.
    void enable(bool enabled) { enabled_ = enabled; }
    bool isEnabled() const { return enabled_; }
    /// The file of the next session. An empty name stands for the program's path with the
    /// extension "LOG", and is replaced by it when a session opens.
    void setFile(char const * name);
    GString const & getFile() const { return file_; }
    /// Append (at first) keeps what the file holds; without it each session begins a new file.
    /// WithoutContexts leaves the contexts out of each section.
    void setFlags(int flags) { flags_ = flags; }
    int getFlags() const { return flags_; }

    /// Opens the file, unless it is open. Each section does it by itself.
    void open_session();
    /// Ends the session in the file and closes it; the next section opens a new one.
    void close_session();

    /// Sections. `text` and `file` may be null, which leaves their lines out.
    void put_exception(GLibraryException & exception, char const * file, int line);
    void put_exception(GLibraryException * exception, char const * file, int line);
    void put_exception(char const * text, char const * file, int line);
    void put_warning(char const * text, char const * file, int line);
    void put_custom_section(char const * tag, int flags, char const * text, char const * file,
                            int line);

    /// The innermost context of the calling thread, or null.
    GEmergencyContext * get_context() const { return GEmergencyContext::Head(); }
    /// The text of the last section; empty when there was none.
    char const * lastSection() const { return buffer_; }
    /// Forgets it. A crash shows the last section as its reason; a host that has dealt with what
    /// that section tells calls this, so that a later crash is reported for itself.
    void clearLastSection() { *buffer_ = 0; }

  protected:
    void put_custom_section_internal(char const * tag, int flags, char const * text,
                                     char const * file, int line);

  private:
    GEmergencyLog() = default;
    ~GEmergencyLog();
    GEmergencyLog(GEmergencyLog const &) = delete;
    GEmergencyLog & operator=(GEmergencyLog const &) = delete;

    bool enabled_ = false;
    int flags_ = Append;
    GString file_;
    void * stream_ = nullptr;
    char buffer_[bufferSize] = {};
};
