// TIFF sample files (TIFF 6.0, or BigTIFF with 8-byte offsets): a header,
// one directory, its out-of-line values and the pixel chunks. Values start on word boundaries as
// section 2 asks, and chunks do too, so every offset in the file is even. The whole layout is
// computed before the first byte goes out, so the pixels can be streamed row by row.
#include <algorithm>

#include "MacErrors.h"
#include "tools/samples/FileSink.h"
#include "tools/samples/SampleImages.h"
#include "tools/samples/SampleSupport.h"

namespace tessel::samples {
namespace {

constexpr UInt16 kImageWidth = 256, kImageLength = 257, kBitsPerSample = 258, kCompression = 259,
                 kPhotometric = 262, kFillOrder = 266, kStripOffsets = 273, kSamplesPerPixel = 277,
                 kRowsPerStrip = 278, kStripByteCounts = 279, kXResolution = 282,
                 kYResolution = 283, kPlanarConfiguration = 284, kResolutionUnit = 296,
                 kPredictor = 317, kColorMap = 320, kTileWidth = 322, kTileLength = 323,
                 kTileOffsets = 324, kTileByteCounts = 325, kDotRange = 336, kExtraSamples = 338,
                 kImageResources = 34377;

constexpr UInt64 evenUp(UInt64 value) { return value + (value & 1); }

// Bytes one value occupies in the stored field (RATIONAL: each half).
UInt32 unitBytes(UInt16 type) {
  switch (type) {
    case tiff_type::kShort:
    case tiff_type::kSShort: return 2;
    case tiff_type::kLong:
    case tiff_type::kSLong:
    case tiff_type::kFloat:
    case tiff_type::kRational:
    case tiff_type::kSRational: return 4;
    case tiff_type::kDouble:
    case tiff_type::kLong8:
    case tiff_type::kSLong8:
    case tiff_type::kIFD8: return 8;
    default: return 1;
  }
}

// The widths that differ between a classic TIFF and a BigTIFF.
struct Form {
  UInt16 version;
  UInt32 headerBytes;
  UInt32 countBytes;  // the directory's entry count
  UInt32 entryBytes;
  UInt32 offsetBytes;  // an offset, an entry's count and its value field

  UInt64 tableBytes(std::size_t entries) const {
    return countBytes + UInt64(entryBytes) * entries + offsetBytes;
  }
};

constexpr Form kClassic{42, 8, 2, 12, 4};
constexpr Form kBig{43, 16, 8, 20, 8};

struct Entry {
  TiffField field;
  UInt64 count = 0;
  UInt64 valueOffset = 0;  // where the values live when they do not fit the entry
  bool standard = false;   // made from the options, not given as an extra field

  UInt64 storedBytes() const { return count * tiff_type_size(field.type); }
  bool outOfLine(const Form& form) const { return storedBytes() > form.offsetBytes; }
};

Entry makeEntry(TiffField field, bool standard) {
  Entry entry;
  entry.standard = standard;
  const UInt32 perValue = tiff_type_size(field.type) / unitBytes(field.type);
  entry.count = field.count.value_or(UInt64(field.values.size() / perValue));
  entry.field = std::move(field);
  return entry;
}

// Rows, tiles and planes of the pixel data, in the order the file stores them:
// plane after plane, each chunk row by row.
struct Geometry {
  UInt32 planes = 1;           // separately stored planes
  UInt32 samplesPerPixel = 1;  // within one stored plane
  UInt32 chunkColumns = 0;     // image width for strips, tile width for tiles
  UInt32 chunkRows = 0;
  UInt32 chunksAcross = 1;
  UInt32 chunksDown = 1;
  bool tiled = false;

