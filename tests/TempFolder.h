// A scratch folder per test, with the catalog and the preferences folder
// pointed inside it so tests never touch the user's own.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Catalog.h"
#include "Files.h"

namespace tessel::testing {

// A file name of exactly `bytes` bytes of UTF-8: `character` repeated, then
// ASCII letters, then the suffix, so a cut at a fixed byte count can fall
// inside a character.
inline std::string utf8_name(std::size_t bytes, const std::string& character = "\u753b",
                             const std::string& suffix = ".tif") {
  std::string name;
  while (name.size() + character.size() + suffix.size() + 1 <= bytes) name += character;
  name.append(bytes - name.size() - suffix.size(), 'a');
  return name + suffix;
}

class TempFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tessel-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = std::filesystem::canonical(pattern);
    setenv("XDG_DATA_HOME", (root_ / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
    platform::catalog::forget();
  }

  void TearDown() override {
    // Tests lock files and folders; give the permissions back so all can go.
    std::error_code ignored;
    for (auto& entry : std::filesystem::recursive_directory_iterator(root_, ignored)) {
      chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644);
    }
    chmod(root_.c_str(), 0755);
    std::filesystem::remove_all(root_, ignored);
  }

  std::filesystem::path path(const std::string& name) const { return root_ / name; }

  std::filesystem::path write_file(const std::string& name, const std::vector<UInt8>& bytes) {
    std::filesystem::path file = path(name);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return file;
  }

  static std::vector<UInt8> read_file(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::vector<UInt8>(std::istreambuf_iterator<char>(in), {});
  }

  FSSpec spec_of(const std::string& name) const {
    auto spec = platform::files::spec_from_path(path(name));
    EXPECT_TRUE(spec.has_value()) << name;
    return spec ? *spec : FSSpec{};
  }

  std::filesystem::path root_;
};

}  // namespace tessel::testing
