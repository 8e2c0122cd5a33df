// Turning a result code into the message the user sees: string list 16005
// holds the messages, alert 16100 shows one with the code.
#pragma once

#include "MacTypes.h"

constexpr SInt16 kResultMessageList = 16005;
constexpr SInt16 kResultAlert = 16100;
// The message for every code without one of its own.
constexpr SInt16 kGenericMessage = 13;

enum class ResultSide { acquire, exportBack };

// The index of code's message in string list 16005 for that side.
SInt16 ResultMessageIndex(OSErr code, ResultSide side);

// Shows message index with code in the alert. When text0 or text1 is not
// null, the first ^0 or ^1 of the message is replaced by it before the
// alert's own ^0 (the message) and ^1 (the code) are set.
void ShowResultMessage(SInt16 index, OSErr code, ConstStringPtr text0, ConstStringPtr text1);
