// The image-resource block, read by the plug-in from a file (as TIFF tag
// 34377 hands it on) and decoded by the host from a document's tag.
#include "FuzzSupport.h"
#include "MacErrors.h"
#include "formats/ImageResources.h"
#include "host/ImageResourceBlock.h"
#include "support/FileUtilities.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  tessel::fuzz::ZoneBalance balance;
  tessel::fuzz::write_scratch("block", {data, size});
  FSSpec spec = tessel::fuzz::scratch_spec("block");
  SInt16 file = 0;
  if (OpenFile(&spec, &file) == noErr) {
    ImageResourceList list = nullptr;
    ParseImageResources(file, SInt32(size), &list);
    DisposeImageResources(&list);
    CloseFile(file);
  }
  auto entries = tessel::host::decode_block({data, size});
  if (entries) {
    // What the host writes back must read back the same.
    auto again = tessel::host::decode_block(tessel::host::encode_block(*entries));
    if (!again || again->size() != entries->size()) abort();
  }
  return 0;
}
