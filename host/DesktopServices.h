// What tessel open asks of the desktop it runs on: whether a folder may take
// a new document, the user's pictures folder, and the desktop's own opener.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tessel::host::desktop {

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
