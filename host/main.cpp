#include <iostream>
#include <string_view>
#include <vector>

#include "host/Commands.h"

#ifdef __SANITIZE_ADDRESS__
// SDL opens the session bus while it tries a video driver and never shuts
// libdbus down, which keeps its buffers to the end; not ours to free.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }
#endif

int main(int argc, char** argv) {
  const std::vector<std::string_view> args(argv + 1, argv + argc);
  return tessel::host::run_command_line(args, std::cout, std::cerr);
}