  UInt64 rowBytes(UInt32 columns, UInt16 bits) const {
    return (UInt64(columns) * samplesPerPixel * bits + 7) / 8;
  }
};

Geometry makeGeometry(const TiffOptions& options) {
  Geometry g;
  const bool separate = options.planarConfiguration == 2;
  g.planes = separate ? options.samplesPerPixel : 1;
  g.samplesPerPixel = separate ? 1 : options.samplesPerPixel;
  if (options.tiles) {
    g.tiled = true;
    g.chunkColumns = options.tiles->width;
    g.chunkRows = options.tiles->length;
    g.chunksAcross = (options.width + g.chunkColumns - 1) / g.chunkColumns;
  } else {
    g.chunkColumns = options.width;
    g.chunkRows =
        options.rowsPerStrip == 0 ? options.height : std::min(options.rowsPerStrip, options.height);
  }
  g.chunksDown = (options.height + g.chunkRows - 1) / g.chunkRows;
  return g;
}

// Byte counts of the chunks in file order.
std::vector<UInt64> chunkSizes(const Geometry& g, const TiffOptions& options) {
  std::vector<UInt64> sizes;
  const UInt64 rowBytes = g.rowBytes(g.chunkColumns, options.bitsPerSample);
  for (UInt32 plane = 0; plane < g.planes; ++plane) {
    for (UInt32 down = 0; down < g.chunksDown; ++down) {
      const UInt32 rows =
          g.tiled ? g.chunkRows : std::min(g.chunkRows, options.height - down * g.chunkRows);
      for (UInt32 across = 0; across < g.chunksAcross; ++across) sizes.push_back(rows * rowBytes);
    }
  }
  return sizes;
}

TiffField shortField(UInt16 tag, std::vector<UInt64> values) {
  return TiffField{tag, tiff_type::kShort, std::move(values), std::nullopt};
}

TiffField longField(UInt16 tag, std::vector<UInt64> values) {
  return TiffField{tag, tiff_type::kLong, std::move(values), std::nullopt};
}

// Offsets and byte counts: LONG8 in a BigTIFF.
TiffField tableField(UInt16 tag, std::size_t count, bool big) {
  return TiffField{tag, big ? tiff_type::kLong8 : tiff_type::kLong, std::vector<UInt64>(count),
                   std::nullopt};
}

TiffField sizeField(UInt16 tag, UInt32 value) {
  return value <= 0xFFFF ? shortField(tag, {value}) : longField(tag, {value});
}

TiffField rationalField(UInt16 tag, TiffRational value) {
  return TiffField{tag, tiff_type::kRational, {value.numerator, value.denominator}, std::nullopt};
}

// The entries the options call for; offsets are filled in once laid out.
std::vector<TiffField> standardFields(const TiffOptions& o, const Geometry& g, UInt32 chunks) {
  std::vector<TiffField> fields;
  fields.push_back(sizeField(kImageWidth, o.width));
  fields.push_back(sizeField(kImageLength, o.height));
  fields.push_back(
      shortField(kBitsPerSample, std::vector<UInt64>(o.samplesPerPixel, o.bitsPerSample)));
  fields.push_back(shortField(kCompression, {o.compression}));
  if (o.photometric) fields.push_back(shortField(kPhotometric, {*o.photometric}));
  if (o.fillOrder) fields.push_back(shortField(kFillOrder, {*o.fillOrder}));
  fields.push_back(shortField(kSamplesPerPixel, {o.samplesPerPixel}));
  if (g.tiled) {
    fields.push_back(longField(kTileWidth, {g.chunkColumns}));
    fields.push_back(longField(kTileLength, {g.chunkRows}));
    fields.push_back(tableField(kTileOffsets, chunks, o.bigTiff));
    fields.push_back(tableField(kTileByteCounts, chunks, o.bigTiff));
  } else {
    if (o.rowsPerStrip != 0) fields.push_back(longField(kRowsPerStrip, {o.rowsPerStrip}));
    fields.push_back(tableField(kStripOffsets, chunks, o.bigTiff));
    fields.push_back(tableField(kStripByteCounts, chunks, o.bigTiff));
  }
  if (o.xResolution) fields.push_back(rationalField(kXResolution, *o.xResolution));
  if (o.yResolution) fields.push_back(rationalField(kYResolution, *o.yResolution));
  fields.push_back(shortField(kPlanarConfiguration, {o.planarConfiguration}));
  if (o.resolutionUnit) fields.push_back(shortField(kResolutionUnit, {*o.resolutionUnit}));
  if (o.predictor) fields.push_back(shortField(kPredictor, {*o.predictor}));
  if (!o.colorMap.empty()) {
    fields.push_back(shortField(kColorMap, {o.colorMap.begin(), o.colorMap.end()}));
  }
  if (o.dotRange) fields.push_back(shortField(kDotRange, {o.dotRange->first, o.dotRange->second}));
  if (!o.extraSamples.empty()) {
    fields.push_back(shortField(kExtraSamples, {o.extraSamples.begin(), o.extraSamples.end()}));
  }
  if (o.imageResources) {
    const std::vector<UInt8>& block = *o.imageResources;
    fields.push_back(TiffField{kImageResources, tiff_type::kUndefined,
                               std::vector<UInt64>(block.begin(), block.end()), std::nullopt});
  }
  return fields;
}

std::vector<Entry> directoryEntries(const TiffOptions& o, const Geometry& g, UInt32 chunks) {
  std::vector<TiffField> fields = standardFields(o, g, chunks);
  std::erase_if(fields, [&](const TiffField& field) {
    auto replaced = [&](const TiffField& extra) { return extra.tag == field.tag; };
    return std::ranges::count(o.omitTags, field.tag) > 0 ||
           std::ranges::any_of(o.extraFields, replaced);
  });
  std::vector<Entry> entries;
  for (TiffField& field : fields) entries.push_back(makeEntry(std::move(field), true));
  for (const TiffField& field : o.extraFields) entries.push_back(makeEntry(field, false));
  std::ranges::stable_sort(entries, [&](const Entry& a, const Entry& b) {
    return o.descendingTags ? a.field.tag > b.field.tag : a.field.tag < b.field.tag;
  });
  return entries;
}

class Encoder {
 public:
  explicit Encoder(bool littleEndian) : little_(littleEndian) {}

