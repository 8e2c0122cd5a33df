# What the plug-in tells the user when a run cannot go on: one message per
# result it reports, and the alert that shows a message with its code.

# The messages, by the index the result table gives each code. Index 13 is
# the message for every code without one of its own. The export side fills
# ^0 and ^1 of messages 17, 19, 21 and 25 with numbers before the alert
# shows them, and both sides those of the limits' messages 34 and 35; no
# other message may hold a caret.
resource 'STR#' 16005 "Result messages" purgeable {
  1: "Tessel can't acquire this image: it is a bitmap (one bit per pixel), "
     "or its Scitex CT header names an unknown unit. Save it in grayscale "
     "or colour and try again."
  2: "Tessel can't acquire this image: it uses indexed colour, or its "
     "Scitex CT header gives it no size. Convert it to RGB, save it, and "
     "try again."
  3: "Tessel can't acquire this image: its colour mode (5) is not "
     "supported, or its Scitex CT header gives a channel count outside 1 "
     "to 16. Save it in grayscale, RGB, CMYK or Lab and try again."
  4: "Tessel can't acquire images in colour mode 6. Convert this one to "
     "grayscale, RGB, CMYK or Lab, save it, and try again."
  5: "Tessel can't acquire images in colour mode 7. Convert this one to "
     "grayscale, RGB, CMYK or Lab, save it, and try again."
  6: "Tessel can't acquire duotone images. Convert this one to grayscale "
     "or another colour mode, save it, and try again."
  7: "Tessel can't acquire this image: it is grayscale with 16 bits per "
     "channel, or in colour mode 10. Convert it to 8 bits per channel, "
     "save it, and try again."
  8: "Tessel can't acquire this image: it is RGB with 16 bits per channel, "
     "or in colour mode 11. Convert it to 8 bits per channel, save it, and "
     "try again."
  9: "Tessel doesn't know this image's colour mode. Convert the image to "
     "grayscale, RGB, CMYK or Lab, save it, and try again."
  10: "Tessel can only acquire images with 8 bits per channel. Convert this "
      "image to 8 bits per channel, save it, and try again."
  11: "This TIFF file is compressed, uses a predictor, or stores its bits in "
      "reverse order, so Tessel can't read it in place. Save it again as "
      "plain uncompressed TIFF and try again."
  12: "This TIFF file keeps each channel in a separate plane, but its "
      "planes do not cover the whole image, so Tessel can't read them. "
      "Save it again and try again."
  13: "Tessel could not finish. Check that the file is still there and that "
      "there is enough memory and disk space, then try again."
  14: "This TIFF file is stored in tiles, but its tiles do not cover the "
      "whole image, so Tessel can't read them. Save it again and try "
      "again."
  15: "Tessel doesn't recognise this file. It reads uncompressed TIFF files, "
      "Scitex CT files, and files in the application's own format, "
      "version 2."
  16: "This document has no Tessel record of where it came from, or more "
      "than one, so Tessel can't tell where to write it. Acquire the area "
      "again and make your changes in the new document."
  17: "This document no longer has the size of the area it came from. To go "
      "back into its file it must be ^0 by ^1 pixels: undo the crop or "
      "resize, then export again."
  18: "The file is grayscale, but this document no longer is. Convert the "
      "document back to grayscale, then export again."
  19: "This document no longer has as many channels as its file, which has "
      "^0. Add or delete channels until they match, then export again."
  20: "Tessel can't write into this TIFF file: its bits are in reverse "
      "order, or its tiles or planes do not cover the whole image. Choose "
      "another file, or cancel."
  21: "This file is no longer the size the document was taken from (^0 by "
      "^1 pixels); it may have been edited or replaced. Choose the original "
      "file, or cancel."
  22: "The file is RGB, but this document no longer is. Convert the "
      "document back to RGB, then export again."
  23: "The file is CMYK, but this document no longer is. Convert the "
      "document back to CMYK, then export again."
  24: "The file is Lab, but this document no longer is. Convert the "
      "document back to Lab, then export again."
  25: "This file has ^0 bits per channel; Tessel can only write into files "
      "with 8. Choose another file, or cancel."
  26: "This TIFF file is compressed or uses a predictor, so Tessel can't "
      "write into it in place. Choose an uncompressed file, or cancel."
  27: "Tessel can't write into a file in this colour mode; it writes "
      "grayscale, RGB, CMYK and Lab files. Choose another file, or cancel."
  28: "Neither this document's colour mode nor the file's is one Tessel can "
      "write (grayscale, RGB, CMYK or Lab). Choose another file, or cancel."
  29: "Tessel can't write into this file: its disk is locked, or you may not "
      "make changes in its folder. Unlock the disk or allow changes to the "
      "folder, then choose the file again, or cancel."
  30: "You can edit this area, but Tessel won't be able to write it back: "
      "the file's disk is locked, or you may not make changes in its "
      "folder. Copy the file somewhere writable first if you need to."
  31: "This file is locked, so Tessel can't write into it. Unlock it or give "
      "yourself permission to write it, then choose it again, or cancel."
  32: "Tessel can't use the file you chose: it could not be opened, or it is "
      "not the file this document came from. Choose the original file, or "
      "cancel."
  33: "The area asked for is empty or does not lie wholly inside this "
      "image. Give its top, left, bottom and right within the image's size "
      "and try again."
  34: "This area is ^0 pixels wide and ^1 high, but the program running "
      "Tessel takes documents of at most 32,767 pixels a side. Choose a "
      "smaller area, or use a program that takes large documents."
  35: "One row of this area is ^0 pixels wide and takes ^1 bytes, more "
      "memory than Tessel can have at once. Choose a narrower area, or let "
      "Tessel use more memory."
}

# The alert that shows a result: the message in place of ^0 and the code in
# place of ^1. The text item has room for about four lines.
resource 'ALRT' 16100 "Result" purgeable {
  bounds 40, 40, 170, 460
  items 16100
  stages ok visible sound1, ok visible sound1, ok visible sound1, ok visible sound1
  position alert_main_screen
}

# The alert's window title.
resource 'STR ' 16100 "Result title" purgeable {
  "Tessel"
}

resource 'DITL' 16100 "Result" purgeable {
  1: button enabled 98, 330, 118, 404 "OK"
  2: static_text disabled 12, 16, 88, 404 "^0 (code ^1)"
}
