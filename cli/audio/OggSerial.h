#pragma once

#include <filesystem>

namespace Vantora::cli {

/// Gives all pages of an Ogg file the serial number 1 and their checksums accordingly. Encoders draw the
/// number at random, so that the same audio would never give the same file twice. Throws Failure.
void FixOggSerial(const std::filesystem::path& path);

}  // namespace Vantora::cli