  void put(std::vector<UInt8>& out, UInt64 value, UInt32 width) const {
    for (UInt32 i = 0; i < width; ++i) {
      const UInt32 shift = 8 * (little_ ? i : width - 1 - i);
      out.push_back(UInt8(value >> shift));
    }
  }

  // The field's stored bytes: count × type size, values cut or zero-padded.
  std::vector<UInt8> values(const Entry& entry) const {
    std::vector<UInt8> out;
    const UInt32 width = unitBytes(entry.field.type);
    for (UInt64 value : entry.field.values) put(out, value, width);
    out.resize(std::size_t(entry.storedBytes()), 0);
    return out;
  }

 private:
  bool little_;
};

// The directory and its values, to be stored at directoryOffset.
std::vector<UInt8> encodeDirectory(const std::vector<Entry>& entries, const Encoder& encoder,
                                   const Form& form) {
  std::vector<UInt8> out;
  encoder.put(out, entries.size(), form.countBytes);
  std::vector<UInt8> outside;
  for (const Entry& entry : entries) {
    encoder.put(out, entry.field.tag, 2);
    encoder.put(out, entry.field.type, 2);
    encoder.put(out, entry.count, form.offsetBytes);
    std::vector<UInt8> bytes = encoder.values(entry);
    if (entry.outOfLine(form)) {
      encoder.put(out, entry.valueOffset, form.offsetBytes);
      outside.insert(outside.end(), bytes.begin(), bytes.end());
      outside.resize(evenUp(outside.size()), 0);
    } else {
      bytes.resize(form.offsetBytes, 0);
      out.insert(out.end(), bytes.begin(), bytes.end());
    }
  }
  encoder.put(out, 0, form.offsetBytes);  // no next directory
  out.insert(out.end(), outside.begin(), outside.end());
  return out;
}

struct Layout {
  UInt64 directoryOffset = 0;
  UInt64 pixelOffset = 0;
  UInt64 end = 0;
  std::vector<UInt64> chunkOffsets;
};

UInt64 directoryBytes(const std::vector<Entry>& entries, const Form& form) {
  UInt64 bytes = form.tableBytes(entries.size());
  for (const Entry& entry : entries) {
    if (entry.outOfLine(form)) bytes += evenUp(entry.storedBytes());
  }
  return bytes;
}

// Places directory, values and chunks; odd chunks are followed by a pad byte.
Layout layOut(std::vector<Entry>& entries, const std::vector<UInt64>& sizes, bool pixelsFirst,
              const Form& form) {
  UInt64 pixelBytes = 0;
  for (UInt64 size : sizes) pixelBytes += evenUp(size);
  const UInt64 header = form.headerBytes;
  Layout layout;
  layout.directoryOffset = pixelsFirst ? header + pixelBytes : header;
  layout.pixelOffset = pixelsFirst ? header : header + directoryBytes(entries, form);
  layout.end = header + pixelBytes + directoryBytes(entries, form);
  UInt64 next = layout.directoryOffset + form.tableBytes(entries.size());
  for (Entry& entry : entries) {
    if (!entry.outOfLine(form)) continue;
    entry.valueOffset = next;
    next += evenUp(entry.storedBytes());
  }
  next = layout.pixelOffset;
  for (UInt64 size : sizes) {
    layout.chunkOffsets.push_back(next);
    next += evenUp(size);
  }
  return layout;
}

// Extra fields given for the chunk tables are written as given.
void fillChunkTables(std::vector<Entry>& entries, const Layout& layout,
                     const std::vector<UInt64>& sizes, bool tiled) {
  for (Entry& entry : entries) {
    if (!entry.standard) continue;
    if (entry.field.tag == (tiled ? kTileOffsets : kStripOffsets)) {
      entry.field.values = layout.chunkOffsets;
    }
    if (entry.field.tag == (tiled ? kTileByteCounts : kStripByteCounts)) {
      entry.field.values = sizes;
    }
  }
}

class PixelWriter {
 public:
  PixelWriter(FileSink& sink, const TiffOptions& options, const Geometry& geometry)
      : sink_(sink), o_(options), g_(geometry) {}

