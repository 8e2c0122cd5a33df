// What the dialog tests share: templates and item lists built as bytes, a
// resource file holding them at the top of the chain, and pixel counting.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "Dialogs.h"
#include "Events.h"
#include "ResourceFork.h"
#include "Resources.h"
#include "TempFolder.h"

namespace tessel::testing {

using platform::append_big16;
using platform::append_big32;

struct DialogItemSpec {
  SInt16 kind;
  Rect box;
  std::vector<UInt8> data;
};

inline std::vector<UInt8> text_bytes(const std::string& text) {
  return std::vector<UInt8>(text.begin(), text.end());
}

inline void append_rect(std::vector<UInt8>& out, const Rect& r) {
  for (SInt16 side : {r.top, r.left, r.bottom, r.right}) append_big16(out, UInt16(side));
}

inline std::vector<UInt8> item_list(const std::vector<DialogItemSpec>& items) {
  std::vector<UInt8> out;
  append_big16(out, UInt16(items.size() - 1));
  for (const DialogItemSpec& item : items) {
    append_big32(out, 0);
    append_rect(out, item.box);
    out.push_back(UInt8(item.kind));
    out.push_back(UInt8(item.data.size()));
    out.insert(out.end(), item.data.begin(), item.data.end());
    if (item.data.size() % 2 != 0) out.push_back(0);
  }
  return out;
}

inline std::vector<UInt8> dialog_template(const Rect& bounds, SInt16 itemsID, bool visible,
                                          UInt32 refCon, const std::string& title = "",
                                          std::optional<UInt16> placement = std::nullopt) {
  std::vector<UInt8> out;
  append_rect(out, bounds);
  append_big16(out, dBoxProc);
  out.insert(out.end(), {UInt8(visible), 0, 0, 0});
  append_big32(out, refCon);
  append_big16(out, UInt16(itemsID));
  out.push_back(UInt8(title.size()));
  out.insert(out.end(), title.begin(), title.end());
  if (placement) {
    if (out.size() % 2 != 0) out.push_back(0);
    append_big16(out, *placement);
  }
  return out;
}

inline std::vector<UInt8> alert_template(const Rect& bounds, SInt16 itemsID, UInt16 stages) {
  std::vector<UInt8> out;
  append_rect(out, bounds);
  append_big16(out, UInt16(itemsID));
  append_big16(out, stages);
  return out;
}

// A format 1 "snd ": one sampled synthesizer, one buffer command pointing
// at a standard header of `count` samples.
inline std::vector<UInt8> sampled_sound(UInt32 rate, std::size_t count) {
  std::vector<UInt8> out;
  append_big16(out, 1);       // format
  append_big16(out, 1);       // one synthesizer
  append_big16(out, 5);       // sampled
  append_big32(out, 0x80);    // mono
  append_big16(out, 1);       // one command
  append_big16(out, 0x8051);  // buffer command, with an offset
  append_big16(out, 0);
  append_big32(out, 20);  // the header follows
  append_big32(out, 0);   // samples follow the header
  append_big32(out, UInt32(count));
  append_big32(out, rate << 16);
  append_big32(out, 0);
  append_big32(out, 0);
  out.push_back(0);   // standard encoding
  out.push_back(60);  // middle C
  for (std::size_t i = 0; i < count; ++i) out.push_back(UInt8(128 + (i % 2 == 0 ? 40 : -40)));
  return out;
}

struct DialogItem {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
};
inline DialogItem item_of(DialogPtr dialog, SInt16 number) {
  DialogItem item;
  GetDItem(dialog, number, &item.kind, &item.handle, &item.box);
  return item;
}

// A resource file opened for reading on top of the chain; -1 when it cannot be.
inline SInt16 open_resource_file(const std::filesystem::path& file) {
  auto spec = platform::files::spec_from_path(file);
  return spec ? FSpOpenResFile(&*spec, fsRdPerm) : SInt16(-1);
}

inline int dark_pixels(const GrafPort& port, const Rect& r) {
  int dark = 0;
  for (int v = r.top; v < r.bottom; ++v) {
    for (int h = r.left; h < r.right; ++h) {
      if (platform::quickdraw::pixel(port, h, v) < 0x808080) ++dark;
    }
  }
  return dark;
}

// A scratch folder whose resource file, built by add() and opened by
// open_resources(), sits at the top of the resource chain, above a compiled
// one the test may open.
class DialogTest : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    platform::events::reset();
  }

  void TearDown() override {
    for (WindowPtr window : platform::windows::all()) platform::windows::close(*window);
    if (file_ > 0) CloseResFile(file_);
    close_compiled();
    TempFolder::TearDown();
  }

  void open_compiled(const std::filesystem::path& file) {
    ASSERT_GT(compiled_ = open_resource_file(file), 0) << file;
  }
  void close_compiled() {
    if (compiled_ > 0) CloseResFile(compiled_);
    compiled_ = 0;
  }

  void add(platform::resources::Resource resource) { fork_.resources.push_back(resource); }

  void open_resources() {
    if (file_ > 0) CloseResFile(file_);
    auto bytes = platform::resources::serialize_fork(fork_);
    ASSERT_TRUE(bytes.has_value());
    std::filesystem::path file = write_file("dialogs.rsrc", {});
    ASSERT_EQ(platform::appledouble::write_resource_fork(file, *bytes), 0);
    FSSpec spec = spec_of("dialogs.rsrc");
    file_ = FSpOpenResFile(&spec, fsRdPerm);
    ASSERT_GT(file_, 0);
  }

  SInt16 compiled_ = 0;

 private:
  platform::resources::ResourceFork fork_;
  SInt16 file_ = 0;
};

}  // namespace tessel::testing
