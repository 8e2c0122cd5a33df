# The help of the tessel program: what tessel --help and tessel COMMAND
# --help print, and what the manual page tessel(1) is written from (tessel
# --man), so that the two never tell different stories.
#
# One list per command: its synopsis (after "tessel "), what it does, one
# example, then one entry per option: the option as typed, "|", its meaning.
# Keep the options in step with host/CommandTable.cpp; a test checks that
# every option the command accepts is here.

resource 'STR#' 17100 "Manual" purgeable {
  1: "edit one rectangle of a huge image file in place"
  2: "NAME"
  3: "SYNOPSIS"
  4: "usage:"
  5: "Commands"
  6: "Options"
  7: "Example"
  8: "--help, -h|print this help and end"
  9: "Description|Tessel cuts a rectangle out of an image file too large to "
     "open whole (TIFF, BigTIFF, Scitex CT or native) into a TIFF document "
     "that any editor can change, and writes it back into the same place of "
     "the same file."
  10: "Scripts|Commands that show dialogs take --script FILE: a plain text, one "
     "command a line (click ITEM, key TEXT, press KEY..., wait TICKS, save "
     "FILE.png, and down, drag and up H V) that answers them instead of a "
     "person; when it runs out, Return is pressed."
  11: "Exit status|0 when done, 3 when a person cancelled (Cancel or Ctrl-C), "
      "143 when stopped by SIGTERM, and 1 for anything else, with the reason "
      "on standard error."
  12: "Environment|TESSEL_MODULE names the plug-in module, by default "
      "../lib/tessel.plugin beside the program. TESSEL_BACKEND=headless runs "
      "without windows, as happens when no display answers."
}

resource 'STR#' 17101 "acquire" purgeable {
  1: "acquire [IMAGE] [-o DOCUMENT] [--script FILE] [--memory-limit BYTES] "
     "[--force]"
  2: "Lets you choose an image file (IMAGE is chosen already) and a rectangle "
     "of it in the selection dialog, and reads that rectangle into a new "
     "document. Without -o the document is named after its title, in the "
     "current folder."
  3: "tessel acquire big.tif -o part.tif"
  4: "-o DOCUMENT|the document to write"
  5: "--script FILE|answer the dialogs from FILE instead of a person"
  6: "--memory-limit BYTES|memory the run may use for strips"
  7: "--force|replace DOCUMENT if it exists"
}

resource 'STR#' 17102 "export" purgeable {
  1: "export DOCUMENT [--memory-limit BYTES] [--select PATH] [--script FILE]"
  2: "Writes the document's pixels back into the rectangle of the image file "
     "it was cut from, in place."
  3: "tessel export part.tif"
  4: "--memory-limit BYTES|pixels handed to the plug-in at once (default "
     "67108864)"
  5: "--select PATH|the image file to answer with if the plug-in asks for it "
     "again (it moved or changed)"
  6: "--script FILE|answer the dialogs from FILE instead of a person"
}

resource 'STR#' 17103 "extract" purgeable {
  1: "extract IMAGE --rect TOP,LEFT,BOTTOM,RIGHT -o DOCUMENT [--force]"
  2: "Reads exactly that rectangle of the image into a new document that "
     "export can write back, without dialogs."
  3: "tessel extract big.tif --rect 0,0,512,512 -o part.tif"
  4: "--rect TOP,LEFT,BOTTOM,RIGHT|the rectangle in image pixels, bottom and "
     "right exclusive"
  5: "-o DOCUMENT|the document to write"
  6: "--force|replace DOCUMENT if it exists"
}

resource 'STR#' 17104 "info" purgeable {
  1: "info IMAGE [--json]"
  2: "Tells what Tessel sees in the image and whether acquire takes it."
  3: "tessel info big.tif --json"
  4: "--json|print the same as one JSON object"
}

resource 'STR#' 17105 "select" purgeable {
  1: "select IMAGE [--script FILE]"
  2: "Shows the selection dialog alone and prints the rectangle chosen as "
     "TOP,LEFT,BOTTOM,RIGHT, the form extract --rect takes."
  3: "tessel select big.tif"
  4: "--script FILE|answer the dialog from FILE instead of a person"
}

resource 'STR#' 17106 "about" purgeable {
  1: "about [--script FILE]"
  2: "Shows the plug-in's about box until it is closed."
  3: "tessel about"
  4: "--script FILE|answer the about box from FILE instead of a person"
}

resource 'STR#' 17107 "open" purgeable {
  1: "open FILE [--script FILE]"
  2: "What the desktop runs: writes a document back, as export does, or "
     "acquires from an image into a new document beside it (or in the "
     "pictures folder) and opens that with xdg-open. Without a terminal, "
     "messages show in an alert."
  3: "tessel open big.tif"
  4: "--script FILE|answer the dialogs from FILE instead of a person"
}
