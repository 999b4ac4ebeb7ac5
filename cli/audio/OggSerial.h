#pragma once

#include <string>

namespace Vantora::cli {

/// Gives all pages of an Ogg file the serial number 1 and their checksums accordingly. Encoders draw the
/// number at random, so that the same audio would never give the same file twice. `descriptor` is the open
/// file's, `name` what a Failure calls it.
void FixOggSerial(int descriptor, const std::string& name);

}  // namespace Vantora::cli
