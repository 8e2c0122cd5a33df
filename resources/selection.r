# Texts, cursors and the preferences file of the selection dialog.

# The image pane: its title (the file's name), the image's size, and how
# many bytes its pixels take (a text from list 16001).
resource 'STR#' 16000 "Image pane" purgeable {
  1: "^1"
  2: "^1 by ^2 pixels"
  3: "^1 of pixels"
}

# Byte counts: megabytes (1), kilobytes up to 1023 (2).
resource 'STR#' 16001 "Byte counts" purgeable {
  1: "^1 MB"
  2: "^1 KB"
  3: "^1 GB"
}

# The selection pane: the selection's size and how many bytes it takes.
resource 'STR#' 16002 "Selection pane" purgeable {
  1: "^1 by ^2 pixels"
  2: "^1 of pixels"
}

# The grid's counts: plural forms first, then the forms for exactly one.
resource 'STR#' 16003 "Grid counts" purgeable {
  1: "^1 columns"
  2: "^1 rows"
  3: "^1 column"
  4: "^1 row"
}

# Drawing a new selection: a cross hair with an open centre.
resource 'CURS' 16000 "Select" purgeable {
  image {
    ".......#........"
    ".......#........"
    ".......#........"
    ".......#........"
    ".......#........"
    "................"
    "................"
    "#####.....#####."
    "................"
    "................"
    ".......#........"
    ".......#........"
    ".......#........"
    ".......#........"
    ".......#........"
    "................"
  }
  mask {
    "......###......."
    "......###......."
    "......###......."
    "......###......."
    "......###......."
    ".......#........"
    "#####.....#####."
    "######...#######"
    "#####.....#####."
    ".......#........"
    "......###......."
    "......###......."
    "......###......."
    "......###......."
    "......###......."
    ".......#........"
  }
  hot_spot 7, 7
}

# Moving the selection: arrows in four directions.
resource 'CURS' 16001 "Move" purgeable {
  image {
    ".......#........"
    "......###......."
    ".....#####......"
    ".......#........"
    ".......#........"
    "..#....#....#..."
    ".##....#....##.."
    "###############."
    ".##....#....##.."
    "..#....#....#..."
    ".......#........"
    ".......#........"
    ".....#####......"
    "......###......."
    ".......#........"
    "................"
  }
  mask {
    "......###......."
    ".....#####......"
    "....#######....."
    ".....#####......"
    "..#...###...#..."
    ".###..###..###.."
    "###############."
    "################"
    "###############."
    ".###..###..###.."
    "..#...###...#..."
    ".....#####......"
    "....#######....."
    ".....#####......"
    "......###......."
    ".......#........"
  }
  hot_spot 7, 7
}

# The file in the user's preferences folder that remembers the last
# selection and grid of each image.
resource 'FILE' 16000 "Selection preferences" purgeable {
  name "Tessel Selections"
  creator 'TSSL'
  type 'pref'
  script 0
}

# The selection dialog. Made hidden; the code centres it, fits the preview
# to the image and shows it once everything is set up.
resource 'DLOG' 16001 "Select a rectangle" purgeable {
  bounds 0, 0, 300, 472
  window movable_modal
  visible false
  close_box false
  items 16001
  title "Select a rectangle"
}

# Item 4, the preview, must stay square: it is fitted to the image along
# the image's longer side. Item 14 sits just above it and follows its top
# edge when a wide image makes the preview shorter.
resource 'DITL' 16001 "Select a rectangle" purgeable {
  1: button enabled 262, 386, 282, 456 "OK"
  2: button enabled 262, 300, 282, 370 "Cancel"
  3: user_item disabled 258, 382, 286, 460
  4: user_item enabled 28, 12, 284, 268
  5: user_item disabled 8, 286, 78, 460
  6: user_item disabled 86, 286, 156, 460
  7: check_box enabled 166, 286, 184, 380 "Grid"
  8: user_item enabled 192, 290, 205, 303
  9: user_item enabled 192, 306, 205, 319
  10: user_item disabled 192, 326, 205, 460
  11: user_item enabled 214, 290, 227, 303
  12: user_item enabled 214, 306, 227, 319
  13: user_item disabled 214, 326, 227, 460
  14: static_text disabled 8, 12, 24, 268 "Drag to select; Space-drag moves it."
}
