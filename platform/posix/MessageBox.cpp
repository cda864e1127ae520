// Without a window system of its own the box is a text on the standard error, and an answer is
// asked for at the terminal. Only plain writes and reads: it must work while a crash is reported.
#include "platform/MessageBox.h"

#include <unistd.h>

#include <atomic>
#include <cstring>

namespace platform {

namespace {

constinit std::atomic<MessageBoxHandler> g_handler{nullptr};

void tell(char const * text) {
    std::size_t left = text ? std::strlen(text) : 0;
    while (left > 0) {
        ssize_t const done = write(STDERR_FILENO, text, left);
        if (done <= 0)
            return;
        text += done;
        left -= static_cast<std::size_t>(done);
    }
}

/// The first letter of a line typed at the terminal; 0 at its end.
char askLetter() {
    char first = 0;
    char letter = 0;
    while (read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n')
        if (!first)
            first = letter;
    return letter == '\n' && !first ? ' ' : first;
}

int askAssert() {
    while (true) {
        tell("(A)bort, (R)etry, (I)gnore? ");
        switch (askLetter()) {
            case 'r':
            case 'R':
                return answerRetry;
            case 'i':
            case 'I':
                return answerIgnore;
            case 'a':
            case 'A':
            case 0:
                return answerAbort;
        }
    }
}

int defaultBox(char const * text, char const * caption, unsigned flags) {
    tell(caption);
    tell(": ");
    tell(text);
    tell("\n");
    if ((flags & boxButtons) != boxAbortRetryIgnore)
        return answerOk;
    if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        return answerAbort;
    return askAssert();
}

} // namespace

int messageBox(char const * text, char const * caption, unsigned flags) {
    MessageBoxHandler const handler = g_handler.load();
    return handler ? handler(text, caption, flags) : defaultBox(text, caption, flags);
}

MessageBoxHandler setMessageBoxHandler(MessageBoxHandler handler) {
    return g_handler.exchange(handler);
}

} // namespace platform
