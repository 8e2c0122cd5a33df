// Plain sentences for why an image cannot be taken, for the host's command
// lines: the plug-in's alerts give a code and a general text, but a person
// at a terminal wants to know what is wrong with this file.
#pragma once

#include <filesystem>
#include <string>

#include "MacTypes.h"

namespace tessel::host {

// Why image was refused with code, in one sentence that names the file and
// starts without the program's name: a file cut short (eofErr) says where its
// pixels end and where the file does; a TIFF file refused with 300 says which
// value it could not take (signed or floating-point samples among them).
// The image is opened again to find out. Empty when the code has no plainer
// words than the plug-in's own, or the file no longer shows the problem.
std::string describe_refusal(const std::filesystem::path& image, OSErr code);

}  // namespace tessel::host
