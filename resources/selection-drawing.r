# Text styles and the waiting pattern of the selection dialog.

# The image and selection panes: title, byte size and dimensions.
resource 'STYL' 16000 "Pane text" purgeable {
  int16 9       # text size
  int16 0       # text face: plain
  pstring "Geneva"
}

# The grid's column and row counts beside their buttons.
resource 'STYL' 16001 "Grid counts" purgeable {
  int16 9       # text size
  int16 0       # text face: plain
  pstring "Geneva"
}

# Fills the preview until the first rows of the image arrive: a quiet
# diagonal hatching, light grey on near-white, 8 x 8 pixels of one bit.
resource 'ppat' 16000 "Waiting preview" purgeable {
  # Pattern record (28 bytes).
  int16 1       # patType: a full-colour pattern
  int32 28      # offset of the pixel map
  int32 78      # offset of the pixels
  int32 0       # patXData
  int16 -1      # patXValid
  int32 0       # patXMap
  hex "8844 2211 8844 2211"   # the same hatching for one-bit ports
  # Pixel map (50 bytes).
  int32 0       # baseAddr
  int16 0x8002  # rowBytes, with the pixel-map marker
  int16 0 int16 0 int16 8 int16 8   # bounds
  int16 0       # pmVersion
  int16 0       # packType
  int32 0       # packSize
  int32 0x00480000 int32 0x00480000 # 72 dpi
  int16 0       # pixelType: indexed
  int16 1       # pixelSize
  int16 1       # cmpCount
  int16 1       # cmpSize
  int32 0       # planeBytes
  int32 94      # offset of the colour table
  int32 0       # pmReserved
  # Pixels: eight rows of two bytes.
  hex "8800 4400 2200 1100 8800 4400 2200 1100"
  # Colour table: two entries.
  int32 0       # ctSeed
  int16 0       # ctFlags
  int16 1       # ctSize: entries less one
  int16 0 hex "F4F4 F4F4 F4F4"
  int16 1 hex "D4D4 D4D4 D4D4"
}
