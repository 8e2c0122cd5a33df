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
