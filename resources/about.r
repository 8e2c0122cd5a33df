# The about box: its dialog, the style of the messages its hidden words
# show, and the sound its first hidden word plays.

# Made hidden and centred by the code, which shows it once it is set up.
# The top 20 pixels stay clear: the hidden words draw their messages there.
resource 'DLOG' 16000 "About Tessel" purgeable {
  bounds 0, 0, 156, 340
  window modal
  visible false
  close_box false
  items 16000
  title "About Tessel"
}

# Item 1 closes the box; the texts are only read.
resource 'DITL' 16000 "About Tessel" purgeable {
  1: button enabled 120, 256, 140, 324 "OK"
  2: static_text disabled 24, 16, 42, 324 "Tessel 0.1"
  3: static_text disabled 48, 16, 82, 324
     "Opens one rectangle of an image too big to open whole, "
     "and puts it back in place once it is edited."
  4: static_text disabled 88, 16, 118, 324
     "Made by the Tessel team for people with very large pictures."
}

# The hidden words' messages: bold, small enough to fit the box's top line.
resource 'STYL' 16002 "About messages" purgeable {
  int16 10      # text size
  int16 1       # text face: bold
  pstring "Geneva"
}

# A crisp crunch, three short bites (tools/artwork/sound.py).
resource 'snd ' 16000 "Crunch" purgeable {
  include "sounds/crunch.snd"
}

# What hidden words 2, 3 and 4 show, in that order.
resource 'STR#' 16007 "About messages" purgeable {
  1: "VERY HAPPY AMMO ADDED"
  2: "DEGREELESSNESS MODE ON"
  3: "NO CLIPPING MODE ON"
}
