// A resource fork of a test's own, opened on top of the chain so that the
// drawing utilities find the resources the test puts there.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "MacMemory.h"
#include "Resources.h"
#include "TempFolder.h"

namespace tessel::testing {

class TestFork : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    write_file("resources", {});
    FSSpec spec = spec_of("resources");
    FSpCreateResFile(&spec, FourCC("TSSL"), FourCC("rsrc"), 0);
    ASSERT_EQ(ResError(), 0);
    fork_ = FSpOpenResFile(&spec, fsRdWrPerm);
    ASSERT_GT(fork_, 0);
  }
  void TearDown() override {
    if (fork_ > 0) CloseResFile(fork_);
    TempFolder::TearDown();
  }

  void add(ResType type, SInt16 id, const std::vector<UInt8>& bytes) {
    Handle h = NewHandle(Size(bytes.size()));
    std::memcpy(*h, bytes.data(), bytes.size());
    AddResource(h, type, id, nullptr);
    ASSERT_EQ(ResError(), 0);
  }

  // A "STR#": a count, then the length-prefixed texts.
  void add_strings(SInt16 id, const std::vector<std::string>& texts) {
    std::vector<UInt8> bytes{0, UInt8(texts.size())};
    for (const std::string& text : texts) {
      bytes.push_back(UInt8(text.size()));
      bytes.insert(bytes.end(), text.begin(), text.end());
    }
    add(FourCC("STR#"), id, bytes);
  }

 private:
  SInt16 fork_ = 0;
};

inline std::string text_of(ConstStringPtr s) {
  return std::string(reinterpret_cast<const char*>(s + 1), s[0]);
}

}  // namespace tessel::testing
