// The host's reader of documents: the TIFF file through libtiff, its
// image-resource block, and the sidecar beside it. The input is the sidecar,
// then the TIFF file (split_input).
#include <tiffio.h>

#include "FuzzSupport.h"
#include "host/Document.h"
#include "host/DocumentSidecar.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  // Libtiff's complaints about every damaged input would drown the fuzzer's output.
  static const bool quiet = (TIFFSetErrorHandler(nullptr), TIFFSetWarningHandler(nullptr), true);
  (void)quiet;
  tessel::fuzz::ZoneBalance balance;
  auto parts = tessel::fuzz::split_input({data, size});
  auto document = tessel::fuzz::write_scratch("doc.tif", parts.second);
  tessel::fuzz::write_scratch(tessel::host::sidecar_path(document).filename().string(),
                              parts.first);
  (void)tessel::host::read_document(document);
  return 0;
}
