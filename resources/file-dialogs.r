# The open-file dialogs: 16005 chooses the image to acquire from; 16002 to
# 16004 choose the file to write a document back into (the export driver
# uses 16002). All four share one item layout, which the file dialog relies
# on (see README.md):
#   1 confirm button (the default), 2 Cancel, 3 file list (user item),
#   4 folder pop-up and path (user item), 5 the prompt (static text).
# Their reference constant 'stdf' marks them as the main file dialog.

resource 'DLOG' 16005 "Acquire: choose an image" purgeable {
  bounds 0, 0, 236, 348
  window modal
  visible true
  refcon 'stdf'
  items 16005
  title "Acquire: open an image"
  position center_main_screen
}

resource 'DITL' 16005 "Acquire: choose an image" purgeable {
  1: button enabled 160, 256, 180, 336 "Open"
  2: button enabled 194, 256, 214, 336 "Cancel"
  3: user_item enabled 76, 12, 224, 240
  4: user_item enabled 48, 12, 68, 240
  5: static_text disabled 8, 12, 40, 336
     "Choose the image that holds the area you want to edit:"
}

resource 'DLOG' 16002 "Export: find the original file" purgeable {
  bounds 0, 0, 236, 348
  window modal
  visible true
  refcon 'stdf'
  items 16002
  title "Export: find the original"
  position center_main_screen
}

resource 'DITL' 16002 "Export: find the original file" purgeable {
  1: button enabled 160, 256, 180, 336 "Choose"
  2: button enabled 194, 256, 214, 336 "Cancel"
  3: user_item enabled 76, 12, 224, 240
  4: user_item enabled 48, 12, 68, 240
  5: static_text disabled 8, 12, 40, 336
     "Where is the file this document came from? Choose it to write your "
     "changes back."
}

resource 'DLOG' 16003 "Export: choose the file" purgeable {
  bounds 0, 0, 236, 348
  window modal
  visible true
  refcon 'stdf'
  items 16003
  title "Export: choose a file"
  position center_main_screen
}

resource 'DITL' 16003 "Export: choose the file" purgeable {
  1: button enabled 160, 256, 180, 336 "Choose"
  2: button enabled 194, 256, 214, 336 "Cancel"
  3: user_item enabled 76, 12, 224, 240
  4: user_item enabled 48, 12, 68, 240
  5: static_text disabled 8, 12, 40, 336
     "Choose the file to write this document back into:"
}

resource 'DLOG' 16004 "Export: choose another copy" purgeable {
  bounds 0, 0, 236, 348
  window modal
  visible true
  refcon 'stdf'
  items 16004
  title "Export: choose another copy"
  position center_main_screen
}

resource 'DITL' 16004 "Export: choose another copy" purgeable {
  1: button enabled 160, 256, 180, 336 "Choose"
  2: button enabled 194, 256, 214, 336 "Cancel"
  3: user_item enabled 76, 12, 224, 240
  4: user_item enabled 48, 12, 68, 240
  5: static_text disabled 8, 12, 40, 336
     "Choose another copy of the file this document came from:"
}
