// Trace lines from a running program to the programmer's debug tool, to a file, or to the system's
// debug output. A line goes to a channel, which is a pair of names; programs and the tool share a
// table of channels in the user's registry, in which each has a number. The library itself traces
// nothing. There is no lock: a host that traces from several threads serialises its calls.
#pragma once

#include "diagnostics/TavlinError.h"
#include "foundation/GString.h"
#include "foundation/TSCDictionary.h"
#include "platform/FileHandle.h"
#include "platform/SystemTypes.h"

namespace Tavlin {

/// The table of channels is damaged, or cannot be written.
class ONDREL_API TracerError : public Error {
  public:
    TracerError();
};

/// The table of channels of a project, as it stands in the user's registry.
class ONDREL_API TracerConfig {
  public:
    /// What the table says of one channel.
    struct Info {
        bool on = false; ///< whether the tool is to show the channel
        int number = -1;
    };

    /// Reads the table of a project.
    explicit TracerConfig(char const * project);

    /// Fills the table anew; it is empty when the project has none. Raises TracerError when an
    /// entry is damaged.
    void reread();
    /// False, and `info` as it was, for an unknown channel.
    bool getInfo(char const * first, char const * second, Info & info) const;
    /// Switches a channel, and makes it when it is new; both go into the registry. False when that
    /// cannot be written, or a name holds what the registry cannot keep.
    bool setInfo(char const * first, char const * second, bool on);
    /// Calls back with every channel, in the order of the names.
    void enumerate(void (*callback)(GString const & first, GString const & second,
                                    Info const & info, void * data),
                   void * data) const;

  private:
    using Seconds = TSCDictionary<GString, Info>;
    using Firsts = TSCDictionary<GString, Seconds *>;

    void insert(char const * first, char const * second, Info const & info);
    void empty();
    bool write(char const * first, char const * second, Info const & info) const;
    GString keyOf(char const * part) const;

    /// Frees the inner dictionaries.
    struct Table : Firsts {
        ~Table();
        void clear();
    };
    Table table_;
    GString project_;
};

/// Sends lines by channel: to the tool, to a file, or to the system's debug output.
class ONDREL_API Tracer {
  public:
    /// The last one that was made; null when it has ended.
    static Tracer * TheTracer;

    Tracer();
    ~Tracer();
    Tracer(Tracer const &) = delete;
    Tracer & operator=(Tracer const &) = delete;

    static Tracer * Get() { return TheTracer; }
    /// By the instance, or without one to the system's debug output.
    static void Output(char const * first, char const * second, char const * text);

    /// Sends a line, which brings its own line end for a file. A new channel is entered in the
    /// table and announced to the tool. Raises TracerError when that fails.
    void output(char const * first, char const * second, char const * text);
    /// Looks for the tool and rereads the table. A registry that says another thing than "on" about
    /// it keeps the tracer silent.
    void refreshState();
    bool hasTool() const { return tool_ != nullptr; }

    /// Makes a file anew, for all lines from now on; each is on the medium when output returns.
    void setLogFile(char const * name);
    void closeLogFile();
    bool hasLogFile() const { return logIsOpen_; }

    TracerConfig & config() { return config_; }
    /// Where "isActive" stands.
    static constexpr char toolKey[] = "SOFTWARE\\mxq\\dbgTracer";
    static constexpr char project[] = "QX";

  private:
    void sendToLog(char const * first, char const * second, char const * text);
    static void sendToDebugger(char const * first, char const * second, char const * text);
    void send(int number, char const * text);

    HANDLE tool_ = nullptr;
    HWND sender_ = nullptr; // null for the active window, where there are windows
    TracerConfig config_;
    platform::FileHandle log_ = platform::noFile;
    bool logIsOpen_ = false;
    int refreshes_ = 10;
};

} // namespace Tavlin
