# The alert in which tessel open shows what it would print, when it runs
# without a terminal (started from a desktop entry) and nobody would read
# standard error. The text comes in up to four pieces, since each ParamText
# text holds at most 255 characters; the box has room for about eight lines.

resource 'ALRT' 17200 "Messages" purgeable {
  bounds 40, 40, 230, 520
  items 17200
  stages ok visible sound1, ok visible sound1, ok visible sound1, ok visible sound1
  position alert_main_screen
}

# The alert's window title.
resource 'STR ' 17200 "Messages title" purgeable {
  "Tessel"
}

resource 'DITL' 17200 "Messages" purgeable {
  1: button enabled 158, 390, 178, 464 "OK"
  2: static_text disabled 12, 16, 146, 464 "^0^1^2^3"
}