  void write() {
    for (UInt32 plane = 0; plane < g_.planes; ++plane) {
      if (g_.tiled) {
        writeTiles(SInt32(plane));
      } else {
        writeStrips(SInt32(plane));
      }
    }
  }

 private:
  // first: the first column (8 bits per sample) or byte of the image's row.
  void fillRow(std::span<UInt8> out, SInt32 row, SInt32 plane, SInt64 first) const {
    if (o_.bitsPerSample == 8) {
      fill_interleaved(out, o_.seed, row, g_.samplesPerPixel, plane, first);
    } else {
      fill_bytes(out, o_.seed, row, plane, first);
    }
  }

  void writeStrips(SInt32 plane) {
    const std::size_t rowBytes = std::size_t(g_.rowBytes(o_.width, o_.bitsPerSample));
    for (UInt32 row = 0; row < o_.height; ++row) {
      const UInt32 top = row / g_.chunkRows * g_.chunkRows;
      const bool kept = meets_box(o_.sparse, top, UInt64(top) + g_.chunkRows, 0, o_.width);
      if (kept) {
        fillRow(sink_.claim(rowBytes), SInt32(row), plane, 0);
      } else {
        sink_.skip(rowBytes);
      }
      const bool stripEnds = (row + 1) % g_.chunkRows == 0 || row + 1 == o_.height;
      const UInt32 stripRows = (row % g_.chunkRows) + 1;
      if (stripEnds && (UInt64(stripRows) * rowBytes) % 2 == 1) pad(kept);
    }
  }

  // Tile by tile, each row filled where it lies in the image's row, so that
  // a tile costs its own bytes only.
  void writeTiles(SInt32 plane) {
    const std::size_t tileRowBytes = std::size_t(g_.rowBytes(g_.chunkColumns, o_.bitsPerSample));
    const std::size_t tileBytes = tileRowBytes * g_.chunkRows;
    for (UInt32 down = 0; down < g_.chunksDown; ++down) {
      const UInt64 top = UInt64(down) * g_.chunkRows;
      for (UInt32 across = 0; across < g_.chunksAcross; ++across) {
        const UInt64 left = UInt64(across) * g_.chunkColumns;
        const bool kept =
            meets_box(o_.sparse, top, top + g_.chunkRows, left, left + g_.chunkColumns);
        if (kept) {
          writeTile(plane, top, across, tileRowBytes);
        } else {
          sink_.skip(tileBytes);
        }
        if (tileBytes % 2 == 1) pad(kept);
      }
    }
  }

