// Resource sources in, a resource fork out: the compiler behind
// tessel-rescomp, kept in a library so tests drive it directly.
#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "MacTypes.h"
#include "ResourceFork.h"

namespace tessel::rescomp {

struct CompileResult {
  std::vector<platform::resources::Resource> resources;  // in source order
  std::string error;  // "file:line: what is wrong"; empty on success

  bool ok() const { return error.empty(); }
};

// Compiles one source text; file names it in messages and `include` paths
// are taken relative to its folder.
CompileResult compile_text(std::string_view text, const std::filesystem::path& file);

// Compiles the sources in order into one set of resources. The same type
// and ID defined twice, in one file or in two, is an error.
CompileResult compile_files(const std::vector<std::filesystem::path>& files);

// Puts the resources as the resource fork into the AppleDouble sidecar of
// target ("._name" beside it), with the given type and creator as Finder info
// when there are any; other entries of an existing sidecar are kept. The
// sidecar is replaced whole through a temporary file, so a failure leaves
// the old one as it was.
OSErr write_resource_fork(const std::filesystem::path& target,
                          const std::vector<platform::resources::Resource>& resources,
                          std::optional<FInfo> finder_info);

// The program: `tessel-rescomp -o PATH [--type TYPE --creator CREATOR]
// SOURCES...`. Messages go to err; the result is the exit status, 0 when
// the fork was written and 1 (nothing written) otherwise.
int run_rescomp(const std::vector<std::string>& arguments, std::ostream& err);

}  // namespace tessel::rescomp
