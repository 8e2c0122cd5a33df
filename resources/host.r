# What the plug-in says when the host program cannot serve it. These are the
# host's shortcomings, not results of a run, so their alert shows no code.

resource 'STR#' 16006 "Missing host services" purgeable {
  1: "This host program does not lend the pixel buffers Tessel needs. "
     "Run Tessel from a host that offers them, such as the tessel command."
  2: "This host program cannot keep Tessel's notes with a document, so the "
     "document could not be written back later. Run Tessel from a host that "
     "keeps them, such as the tessel command."
}

resource 'ALRT' 16101 "Host notice" purgeable {
  bounds 40, 40, 170, 460
  items 16101
  stages ok visible sound1, ok visible sound1, ok visible sound1, ok visible sound1
  position alert_main_screen
}

# The alert's window title.
resource 'STR ' 16101 "Host notice title" purgeable {
  "Tessel and its host"
}

resource 'DITL' 16101 "Host notice" purgeable {
  1: button enabled 98, 330, 118, 404 "OK"
  2: static_text disabled 12, 16, 88, 404 "^0"
}
