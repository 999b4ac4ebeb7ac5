#pragma once

#include <filesystem>
#include <string>

namespace Vantora::cli {

/// Throws Failure where the program gnuplot isn't installed. Worth a call before long computing.
void RequireGnuplot();

/// Runs gnuplot over `script` and writes what it draws to `picture`, a new file. Throws Failure.
void RunGnuplot(const std::string& script, const std::filesystem::path& picture);

}  // namespace Vantora::cli
