// Reporting export's results to the user.
#pragma once

#include "MacTypes.h"

// Shows code's message (export's column) in the alert, its first ^0 and ^1
// replaced by text0 and text1; 0 and 996 show nothing. Never fails and never
// changes the code.
void ExportReportResult(OSErr code, ConstStringPtr text0, ConstStringPtr text1);
