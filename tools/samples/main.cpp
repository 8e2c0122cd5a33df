#include <iostream>
#include <string_view>
#include <vector>

#include "tools/samples/SampleCommand.h"

int main(int argc, char** argv) {
  std::vector<std::string_view> args(argv + 1, argv + argc);
  return tessel::samples::run_sample_command(args, std::cout, std::cerr);
}
