// What a person must see or decide at once. A host with a window of its own replaces the handler;
// without one, caption and text go to the standard error.
#pragma once

#include "platform/Export.h"

namespace platform {

/// Flags of a box: which buttons, which icon, how urgent. The values are those of Windows.
inline constexpr unsigned boxAbortRetryIgnore = 0x2;
inline constexpr unsigned boxButtons = 0xF; ///< the bits that choose the buttons; 0 is OK alone
inline constexpr unsigned boxErrorIcon = 0x10;
inline constexpr unsigned boxWarningIcon = 0x30;
inline constexpr unsigned boxTaskModal = 0x2000;
inline constexpr unsigned boxForeground = 0x10000;

/// Answers.
inline constexpr int answerOk = 1;
inline constexpr int answerAbort = 3;
inline constexpr int answerRetry = 4;
inline constexpr int answerIgnore = 5;

using MessageBoxHandler = int (*)(char const * text, char const * caption, unsigned flags);

/// Shows the box and returns the answer. It may be called while a crash is being reported, on a
/// small stack and with locks of the C library held: the default handler only writes, and asks
/// only when a terminal is attached. Without one the answer is OK, or Abort where that is a choice.
ONDREL_API int messageBox(char const * text, char const * caption, unsigned flags);
/// Replaces what shows boxes; null restores the default. Returns the former handler, null for the
/// default.
ONDREL_API MessageBoxHandler setMessageBoxHandler(MessageBoxHandler handler);

} // namespace platform
