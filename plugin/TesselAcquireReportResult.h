// Reporting acquire's results to the user.
#pragma once

#include "MacTypes.h"

// Shows code's message (acquire's column) in the alert; 0 and 996 show
// nothing. Never fails and never changes the code.
void ReportResult(OSErr code);

// ReportResult with the first ^0 and ^1 of the message replaced by text0 and
// text1, for the messages that name numbers.
void ReportResultWithTexts(OSErr code, ConstStringPtr text0, ConstStringPtr text1);

extern "C" {
// " trapped error" as a length-prefixed string, for the platform layer.
[[gnu::visibility("default")]] unsigned char* trap_message();
}
