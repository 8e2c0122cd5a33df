// Compiling small sources in tests, and finding the bytes of what came out.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Compiler.h"

namespace tessel::testing {

// The data of the one resource that source defines; fails the test when the
// source does not compile.
inline std::vector<UInt8> compiled_data(const std::string& source,
                                        const std::filesystem::path& file = "test.r") {
  rescomp::CompileResult result = rescomp::compile_text(source, file);
  EXPECT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(result.resources.size(), 1u);
  return result.resources.empty() ? std::vector<UInt8>{} : result.resources[0].data;
}

// The message compiling source gives; empty when it compiles.
inline std::string compile_error(const std::string& source) {
  return rescomp::compile_text(source, "dir/test.r").error;
}

}  // namespace tessel::testing
