#include <iostream>

#include "program.hpp"

int main(int argc, char** argv) {
    return qormath::cli::runProgram(argc, argv, std::cout, std::cerr);
}
