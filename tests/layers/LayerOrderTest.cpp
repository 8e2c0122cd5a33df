#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TempFolder.h"

namespace tessel::testing {
namespace {

namespace fs = std::filesystem;

// Lowest first: a file may include headers of its own layer and of the
// layers before it. The about box draws with the selection dialog's
// utilities, so it stands just above the dialog.
const std::vector<std::string> kLayerOrder = {
    "platform", "support", "tiles", "formats", "records", "selection", "about", "plugin", "host"};

using Include = std::pair<std::string, std::string>;  // including file, included file

// Includes let through against the order. None today; a line whose include
// no longer exists is reported, so that such a list only shrinks.
const std::set<Include> kKnownExceptions = {};

std::optional<std::size_t> rank_of(const std::string& folder) {
  const auto found = std::find(kLayerOrder.begin(), kLayerOrder.end(), folder);
  if (found == kLayerOrder.end()) return std::nullopt;
  return std::size_t(found - kLayerOrder.begin());
}

std::string first_component(const fs::path& path) { return path.begin()->string(); }

// The source-relative path an include names, found where the compiler looks
// for it: the including file's own folder, then the source root and the
// platform folder, which every target has on its include path. Empty when
// none of them holds the file, or the one that does is no layer's.
std::string resolve(const fs::path& root, const fs::path& includer, const std::string& name) {
  const fs::path candidates[] = {(includer.parent_path() / name).lexically_normal(), name,
                                 fs::path("platform") / name};
  for (const fs::path& candidate : candidates) {
    if (!fs::exists(root / candidate)) continue;
    return rank_of(first_component(candidate)) ? candidate.generic_string() : std::string();
  }
  return {};
}

std::vector<std::string> quoted_includes(const fs::path& file) {
  static const std::regex kInclude(R"(^\s*#\s*include\s*"([^"]+)\")");
  std::vector<std::string> names;
  std::ifstream in(file);
  std::smatch match;
  for (std::string line; std::getline(in, line);) {
    if (std::regex_search(line, match, kInclude)) names.push_back(match[1]);
  }
  return names;
}

bool is_source(const fs::path& path) {
  const std::string ext = path.extension().string();
  return ext == ".h" || ext == ".hpp" || ext == ".cpp" || ext == ".cc";
}

struct Scan {
  std::vector<std::string> problems;
  std::map<std::string, int> files_per_layer;
};

void check_file(const fs::path& root, const fs::path& file, const std::set<Include>& known,
                std::set<Include>& excused, Scan& scan) {
  const std::string own = first_component(file);
  for (const std::string& name : quoted_includes(root / file)) {
    const std::string target = resolve(root, file, name);
    if (target.empty()) {
      scan.problems.push_back(file.generic_string() + " includes \"" + name +
                              "\", which lies in no layer");
      continue;
    }
    if (*rank_of(first_component(target)) <= *rank_of(own)) continue;
    const Include include{file.generic_string(), target};
    if (known.contains(include)) {
      excused.insert(include);
      continue;
    }
    scan.problems.push_back(include.first + " includes " + target + ", a layer above " + own);
  }
}

// Every quoted include of every source under the layer folders of root,
// checked against the order; known holds the includes let through.
Scan scan_layers(const fs::path& root, const std::set<Include>& known) {
  Scan scan;
  std::set<Include> excused;
  for (const std::string& layer : kLayerOrder) {
    if (!fs::is_directory(root / layer)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / layer)) {
      if (!entry.is_regular_file() || !is_source(entry.path())) continue;
      ++scan.files_per_layer[layer];
      check_file(root, entry.path().lexically_relative(root), known, excused, scan);
    }
  }
  for (const Include& include : known) {
    if (!excused.contains(include))
      scan.problems.push_back("known exception no longer needed: " + include.first + " -> " +
                              include.second);
  }
  std::sort(scan.problems.begin(), scan.problems.end());
  return scan;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

class LayerOrder : public TempFolder {};

TEST_F(LayerOrder, NoSourceIncludesALayerAboveItsOwn) {
  const Scan scan = scan_layers(TESSEL_SOURCE_DIR, kKnownExceptions);
  for (const std::string& layer : kLayerOrder) {
    EXPECT_GT(scan.files_per_layer.count(layer) ? scan.files_per_layer.at(layer) : 0, 0)
        << "no sources found under " << layer << "/";
  }
  EXPECT_TRUE(scan.problems.empty()) << joined(scan.problems);
}

// The checker itself, on a small tree: what it must refuse and what it must
// let through, plain platform includes and nested folders among them.
TEST_F(LayerOrder, TheCheckerTellsUphillIncludesFromAllowedOnes) {
  const std::map<std::string, std::string> files = {
      {"platform/MacTypes.h", ""},
      {"platform/headless/Backend.cpp", "#include \"MacTypes.h\"\n#include \"Backend.h\"\n"},
      {"platform/headless/Backend.h", ""},
      {"support/Memory.h", "#include \"MacTypes.h\"\n"},
      {"support/Memory.cpp", "#include \"support/Memory.h\"\n  #  include \"plugin/Driver.h\"\n"},
      {"records/Codes.h", ""},
      {"selection/Dialog.h",
       "// #include \"host/Main.h\"\n#include \"records/Codes.h\"\n#include "
       "\"../plugin/Driver.h\"\n"},
      {"formats/Format.cpp", "#include \"records/Codes.h\"\n"},
      {"plugin/Driver.h", "#include \"selection/Dialog.h\"\n#include <host/Main.h>\n"},
      {"host/Main.h", "#include \"headless/Backend.h\"\n#include \"tools/Writer.h\"\n"},
  };
  for (const auto& [name, text] : files) {
    fs::create_directories((root_ / name).parent_path());
    std::ofstream(root_ / name) << text;
  }
  const std::set<Include> known = {{"formats/Format.cpp", "records/Codes.h"},
                                   {"about/Gone.cpp", "plugin/Driver.h"}};

  const Scan scan = scan_layers(root_, known);

  EXPECT_EQ(scan.problems,
            (std::vector<std::string>{
                "host/Main.h includes \"tools/Writer.h\", which lies in no layer",
                "known exception no longer needed: about/Gone.cpp -> plugin/Driver.h",
                "selection/Dialog.h includes plugin/Driver.h, a layer above selection",
                "support/Memory.cpp includes plugin/Driver.h, a layer above support",
            }));
  EXPECT_EQ(scan.files_per_layer.at("platform"), 3);
}

}  // namespace
}  // namespace tessel::testing
