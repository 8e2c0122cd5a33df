#include <iostream>
#include <string>
#include <vector>

#include "Compiler.h"

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  return tessel::rescomp::run_rescomp(arguments, std::cerr);
}
