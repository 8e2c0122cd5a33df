// The open-file dialog as a window: item 3 lists the folder, item 4 names
// it (a click there goes up), 1 opens and 2 cancels.
#include <algorithm>
#include <tuple>

#include "Catalog.h"
#include "Quickdraw.h"
#include "StandardFileInternal.h"
#include "Utf8.h"

namespace tessel::platform::standard_file {
namespace {

namespace fs = std::filesystem;

constexpr SInt16 kListItem = 3;
constexpr SInt16 kFolderItem = 4;
constexpr int kRowHeight = 16;
constexpr UInt32 kDoubleClickTicks = 30;
constexpr UInt8 kUpArrow = 30;
constexpr UInt8 kDownArrow = 31;

struct Entry {
  std::string name;
  bool folder = false;
  FSSpec spec{};
  OSType type = 0;
};

struct Browser {
  const Request* request = nullptr;
  DialogPtr dialog = nullptr;
  fs::path folder;
  std::vector<Entry> entries;
  int selected = -1;
  int top = 0;
  Point click{};
  int lastRow = -1;
  UInt32 lastClick = 0;
  bool done = false;
  bool confirmed = false;
};

// The item procedures get only the dialog; one file dialog runs at a time.
Browser*& browser() {
  static Browser* running = nullptr;
  return running;
}

Rect item_box(DialogPtr dialog, SInt16 item) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog, item, &kind, &handle, &box);
  return box;
}

std::optional<Entry> entry_for(const Request& request, const fs::directory_entry& found) {
  Entry entry;
  entry.name = found.path().filename().string();
  if (entry.name.empty() || entry.name[0] == '.') return std::nullopt;
  std::error_code error;
  if (found.is_directory(error)) {
    entry.folder = true;
    return entry;
  }
  auto spec = files::spec_from_path(found.path());
  if (!spec) return std::nullopt;
  entry.spec = *spec;
  if (!listed(request, entry.spec, &entry.type)) return std::nullopt;
  return entry;
}

// Folders first, then files, each by name.
void list_folder(Browser& b, const fs::path& folder) {
  b.folder = folder;
  b.entries.clear();
  b.selected = -1;
  b.top = 0;
  b.lastRow = -1;
  std::error_code error;
  for (const auto& found : fs::directory_iterator(folder, error)) {
    if (auto entry = entry_for(*b.request, found)) b.entries.push_back(*entry);
  }
  std::ranges::sort(b.entries, [](const Entry& x, const Entry& y) {
    return std::tuple(!x.folder, x.name) < std::tuple(!y.folder, y.name);
  });
}

int rows_shown(const Rect& box) { return (box.bottom - box.top - 4) / kRowHeight; }

Rect row_box(const Rect& list, int row) {
  SInt16 top = SInt16(list.top + 2 + row * kRowHeight);
  return Rect{top, SInt16(list.left + 1), SInt16(top + kRowHeight), SInt16(list.right - 1)};
}

// A name wider than width loses characters at its end for an ellipsis;
// names are UTF-8 and are cut only between characters.
std::string fitted_name(std::string_view name, int width) {
  if (quickdraw::utf8_width(name) <= width) return std::string(name);
  constexpr std::string_view kEllipsis = "\u2026";
  std::size_t keep = name.size();
  std::string cut;
  do {
    do --keep;
    while (keep > 0 && is_utf8_continuation(UInt8(name[keep])));
    cut = std::string(name.substr(0, keep)) + std::string(kEllipsis);
  } while (keep > 0 && quickdraw::utf8_width(cut) > width);
  return cut;
}

// The real names of files and folders are shown, long or not, in the
// characters the file system holds.
void draw_name(std::string_view name, const Rect& line, int right) {
  MoveTo(SInt16(line.left + 4), SInt16(line.top + 12));
  quickdraw::draw_utf8(fitted_name(name, right - line.left - 4));
}

void draw_entry(const Entry& entry, const Rect& line, bool selected) {
  draw_name(entry.name, line, line.right - 12);
  if (entry.folder) {
    Rect mark{SInt16(line.top + 5), SInt16(line.right - 10), SInt16(line.top + 11),
              SInt16(line.right - 4)};
    PaintRect(&mark);
  }
  if (selected) InvertRect(&line);
}

void draw_list(DialogPtr dialog, SInt16 item) {
  const Browser& b = *browser();
  Rect box = item_box(dialog, item);
  EraseRect(&box);
  FrameRect(&box);
  for (int row = 0; row < rows_shown(box) && b.top + row < int(b.entries.size()); ++row) {
    draw_entry(b.entries[std::size_t(b.top + row)], row_box(box, row), b.top + row == b.selected);
  }
}

void draw_folder(DialogPtr dialog, SInt16 item) {
  const Browser& b = *browser();
  Rect box = item_box(dialog, item);
  EraseRect(&box);
  FrameRect(&box);
  std::string name = b.folder.filename().string();
  if (name.empty()) name = b.folder.string();
  MoveTo(SInt16(box.left + 4), SInt16(box.bottom - 6));
  quickdraw::draw_utf8(fitted_name(name, box.right - box.left - 8));
}

