// taldb: create, inspect, change, check and repair a TalDB database from the
// command line. Everything but turning argv into strings is in RunTool, so
// that tests run exactly what a user runs.
#include <iostream>

#include "cli/Tool.h"

int main(int argc, char** argv) {
  return taldb_cli::RunTool(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr);
}
