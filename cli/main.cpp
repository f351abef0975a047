#include <iostream>
#include <unistd.h>

#include "program.hpp"

int main(int argc, char** argv) {
    return qormath::cli::runProgram(argc, argv, std::cout, std::cerr, isatty(STDERR_FILENO) == 1);
}
