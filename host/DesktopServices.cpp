#include "host/DesktopServices.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string_view>
#include <utility>

#include "Files.h"
#include "MacErrors.h"

extern char** environ;

namespace tessel::host::desktop {

namespace {

// Where a Scitex CT header's number fields show their fixed punctuation:
// the real fields' points and exponents, and the integer fields' signs.
constexpr std::pair<std::size_t, char> kScitexMarks[] = {{1029, '.'}, {1038, 'E'}, {1043, '.'},
                                                         {1052, 'E'}, {1056, '+'}, {1068, '+'}};
constexpr std::size_t kBytesTold = 1069;

bool is_tiff_header(std::string_view head) {
  return head.starts_with(std::string_view("II*\0", 4)) ||
         head.starts_with(std::string_view("MM\0*", 4)) ||
         head.starts_with(std::string_view("II+\0", 4)) ||
         head.starts_with(std::string_view("MM\0+", 4));
}

bool is_scitex_header(std::string_view head) {
  if (head.size() < kBytesTold) return false;
  for (const auto& [at, mark] : kScitexMarks) {
    if (head[at] != mark) return false;
  }
  return true;
}

// argv for posix_spawnp: program, the arguments, a null; the strings stay
// owned by the caller.
std::vector<char*> argument_vector(const std::string& program,
                                   const std::vector<std::string>& arguments) {
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  return argv;
}

// Owns spawn attributes and file actions for the length of one spawn.
struct SpawnSetup {
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
  SpawnSetup() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
};

std::string read_to_end(int fd) {
  std::string text;
  char buffer[512];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) != 0;) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    text.append(buffer, std::size_t(n));
  }
  return text;
}

bool exited_cleanly(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The folder's catalog entry says whether the user may make changes in it.
bool catalog_allows_changes(const std::filesystem::path& folder) {
  Expected<FSSpec> spec = platform::files::spec_from_path(folder);
  if (!spec) return false;
  Str63 name;
  std::memcpy(name, spec->name, sizeof name);
  CInfoPBRec block{};
  block.hFileInfo.ioNamePtr = name;
  block.hFileInfo.ioVRefNum = spec->vRefNum;
  block.hFileInfo.ioDirID = spec->parID;
  if (PBGetCatInfoSync(&block) != noErr) return false;
  return (block.dirInfo.ioFlAttrib & kDirectoryAttribute) != 0 &&
         (block.dirInfo.ioACUser & kNoMakeChangesAccess) == 0;
}

}  // namespace

std::optional<OSType> type_by_contents(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string head(kBytesTold, '\0');
  in.read(head.data(), std::streamsize(head.size()));
  head.resize(std::size_t(in.gcount()));
  if (is_tiff_header(head)) return FourCC("TIFF");
  if (is_scitex_header(head)) return FourCC("..CT");
  return std::nullopt;
}

bool folder_takes_documents(const std::filesystem::path& folder) {
  return catalog_allows_changes(folder) && access(folder.c_str(), W_OK) == 0;
}

std::optional<std::string> output_of(const std::string& program,
                                     const std::vector<std::string>& arguments) {
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) return std::nullopt;
  SpawnSetup setup;
  posix_spawn_file_actions_adddup2(&setup.actions, pipe_ends[1], STDOUT_FILENO);
  std::vector<char*> argv = argument_vector(program, arguments);
  pid_t pid = 0;
  const int error =
      posix_spawnp(&pid, program.c_str(), &setup.actions, nullptr, argv.data(), environ);
  close(pipe_ends[1]);
  std::string text = error == 0 ? read_to_end(pipe_ends[0]) : std::string();
  close(pipe_ends[0]);
  if (error != 0 || !exited_cleanly(pid)) return std::nullopt;
  return text;
}

std::filesystem::path pictures_folder() {
  const char* home = std::getenv("HOME");
  const std::filesystem::path fallback = home != nullptr ? home : "/";
  std::optional<std::string> named = output_of("xdg-user-dir", {"PICTURES"});
  while (named && !named->empty() && named->back() == '\n') named->pop_back();
  std::error_code error;
  if (!named || named->empty() || !std::filesystem::is_directory(*named, error)) return fallback;
  return *named;
}

int launch_detached(const std::string& program, const std::vector<std::string>& arguments) {
  SpawnSetup setup;
  posix_spawn_file_actions_addopen(&setup.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETSID);
  std::vector<char*> argv = argument_vector(program, arguments);
  pid_t pid = 0;
  return posix_spawnp(&pid, program.c_str(), &setup.actions, &setup.attributes, argv.data(),
                      environ);
}

}  // namespace tessel::host::desktop
