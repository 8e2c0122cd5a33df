# The title of a new document: the file's name, then the acquired area's
# left and top corner and its right and bottom corner (^1 to ^5). Titles
# longer than 31 characters are cut with the mark of string 2.
resource 'STR#' 16004 "Document title" purgeable {
  1: "^1 (^2,^3)-(^4,^5)"
  2: "…"
}
