// The one place where POSIX errors become Toolbox result codes.
#pragma once

#include "MacTypes.h"

namespace tessel::platform {

// The Toolbox code for an errno value; ioErr for anything without a closer match.
OSErr os_error_from_errno(int error_number);

// os_error_from_errno(errno), for the line right after a failing call.
OSErr last_os_error();

}  // namespace tessel::platform