  // The byte after an odd chunk: written with the chunk, a hole without it.
  void pad(bool kept) {
    if (kept) {
      sink_.append_zeros(1);
    } else {
      sink_.skip(1);
    }
  }

  void writeTile(SInt32 plane, UInt64 top, UInt32 across, std::size_t tileRowBytes) {
    const SInt64 first = o_.bitsPerSample == 8 ? SInt64(across) * g_.chunkColumns
                                               : SInt64(across) * SInt64(tileRowBytes);
    for (UInt32 r = 0; r < g_.chunkRows; ++r) {
      fillRow(sink_.claim(tileRowBytes), SInt32(top + r), plane, first);
    }
  }

  FileSink& sink_;
  const TiffOptions& o_;
  const Geometry& g_;
};

// Byte order and version; a BigTIFF goes on with its offsets' size, 8, and
// a 0. Then the first directory's offset.
std::vector<UInt8> encodeHeader(bool little, const Layout& layout, const Form& form,
                                const Encoder& encoder) {
  std::vector<UInt8> header = {little ? UInt8('I') : UInt8('M'), little ? UInt8('I') : UInt8('M')};
  encoder.put(header, form.version, 2);
  if (form.version == kBig.version) {
    encoder.put(header, form.offsetBytes, 2);
    encoder.put(header, 0, 2);
  }
  encoder.put(header, layout.directoryOffset, form.offsetBytes);
  return header;
}

bool validOptions(const TiffOptions& o) {
  if (o.width == 0 || o.height == 0 || o.samplesPerPixel == 0) return false;
  if (o.width > UInt32(INT32_MAX) || o.height > UInt32(INT32_MAX)) return false;
  if (o.bitsPerSample == 0 || o.bitsPerSample > 32) return false;
  return !o.tiles || (o.tiles->width > 0 && o.tiles->length > 0);
}

}  // namespace

UInt32 tiff_type_size(UInt16 type) {
  switch (type) {
    case tiff_type::kRational:
    case tiff_type::kSRational:
    case tiff_type::kDouble: return 8;
    default: return unitBytes(type);
  }
}

std::vector<UInt16> sample_color_map(UInt32 seed, UInt32 entries) {
  std::vector<UInt16> map;
  for (SInt32 channel = 0; channel < 3; ++channel) {
    for (UInt32 i = 0; i < entries; ++i) {
      const UInt8 high = sample_value(seed, -1, SInt32(i), channel);
      const UInt8 low = sample_value(seed, -2, SInt32(i), channel);
      map.push_back(UInt16((high << 8) | low));
    }
  }
  return map;
}

OSErr write_tiff(const std::filesystem::path& file, const TiffOptions& options) {
  if (!validOptions(options)) return paramErr;
  const Geometry geometry = makeGeometry(options);
  const std::vector<UInt64> sizes = chunkSizes(geometry, options);
  const Form& form = options.bigTiff ? kBig : kClassic;
  std::vector<Entry> entries = directoryEntries(options, geometry, UInt32(sizes.size()));
  const Layout layout = layOut(entries, sizes, options.directoryAfterPixels, form);
  if (!options.bigTiff && layout.end > 0xFFFFFFFFu) return paramErr;  // offsets are 32-bit
  fillChunkTables(entries, layout, sizes, geometry.tiled);

  const Encoder encoder(options.littleEndian);
  const std::vector<UInt8> header = encodeHeader(options.littleEndian, layout, form, encoder);
  const std::vector<UInt8> directory = encodeDirectory(entries, encoder, form);

  FileSink sink(kWriteBufferBytes);
  if (OSErr err = sink.open(file); err != noErr) return err;
  sink.append(header);
  if (!options.directoryAfterPixels) sink.append(directory);
  PixelWriter(sink, options, geometry).write();
  if (options.directoryAfterPixels) sink.append(directory);
  if (OSErr err = sink.close(); err != noErr) return err;
  std::optional<platform::resources::ResourceFork> fork;
  if (options.thumbnail) {
    fork = platform::resources::ResourceFork{0, thumbnail_resources(*options.thumbnail)};
  }
  return write_file_sidecar(file, options.fileType, fork);
}

}  // namespace tessel::samples
