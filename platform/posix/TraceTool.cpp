// Trace lines as datagrams on a socket with a name: the kind of message, the number in four bytes,
// the lowest first, and the text. A datagram arrives whole or not at all, and programs come and go
// without the tool noticing.
#include "platform/TraceTool.h"

#include "platform/posix/Uninterrupted.h"
#include "platform/posix/UserFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace platform {

namespace {

constexpr std::size_t headSize = 5;
/// How long a program waits for a tool that does not look.
constexpr int patience = 100; // milliseconds

std::string socketName() {
    std::string const named = environment("ONDREL_TRACE");
    if (!named.empty())
        return named;
    std::string const running = environment("XDG_RUNTIME_DIR");
    if (!running.empty())
        return running + "/ondrel-trace";
    std::string const folder = settingsFolder();
    return folder.empty() ? folder : folder + "/trace";
}

/// False when there is no name, or it is too long for a socket.
bool addressOf(std::string const & name, sockaddr_un & address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (name.empty() || name.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
    return true;
}

int openSocket() {
    return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

bool connectTo(int handle) {
    sockaddr_un address;
    if (!addressOf(socketName(), address))
        return false;
    return connect(handle, reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0;
}

/// A socket is one more than its number, so that null is none.
HANDLE handleOf(int socket) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(socket) + 1);
}
int socketOf(HANDLE handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

void closeSocket(HANDLE handle) {
    if (handle)
        close(socketOf(handle));
}

bool waitFor(int handle, short what, int milliseconds) {
    pollfd entry{handle, what, 0};
    return uninterrupted([&] { return poll(&entry, 1, milliseconds); }) > 0;
}

} // namespace

HANDLE findTraceTool() {
    int const handle = openSocket();
    if (handle < 0)
        return nullptr;
    if (connectTo(handle))
        return handleOf(handle);
    close(handle);
    return nullptr;
}

void leaveTraceTool(HANDLE tool) {
    closeSocket(tool);
}

bool traceToolListens(HANDLE tool) {
    return tool && connectTo(socketOf(tool));
}

bool sendTrace(HANDLE tool, TraceMessage message, int number, char const * text) {
    if (!tool)
        return false;
    std::string record(1, static_cast<char>(message));
    for (int shift = 0; shift < 32; shift += 8)
        record += static_cast<char>(static_cast<std::uint32_t>(number) >> shift);
    record.append(text, std::min(std::strlen(text), maxTraceText));
    auto const attempt = [&] {
        return uninterrupted(
            [&] { return send(socketOf(tool), record.data(), record.size(), MSG_NOSIGNAL); });
    };
    if (attempt() >= 0)
        return true;
    bool const full = errno == EAGAIN || errno == EWOULDBLOCK;
    return full && waitFor(socketOf(tool), POLLOUT, patience) && attempt() >= 0;
}

HANDLE openTraceTool() {
    sockaddr_un address;
    std::string const name = socketName();
    if (!addressOf(name, address))
        return nullptr;
    if (HANDLE const other = findTraceTool()) {
        leaveTraceTool(other);
        return nullptr;
    }
    int const handle = openSocket();
    if (handle < 0)
        return nullptr;
    unlink(name.c_str()); // of a tool that died
    bool const bound =
        bind(handle, reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0;
    // Nobody else is to read along, or write.
    if (bound && chmod(name.c_str(), 0600) == 0)
        return handleOf(handle);
    close(handle);
    return nullptr;
}

void closeTraceTool(HANDLE tool) {
    if (!tool)
        return;
    unlink(socketName().c_str());
    closeSocket(tool);
}

bool receiveTrace(HANDLE tool, TraceRecord & record, int milliseconds) {
    char buffer[headSize + maxTraceText];
    if (!tool || !waitFor(socketOf(tool), POLLIN, milliseconds))
        return false;
    ssize_t const size =
        uninterrupted([&] { return recv(socketOf(tool), buffer, sizeof buffer, 0); });
    if (size < static_cast<ssize_t>(headSize))
        return false;
    std::uint32_t number = 0;
    for (int i = 3; i >= 0; --i)
        number = number << 8 | static_cast<unsigned char>(buffer[1 + i]);
    record.message = static_cast<TraceMessage>(buffer[0]);
    record.number = static_cast<int>(number);
    record.text.assign(buffer + headSize, static_cast<std::size_t>(size) - headSize);
    return true;
}

std::string traceToolPlace() {
    return socketName();
}

} // namespace platform
