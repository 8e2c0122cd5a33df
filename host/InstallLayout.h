// Where the program's companions are, relative to the program itself, so that
// the same binary runs from its build folder and from an installed prefix:
//
//   build folder            installed prefix
//   bin/tessel              bin/tessel
//   bin/._tessel            share/tessel/._tessel       (the host's texts)
//   lib/tessel.plugin       lib/tessel/tessel.plugin    (and its ._ sidecar)
#pragma once

#include <filesystem>

namespace tessel::host::layout {

// The folder of the running program, from /proc/self/exe.
std::filesystem::path program_folder();

// The plug-in module: the installed place when it holds one, else the build
// folder's. Names the installed place when neither holds one, since that is
// where a person who installed Tessel would look.
std::filesystem::path module_file();

// The file whose resource fork holds the host's texts: the program itself
// when its sidecar lies beside it (a build folder, where the test programs run
// too), else the installed copy under share/tessel.
std::filesystem::path texts_file();

}  // namespace tessel::host::layout
