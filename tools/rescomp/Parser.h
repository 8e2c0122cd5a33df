// The resource source language: a readable text that compiles, resource by
// resource, into the Toolbox's binary layouts.
//
//   # A comment runs to the end of the line.
//   resource 'STR#' 16004 "Document title" purgeable {
//     1: "^1 (^2,^3)-(^4,^5)"
//     2: "…"
//   }
//
// A resource is `resource`, its type code in single quotes, its ID (-32768 to
// 32767), optionally a name in double quotes, optionally attributes
// (sysheap, purgeable, locked, protected, preload), optionally `raw`, and a
// body in braces. Texts are UTF-8 and are stored in Mac Roman; a character
// Mac Roman cannot hold is an error. Escapes: \" \\ \t, and \r for a line
// break. Adjacent texts join into one, so a long message can span lines.
// Numbers are decimal or 0x hexadecimal. A rectangle is four numbers,
// top, left, bottom, right: `bounds 40, 40, 200, 360`.
//
// Bodies by type (any other type, or any type marked `raw`, takes the raw
// body):
//
//   'STR#'  numbered texts, counting from 1: `1: "first" 2: "second"`
//   'STR '  one text
//   'DLOG'  fields: bounds RECT; window PROC; visible BOOL; close_box BOOL;
//           refcon NUMBER-or-'CODE'; items ID; title TEXT; position PLACE.
//           Required: bounds, items. PROC is document, modal, plain,
//           shadow, no_grow_document, movable_modal, zoom_document, rounded
//           or a number (default modal). PLACE is none, center_main_screen,
//           alert_main_screen, stagger_main_screen, center_parent_window,
//           alert_parent_window, stagger_parent_window,
//           center_parent_screen, alert_parent_screen,
//           stagger_parent_screen or a number; without it no placement word
//           is written.
//   'ALRT'  fields: bounds RECT; items ID; stages STAGES; position PLACE.
//           Required: bounds, items, stages. STAGES is four stages, stage 1
//           first, separated by commas, each `ok|cancel visible|hidden
//           silent|sound1|sound2|sound3` (the default button, whether the
//           alert shows, the beep), or the stages word as a number.
//   'DITL'  numbered items, counting from 1:
//           `N: KIND enabled|disabled RECT [DATA]`, KIND one of button,
//           check_box, radio_button, static_text, edit_text (DATA a text),
//           control, icon, picture (DATA a resource ID), user_item (no DATA).
//   'CURS'  fields: image { 16 rows }; mask { 16 rows }; hot_spot V, H.
//           A row is a text of 16 characters, '#' for a set pixel and '.'
//           for a clear one. All three are required.
//   'FILE'  fields: name TEXT (at most 31 characters); creator 'CODE';
//           type 'CODE'; script NUMBER (default 0). Name, creator and type
//           are required.
//   raw     any sequence of: hex "0A0B 0C0D" (spaces allowed), include
//           "file" (its bytes, the path relative to this source), bits
//           "##..#" or bits { "##.." "..##" } (pixels packed from the high
//           bit, each row padded to whole bytes), int8 N, int16 N, int32 N
//           (big-endian), type 'CODE', pstring TEXT (with its length byte),
//           text TEXT (without).
#pragma once

#include <filesystem>
#include <vector>

#include "Lexer.h"
#include "ResourceFork.h"

namespace tessel::rescomp {

struct ParsedResource {
  platform::resources::Resource resource;
  int line;  // where its `resource` keyword stands
};

// The resources of one source, in source order. includes_from is the folder
// that `include` paths are relative to. Throws SourceError at the first
// mistake.
std::vector<ParsedResource> parse_source(std::vector<Token> tokens,
                                         const std::filesystem::path& includes_from);

}  // namespace tessel::rescomp
