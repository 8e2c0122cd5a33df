// What the plug-in's tests share: a resource fork with known message texts
// in the resource chain, the alert log, and an in-process host that owns the
// records, the callbacks and a document in memory.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "Files.h"
#include "HostCallbacks.h"
#include "MacMemory.h"
#include "References.h"
#include "ResourceFork.h"
#include "Resources.h"
#include "StandardFile.h"
#include "TagFields.h"
#include "TempFolder.h"
#include "platform/DialogTestSupport.h"
#include "plugin/TagTheDocument.h"
#include "plugin/TesselAcquire.h"
#include "plugin/TesselExport.h"
#include "records/HostRecords.h"

namespace tessel::testing {

// Message i of string list 16005 reads "message i [^0|^1]", so an alert line
// shows which message was picked and what replaced its placeholders.
inline std::string message_text(int index) {
  return "message " + std::to_string(index) + " [^0|^1]";
}

// The line alert 16100 leaves in the log: its static text is "^0 (code ^1)".
inline std::string alert_line(const std::string& message, int code) {
  return message + " (code " + std::to_string(code) + ")";
}

inline std::vector<UInt8> string_list(const std::vector<std::string>& texts) {
  std::vector<UInt8> bytes;
  append_big16(bytes, UInt16(texts.size()));
  for (const std::string& text : texts) {
    bytes.push_back(UInt8(text.size()));
    bytes.insert(bytes.end(), text.begin(), text.end());
  }
  return bytes;
}

// An item list with an OK button and one static text.
inline std::vector<UInt8> message_items(const std::string& text) {
  return item_list(
      {{ctrlItem + btnCtrl, {}, text_bytes("OK")}, {statText | itemDisable, {}, text_bytes(text)}});
}

inline platform::resources::ResourceFork message_fork() {
  std::vector<std::string> messages;
  for (int i = 1; i <= 35; ++i) messages.push_back(message_text(i));
  auto alert = [](SInt16 items) { return alert_template(Rect{}, items, 0x5555); };
  return {0,
          {{FourCC("STR#"), 16005, 0, "", string_list(messages)},
           {FourCC("STR#"), kHostCallbackStrings, 0, "",
            string_list({"no buffer callbacks", "no resource callbacks"})},
           {FourCC("ALRT"), 16100, 0, "", alert(16100)},
           {FourCC("DITL"), 16100, 0, "", message_items("^0 (code ^1)")},
           {FourCC("ALRT"), 16101, 0, "", alert(16101)},
           {FourCC("DITL"), 16101, 0, "", message_items("^0")}}};
}

// A scratch folder with the test messages at the bottom of the resource
// chain and alerts logged to a file of the folder.
class PluginTest : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    auto fork = platform::resources::serialize_fork(message_fork());
    ASSERT_TRUE(fork.has_value());
    std::filesystem::path file = write_file("messages.rsrc", {});
    ASSERT_EQ(platform::appledouble::write_resource_fork(file, *fork), 0);
    FSSpec spec = spec_of("messages.rsrc");
    messages_ = FSpOpenResFile(&spec, fsRdPerm);
    ASSERT_GT(messages_, 0);
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
    unsetenv(platform::standard_file::kSelectFileVariable);
    platform::standard_file::preselect({});
  }

  void TearDown() override {
    if (messages_ > 0) CloseResFile(messages_);
    TempFolder::TearDown();
  }

  std::vector<std::string> alerts() const {
    std::ifstream in(path("alerts.log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

 private:
  SInt16 messages_ = 0;
};

// A document in memory: samples interleaved, row after row.
struct FakeDocument {
  SInt16 mode = 3;
  SInt32 rows = 0;
  SInt32 columns = 0;
  SInt16 planes = 3;
  std::vector<UInt8> pixels;

  static UInt8 sample(SInt32 row, SInt32 column, SInt32 plane) {
    return UInt8(row * 7 + column * 13 + plane * 29 + 5);
  }
  void fill(SInt32 height, SInt32 width, SInt16 channels) {
    rows = height, columns = width, planes = channels;
    pixels.clear();
    for (SInt32 r = 0; r < rows; ++r)
      for (SInt32 c = 0; c < columns; ++c)
        for (SInt32 p = 0; p < planes; ++p) pixels.push_back(sample(r, c, p));
  }
};

// What both fake hosts answer alike: the abort test, the progress report,
// the document's "part" resources, and the tables of their buffer and
// resource callbacks. The callbacks have no context argument, so the host
// that runs a call is the current one: the one made last and not yet gone.
template <class Host>
class FakeHostCallbacks {
 public:
  SInt32 abortAtCall = 0;  // testAbort answers 1 from this call on; 0 never
  SInt32 abortCalls = 0;
  SInt32 lastDone = -1, lastTotal = -1;
  std::vector<Handle> tags;  // the document's "part" resources

  std::vector<UInt8> tag_bytes(std::size_t index = 0) const {
    const UInt8* data = reinterpret_cast<const UInt8*>(*tags.at(index));
    return {data, data + GetHandleSize(tags[index])};
  }
  void add_tag(const std::vector<UInt8>& bytes) {
    Handle tag = NewHandle(Size(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<UInt8*>(*tag));
    tags.push_back(tag);
  }

 protected:
  FakeHostCallbacks() { current() = static_cast<Host*>(this); }
  ~FakeHostCallbacks() {
    current() = nullptr;
    for (Handle tag : tags) DisposeHandle(tag);
  }
  FakeHostCallbacks(const FakeHostCallbacks&) = delete;
  FakeHostCallbacks& operator=(const FakeHostCallbacks&) = delete;

  static Host*& current() {
    static Host* host = nullptr;
    return host;
  }
  static UInt8 testAbort() {
    Host* host = current();
    ++host->abortCalls;
    return host->abortAtCall > 0 && host->abortCalls >= host->abortAtCall ? 1 : 0;
  }
  static void updateProgress(SInt32 done, SInt32 total) {
    current()->lastDone = done;
    current()->lastTotal = total;
  }
  static HostBufferProcs& bufferProcs() {
    static HostBufferProcs procs{Host::allocate, Host::lock, Host::release};
    return procs;
  }
  static HostResourceProcs& resourceProcs() {
    static HostResourceProcs procs{count, get, remove, add};
    return procs;
  }

 private:
  static SInt16 count(ResType type) {
    return type == FourCC("part") ? SInt16(current()->tags.size()) : SInt16(0);
  }
  static Handle get(ResType type, SInt16 index) {
    auto& tags = current()->tags;
    bool found = type == FourCC("part") && index >= 1 && std::size_t(index) <= tags.size();
    return found ? tags[std::size_t(index - 1)] : nullptr;
  }
  static void remove(ResType type, SInt16 index) {
    auto& tags = current()->tags;
    if (type != FourCC("part") || index < 1 || std::size_t(index) > tags.size()) return;
    DisposeHandle(tags[std::size_t(index - 1)]);
    tags.erase(tags.begin() + (index - 1));
  }
  static OSErr add(ResType type, Handle data) {
    if (type != FourCC("part")) return -50;
    const UInt8* bytes = reinterpret_cast<const UInt8*>(*data);
    current()->add_tag({bytes, bytes + GetHandleSize(data)});
    return 0;
  }
};

// The host side of an export run.
class FakeExportHost : public FakeHostCallbacks<FakeExportHost> {
  friend class FakeHostCallbacks<FakeExportHost>;

 public:
  ExportParams params{};
  PluginDataSlot slot = 0;
  FakeDocument document;
  std::vector<VRect> requests;
  std::vector<std::pair<SInt16, SInt16>> requestedPlanes;

  FakeExportHost() {
    Set(params, kExportBigDocuments, kBigDocumentsVersion);
    Set(params, kExportMemoryLimit, 1 << 20);
    Set(params, kExportTestAbort, NewProcReference(&testAbort));
    Set(params, kExportUpdateProgress, NewProcReference(&updateProgress));
    Set(params, kExportBufferProcs, NewReference(&bufferProcs()));
    Set(params, kExportResourceProcs, NewReference(&resourceProcs()));
    Set(params, kExportModifiedFlag, 1);
  }

  // Tags the document with rect of file, an image of width x height, and
  // gives the document the rectangle's size.
  OSErr tag(const FSSpec& file, VRect rect, SInt16 planes = 3, SInt32 width = 64,
            SInt32 height = 48) {
    SourceImage image{};
    image.fileSpec = file;
    image.selection = rect;
    image.width = width;
    image.height = height;
    document.fill(rect.bottom - rect.top, rect.right - rect.left, planes);
    return TagTheDocument(&resourceProcs(), &image);
  }

  void describe_document() {
    Set(params, kExportImageMode, document.mode);
    Set(params, kExportDocumentRows, document.rows);
    Set(params, kExportDocumentColumns, document.columns);
    Set(params, kExportImagePlanes, document.planes);
  }

  SInt16 call(SInt16 selector) {
    SInt16 result = -32768;
    ts_export_main(selector, &params, &slot, &result);
    return result;
  }

  // Prepare, start, a continue per requested band, finish; the first nonzero
  // result, or 0.
  SInt16 run() {
    describe_document();
    SInt16 result = call(kSelectorPrepare);
    if (result != 0) return result;
    result = call(kSelectorStart);
    while (result == 0 && !request_empty()) result = deliver_band();
    SInt16 finish = call(kSelectorFinish);
    return result != 0 ? result : finish;
  }

  bool request_empty() const {
    VRect r = Get(params, kExportRequestedRect);
    return r.top == 0 && r.left == 0 && r.bottom == 0 && r.right == 0;
  }

 private:
  // Hands over the requested rows and planes, each row padded by 3 bytes so
  // that the row step matters, and runs one continue.
  SInt16 deliver_band() {
    VRect r = Get(params, kExportRequestedRect);
    SInt16 first = Get(params, kExportFirstPlane), last = Get(params, kExportLastPlane);
    requests.push_back(r);
    requestedPlanes.emplace_back(first, last);
    SInt32 planes = last - first + 1;
    SInt32 rowStep = (r.right - r.left) * planes + 3;
    std::vector<UInt8> band(std::size_t(rowStep) * (r.bottom - r.top), 0xEE);
    for (SInt32 row = r.top; row < r.bottom; ++row)
      for (SInt32 col = r.left; col < r.right; ++col)
        for (SInt32 p = 0; p < planes; ++p)
          band[std::size_t((row - r.top) * rowStep + (col - r.left) * planes + p)] =
              document.pixels[std::size_t((row * document.columns + col) * document.planes + first +
                                          p)];
    Set(params, kExportDataPointer, NewReference(band.data()));
    Set(params, kExportRowStep, rowStep);
    SInt16 result = call(kSelectorContinue);
    DisposeReference(Get(params, kExportDataPointer));
    Set(params, kExportDataPointer, 0u);
    return result;
  }

  static OSErr allocate(SInt32, SInt16, SInt16, SInt16, SInt16*, BufferID*) { return -108; }
  static Ptr lock(BufferID, Boolean) { return nullptr; }
  static void release(BufferID) {}
};

// The host side of an acquire run: it lends one strip buffer of the rows it
// chooses, copies every delivered strip into a document of its own, and keeps
// the document's "part" resources.
class FakeAcquireHost : public FakeHostCallbacks<FakeAcquireHost> {
  friend class FakeHostCallbacks<FakeAcquireHost>;

 public:
  struct Strip {
    VRect rect;
    SInt16 firstPlane, lastPlane, columnStep;
    SInt32 rowStep, planeStep;
  };

  AcquireParams params{};
  PluginDataSlot slot = 0;
  SInt16 grantRows = 4;                // rows lent, at most what the plug-in asks for
  std::vector<SInt32> bufferRequests;  // row bytes of each request
  SInt16 mostRowsAsked = 0;
  std::vector<Strip> strips;
  std::vector<UInt8> pixels;  // planes interleaved, rows × columns × planes
  bool bufferLent = false;
  OSErr bufferAnswer = 0;  // anything else: the buffer is refused with it

  FakeAcquireHost() {
    Set(params, kAcquireBigDocuments, kBigDocumentsVersion);
    Set(params, kAcquireMemoryLimit, 1 << 20);
    Set(params, kAcquireTestAbort, NewProcReference(&testAbort));
    Set(params, kAcquireUpdateProgress, NewProcReference(&updateProgress));
    Set(params, kAcquireBufferProcs, NewReference(&bufferProcs()));
    Set(params, kAcquireResourceProcs, NewReference(&resourceProcs()));
  }

  SInt16 call(SInt16 selector) {
    SInt16 result = -32768;
    ts_acquire_main(selector, &params, &slot, &result);
    return result;
  }

  AcquireGlobals* globals() const { return ReferencePointerAs<AcquireGlobals>(slot); }
  SInt32 rows() const { return Get(params, kAcquireDocumentRows); }
  SInt32 columns() const { return Get(params, kAcquireDocumentColumns); }
  SInt16 planes() const { return Get(params, kAcquireImagePlanes); }

  // Continue until the plug-in reports the end with a null dataPointer,
  // taking each strip in; the first nonzero result, or 0.
  SInt16 take_strips() {
    pixels.assign(std::size_t(rows()) * columns() * planes(), 0);
    for (;;) {
      Set(params, kAcquireDataPointer, 0xFFFFFFFFu);
      SInt16 result = call(kSelectorContinue);
      if (result != 0) return result;
      if (Get(params, kAcquireDataPointer) == 0) return 0;
      take_strip();
    }
  }

  // Prepare, start, the strips, finish; the first nonzero result, or 0.
  SInt16 run() {
    SInt16 result = call(kSelectorPrepare);
    if (result != 0) return result;
    result = call(kSelectorStart);
    if (result == 0) result = take_strips();
    SInt16 finish = call(kSelectorFinish);
    return result != 0 ? result : finish;
  }

 private:
  void take_strip() {
    Strip strip{Get(params, kAcquireDeliveredRect), Get(params, kAcquireFirstPlane),
                Get(params, kAcquireLastPlane),     Get(params, kAcquireColumnStep),
                Get(params, kAcquireRowStep),       Get(params, kAcquirePlaneStep)};
    strips.push_back(strip);
    const auto* data =
        static_cast<const UInt8*>(ReferencePointer(Get(params, kAcquireDataPointer)));
    ASSERT_NE(data, nullptr);
    const SInt32 planeCount = planes();
    for (SInt32 row = strip.rect.top; row < strip.rect.bottom; ++row)
      for (SInt32 col = strip.rect.left; col < strip.rect.right; ++col)
        for (SInt32 p = strip.firstPlane; p <= strip.lastPlane; ++p)
          pixels[std::size_t((row * columns() + col) * planeCount + p)] =
              data[(row - strip.rect.top) * strip.rowStep +
                   (col - strip.rect.left) * strip.columnStep +
                   (p - strip.firstPlane) * strip.planeStep];
  }

  static OSErr allocate(SInt32 rowBytes, SInt16 minRows, SInt16 maxRows, SInt16, SInt16* granted,
                        BufferID* id) {
    FakeAcquireHost* host = current();
    host->bufferRequests.push_back(rowBytes);
    host->mostRowsAsked = maxRows;
    if (host->bufferAnswer != 0) return host->bufferAnswer;
    *granted = std::max(minRows, std::min(host->grantRows, maxRows));
    host->buffer_.assign(std::size_t(rowBytes) * std::size_t(*granted), 0xEE);
    host->bufferLent = true;
    *id = 77;
    return 0;
  }
  static Ptr lock(BufferID id, Boolean) {
    return id == 77 ? reinterpret_cast<Ptr>(current()->buffer_.data()) : nullptr;
  }
  static void release(BufferID id) {
    if (id == 77) current()->bufferLent = false;
  }

  std::vector<UInt8> buffer_;
};

}  // namespace tessel::testing
