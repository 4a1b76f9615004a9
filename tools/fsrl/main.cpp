// fsrl: command-line tool around the left front side radar HAL. See `fsrl --help`.
#include <cstdio>
#include <string>
#include <vector>

#include "fsrl_cli.h"

int main(int argc, char** argv) {
  std::vector<std::string> args;
  for (int i = 1; i < argc; ++i) {
    args.emplace_back(argv[i]);
  }
  return fsrl::RunFsrl(args, stdout, stderr);
}
