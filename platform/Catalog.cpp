#include "Catalog.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace tessel::platform::catalog {
namespace {

// Ids below 16 keep their Toolbox meanings (1 parent of a root, 2 a root).
constexpr SInt32 kFirstDirectoryId = 16;
constexpr SInt16 kFirstVolumeRef = -1;
constexpr SInt32 kFirstNameNumber = 1;

struct Table {
  std::map<SInt32, std::string> paths;
  std::map<std::string, SInt32> ids;
};

struct State {
  bool loaded = false;
  Table directories;
  Table volumes;
  Table names;  // "<folder id> <name>" of long names, by number
};

State& state() {
  static State instance;
  return instance;
}

// Paths are stored one per line; '%' and newlines are escaped so that any
// folder name survives.
std::string escape(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '%')
      out += "%25";
    else if (c == '\n')
      out += "%0A";
    else
      out += c;
  }
  return out;
}

std::string unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && text.substr(i, 3) == "%25")
      out += '%', i += 2;
    else if (text[i] == '%' && text.substr(i, 3) == "%0A")
      out += '\n', i += 2;
    else
      out += text[i];
  }
  return out;
}

void remember(Table& table, SInt32 id, std::string path) {
  table.ids[path] = id;
  table.paths[id] = std::move(path);
}

Table& table_of(State& s, char kind) {
  return kind == 'D' ? s.directories : kind == 'V' ? s.volumes : s.names;
}

bool valid_number(char kind, long id) {
  if (kind == 'D') return id >= kFirstDirectoryId && id <= INT32_MAX;
  if (kind == 'V') return id <= kFirstVolumeRef && id > INT16_MIN;
  return id >= kFirstNameNumber && id <= INT32_MAX;
}

// Reads "D <id> <path>", "V <ref> <path>" and "N <number> <folder id> <name>"
// lines; anything else is skipped, so a damaged line costs only its own entry.
void parse_into(State& s, std::string_view contents) {
  while (!contents.empty()) {
    std::size_t end = contents.find('\n');
    if (end == std::string_view::npos) break;  // a line cut short by a crash
    std::string_view line = contents.substr(0, end);
    contents.remove_prefix(end + 1);
    const char kind = line.empty() ? '\0' : line[0];
    if (line.size() < 4 || (kind != 'D' && kind != 'V' && kind != 'N') || line[1] != ' ') continue;
    std::size_t space = line.find(' ', 2);
    if (space == std::string_view::npos) continue;
    std::string number(line.substr(2, space - 2));
    char* number_end = nullptr;
    long id = std::strtol(number.c_str(), &number_end, 10);
    if (number.empty() || *number_end != '\0') continue;
    if (valid_number(kind, id))
      remember(table_of(s, kind), SInt32(id), unescape(line.substr(space + 1)));
  }
}

std::string read_all(int fd) {
  std::string contents;
  char buffer[8192];
  off_t offset = 0;
  for (;;) {
    ssize_t got = ::pread(fd, buffer, sizeof buffer, offset);
    if (got <= 0) break;
    contents.append(buffer, std::size_t(got));
    offset += got;
  }
  return contents;
}

void load_from_file(State& s) {
  int fd = ::open(catalog_file().c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return;
  ::flock(fd, LOCK_SH);
  parse_into(s, read_all(fd));
  ::close(fd);
}

State& loaded_state() {
  State& s = state();
  if (!s.loaded) {
    load_from_file(s);
    s.loaded = true;
  }
  return s;
}

SInt32 next_number(char kind, const Table& table) {
  if (kind == 'V') return table.paths.empty() ? kFirstVolumeRef : table.paths.begin()->first - 1;
  const SInt32 first = kind == 'D' ? kFirstDirectoryId : kFirstNameNumber;
  return table.paths.empty() ? first : table.paths.rbegin()->first + 1;
}

// Finds or assigns the number of path in one table. Under the file lock the
// file is read again, so two processes never hand out one number twice.
SInt32 assign(char kind, const std::string& path) {
  State& s = loaded_state();
  Table& table = table_of(s, kind);
  if (auto known = table.ids.find(path); known != table.ids.end()) return known->second;

  std::filesystem::path file = catalog_file();
  std::error_code ignored;
  std::filesystem::create_directories(file.parent_path(), ignored);
  int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd >= 0) {
    ::flock(fd, LOCK_EX);
    parse_into(s, read_all(fd));
  }
  SInt32 id;
  if (auto known = table.ids.find(path); known != table.ids.end()) {
    id = known->second;
  } else {
    id = next_number(kind, table);
    remember(table, id, path);
    if (fd >= 0) {
      std::string line =
          std::string(1, kind) + ' ' + std::to_string(id) + ' ' + escape(path) + '\n';
      [[maybe_unused]] ssize_t written = ::write(fd, line.data(), line.size());
    }
  }
  if (fd >= 0) ::close(fd);
  return id;
}

std::optional<std::filesystem::path> lookup(char kind, SInt32 id) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    State& s = loaded_state();
    const Table& table = table_of(s, kind);
    if (auto found = table.paths.find(id); found != table.paths.end()) return found->second;
    // Another process may have numbered it since we last read the file.
    load_from_file(s);
  }
  return std::nullopt;
}

}  // namespace

SInt32 directory_id(const std::filesystem::path& directory) {
  return assign('D', directory.string());
}

std::optional<std::filesystem::path> directory_path(SInt32 id) { return lookup('D', id); }

SInt16 volume_ref(const std::filesystem::path& mount_point) {
  return SInt16(assign('V', mount_point.string()));
}

std::optional<std::filesystem::path> volume_path(SInt16 vref) { return lookup('V', vref); }

SInt32 long_name_number(SInt32 directory, std::string_view name) {
  return assign('N', std::to_string(directory) + ' ' + std::string(name));
}

std::optional<LongName> long_name(SInt32 number) {
  auto key = lookup('N', number);
  if (!key) return std::nullopt;
  const std::string text = key->string();
  const std::size_t space = text.find(' ');
  if (space == std::string::npos) return std::nullopt;
  return LongName{SInt32(std::strtol(text.c_str(), nullptr, 10)), text.substr(space + 1)};
}

std::filesystem::path catalog_file() {
  const char* data_home = std::getenv("XDG_DATA_HOME");
  if (data_home != nullptr && *data_home == '/') {
    return std::filesystem::path(data_home) / "tessel" / "catalog";
  }
  const char* home = std::getenv("HOME");
  std::filesystem::path base = home != nullptr && *home != '\0' ? home : "/tmp";
  return base / ".local" / "share" / "tessel" / "catalog";
}

void forget() { state() = State{}; }

}  // namespace tessel::platform::catalog
