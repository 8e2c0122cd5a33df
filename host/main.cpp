#include <iostream>
#include <string_view>
#include <vector>

#include "host/Commands.h"

int main(int argc, char** argv) {
  const std::vector<std::string_view> args(argv + 1, argv + argc);
  return tessel::host::run_command_line(args, std::cout, std::cerr);
}
