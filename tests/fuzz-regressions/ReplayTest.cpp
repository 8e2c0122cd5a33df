// Every input kept in tests/fuzz-regressions/TARGET/ goes once more through
// the code of fuzz target TARGET: inputs that once crashed a reader, leaked
// or tripped a sanitizer, and hostile files made by hand. A regression shows
// as a crash or a sanitizer report of this test.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The fuzz targets' entry points, renamed when built into this test.
extern "C" {
int fuzz_tiff(const std::uint8_t* data, std::size_t size);
int fuzz_scitex(const std::uint8_t* data, std::size_t size);
int fuzz_native(const std::uint8_t* data, std::size_t size);
int fuzz_image_resources(const std::uint8_t* data, std::size_t size);
int fuzz_resource_fork(const std::uint8_t* data, std::size_t size);
int fuzz_appledouble(const std::uint8_t* data, std::size_t size);
int fuzz_picture(const std::uint8_t* data, std::size_t size);
int fuzz_document(const std::uint8_t* data, std::size_t size);
int fuzz_preferences(const std::uint8_t* data, std::size_t size);
}

namespace {

using Target = int (*)(const std::uint8_t*, std::size_t);

struct Named {
  const char* folder;
  Target target;
};

constexpr Named kTargets[] = {
    {"tiff", fuzz_tiff},
    {"scitex", fuzz_scitex},
    {"native", fuzz_native},
    {"image_resources", fuzz_image_resources},
    {"resource_fork", fuzz_resource_fork},
    {"appledouble", fuzz_appledouble},
    {"picture", fuzz_picture},
    {"document", fuzz_document},
    {"preferences", fuzz_preferences},
};

std::vector<std::filesystem::path> inputs_of(const char* folder) {
  std::vector<std::filesystem::path> files;
  std::filesystem::path root = std::filesystem::path(TESSEL_FUZZ_REGRESSIONS) / folder;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(root, ignored)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return files;
}

class FuzzRegressions : public testing::TestWithParam<Named> {};

TEST_P(FuzzRegressions, KeptInputsPassThroughTheirReader) {
  const auto files = inputs_of(GetParam().folder);
  for (const auto& file : files) {
    SCOPED_TRACE(file.string());
    std::ifstream in(file, std::ios::binary);
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    EXPECT_EQ(GetParam().target(bytes.data(), bytes.size()), 0);
  }
  RecordProperty("inputs", int(files.size()));
}

INSTANTIATE_TEST_SUITE_P(EachTarget, FuzzRegressions, testing::ValuesIn(kTargets),
                         [](const auto& named) { return std::string(named.param.folder); });

}  // namespace
