#include <iostream>

#include "cli/program.h"

int main(int count, char** arguments) {
  return kestrel::cli::Main({arguments + 1, arguments + count}, std::cout, std::cerr);
}
