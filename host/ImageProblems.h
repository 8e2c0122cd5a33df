// Plain sentences for why an image cannot be taken, for the host's command
// lines: the plug-in's alerts give a code and a general text, but a person
// at a terminal wants to know what is wrong with this file.
#pragma once

#include <filesystem>
#include <string>

#include "MacTypes.h"

namespace tessel::host {

// What an entry point answers for a platform error it has already shown:
// the host learns only that the call failed.
constexpr OSErr kShownPlatformError = 1;

struct Refusal {
  OSErr code = 0;       // the refusing code, found again in the image when it was only 1
  std::string words{};  // one sentence naming the file; empty when there are no plainer words
};

// Why image was refused with code, in one sentence that names the file and
// starts without the program's name. A file cut short (eofErr) says how long
// it is and where its pixels end; a TIFF file refused with 300 says which
// value it could not take (signed or floating-point samples among them). The
// image is opened again to find out; code kShownPlatformError lets that
// look find the code too. Codes without plainer words come back as they are.
Refusal describe_refusal(const std::filesystem::path& image, OSErr code);

}  // namespace tessel::host
