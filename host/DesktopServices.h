// What tessel open asks of the desktop it runs on: what type a file's
// contents give it, whether a folder may take a new document, the user's
// pictures folder, and the desktop's own opener.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "MacTypes.h"

namespace tessel::host::desktop {

// The Finder type a desktop would give file from its first bytes, as the
// shared-mime-info entries Tessel installs match them: "TIFF" for classic
// and BigTIFF headers in either byte order, "..CT" for a Scitex CT header
// (its ASCII number fields from offset 1028); nothing for anything else.
std::optional<OSType> type_by_contents(const std::filesystem::path& file);

// Whether a document may be written into folder: its permission bits as the
// platform holds every user to them (the superuser too), and then whatever
// the system says, which covers read-only mounts.
bool folder_takes_documents(const std::filesystem::path& folder);

// The user's pictures folder as `xdg-user-dir PICTURES` names it; $HOME
// when the tool is missing, fails or names no folder that exists.
std::filesystem::path pictures_folder();

// What program (looked up in PATH) writes to standard output, read to its
// end; nullopt when it cannot be started or ends with a status other than 0.
std::optional<std::string> output_of(const std::string& program,
                                     const std::vector<std::string>& arguments);

// Starts program (looked up in PATH) in a session of its own, its standard
// input from /dev/null, and does not wait for it: the desktop's opener may
// stay for as long as the editor it starts. 0, or the errno that kept it
// from starting.
int launch_detached(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace tessel::host::desktop
