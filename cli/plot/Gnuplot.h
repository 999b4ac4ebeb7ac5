#pragma once

#include <string>

namespace Vantora::cli {

/// Throws Failure where the program gnuplot isn't installed. Worth a call before long computing.
void RequireGnuplot();

/// Runs gnuplot over `script` and writes what it draws to `picture`, an open and empty file. Throws Failure.
void RunGnuplot(const std::string& script, int picture);

}  // namespace Vantora::cli