void redraw(Browser& b) {
  SetPort(b.dialog);
  draw_list(b.dialog, kListItem);
  draw_folder(b.dialog, kFolderItem);
}

void enter(Browser& b, const fs::path& folder) {
  list_folder(b, folder);
  redraw(b);
}

SInt16 call_hook(const Browser& b, SInt16 item) {
  const Request& r = *b.request;
  return r.hook == nullptr ? item : r.hook(item, b.dialog, r.data);
}

// Opens the selected folder, or confirms the selected file once the hook
// agrees; a hook that answers otherwise turns Open into Cancel.
void open_selected(Browser& b) {
  if (b.selected < 0 || b.selected >= int(b.entries.size())) return;
  Entry entry = b.entries[std::size_t(b.selected)];
  if (entry.folder) {
    enter(b, b.folder / entry.name);
    return;
  }
  b.done = true;
  if (call_hook(b, sfItemOpenButton) != sfItemOpenButton) return;
  b.confirmed = true;
  StandardFileReply& reply = *b.request->reply;
  reply.sfType = entry.type;
  reply.sfFile = entry.spec;
}

void select_row(Browser& b, int row) {
  int rows = rows_shown(item_box(b.dialog, kListItem));
  b.selected = std::clamp(row, 0, int(b.entries.size()) - 1);
  if (b.selected < b.top) b.top = b.selected;
  if (b.selected >= b.top + rows) b.top = b.selected - rows + 1;
  redraw(b);
}

void click_list(Browser& b) {
  Rect box = item_box(b.dialog, kListItem);
  int row = (b.click.v - box.top - 2) / kRowHeight + b.top;
  if (b.click.v < box.top + 2 || row >= int(b.entries.size())) return;
  bool twice = row == b.lastRow && TickCount() - b.lastClick <= kDoubleClickTicks;
  b.lastRow = row;
  b.lastClick = TickCount();
  select_row(b, row);
  if (twice) open_selected(b);
}

Boolean filter(DialogPtr dialog, EventRecord* event, SInt16* /*itemHit*/) {
  Browser& b = *browser();
  if (event->what == mouseDown) {
    b.click = Point{SInt16(event->where.v - dialog->globalOffset.v),
                    SInt16(event->where.h - dialog->globalOffset.h)};
  }
  if ((event->what == keyDown || event->what == autoKey) && !b.entries.empty()) {
    auto character = UInt8(event->message & charCodeMask);
    if (character == kUpArrow) select_row(b, b.selected - 1);
    if (character == kDownArrow) select_row(b, b.selected + 1);
  }
  return false;
}

void handle(Browser& b, SInt16 item) {
  if (item == sfItemOpenButton) open_selected(b);
  if (item == sfItemCancelButton) b.done = true;
  if (item == kListItem) click_list(b);
  if (item == kFolderItem && b.folder.has_parent_path() && b.folder.parent_path() != b.folder) {
    enter(b, b.folder.parent_path());
  }
}

void install_procedures(DialogPtr dialog) {
  using Procedure = std::pair<SInt16, UserItemUPP>;
  for (auto [item, procedure] :
       {Procedure{kListItem, draw_list}, Procedure{kFolderItem, draw_folder}}) {
    SInt16 kind = 0;
    Handle handle = nullptr;
    Rect box{};
    GetDItem(dialog, item, &kind, &handle, &box);
    SetDItem(dialog, item, kind, UserItemHandle(procedure), &box);
  }
  dialog->outlineDefault = 1;
}

// The folder the hook asks for, else the pre-selected file's (which is then
// selected), else the current folder.
void start(Browser& b) {
  const StandardFileReply& reply = *b.request->reply;
  if (call_hook(b, sfHookFirstCall) == sfHookChangeSelection) {
    set_shown({reply.sfFile.vRefNum, reply.sfFile.parID});
    if (auto folder = catalog::directory_path(reply.sfFile.parID)) return list_folder(b, *folder);
  }
  std::error_code error;
  fs::path chosen = take_selection();
  fs::path absolute = chosen.empty() ? fs::current_path(error) : fs::absolute(chosen, error);
  list_folder(b, chosen.empty() ? absolute : absolute.parent_path());
  auto found = std::ranges::find(b.entries, absolute.filename().string(), &Entry::name);
  if (!chosen.empty() && found != b.entries.end()) b.selected = int(found - b.entries.begin());
}

}  // namespace

bool run_dialog(const Request& request) {
  DialogPtr dialog = GetNewDialog(request.dialogID, nullptr, kFirstWindowOfClass);
  if (dialog == nullptr) return false;
  Browser b;
  b.request = &request;
  b.dialog = dialog;
  browser() = &b;
  install_procedures(dialog);
  request.reply->sfGood = 0;
  set_shown({0, 0});
  start(b);
  ShowWindow(dialog);
  while (!b.done) {
    SInt16 item = 0;
    ModalDialog(filter, &item);
    handle(b, item);
  }
  request.reply->sfGood = b.confirmed ? 1 : 0;
  DisposeDialog(dialog);
  browser() = nullptr;
  return true;
}

}  // namespace tessel::platform::standard_file
