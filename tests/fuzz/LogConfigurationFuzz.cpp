// Any bytes are a configuration that ends, and leaves nothing in it that a line couldn't say.

#include "tools/LogConfiguration.h"

#include <sstream>
#include <string>

#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Vantora;
  fuzz::Pieces pieces(data, size);
  const bool verbose = (pieces.Byte() & 1) != 0;
  std::istringstream in{std::string(pieces.Rest())};
  std::ostringstream echo;
  const LogConfiguration read = ReadLogConfiguration(in, echo, verbose);
  fuzz::Require(in.eof());
  fuzz::Require(read.defaultLevel == kLogWarning);
  fuzz::Require(read.outputFile.find_first_of("\t \r\n") == std::string::npos &&
                read.outputFile.size() < 256);
  for (const auto& [category, level] : read.categories) {
    fuzz::Require(!category.empty() && category.size() < 256);
    fuzz::Require(category.find_first_of("\t \r\n") == std::string::npos && !category.starts_with("PERF_"));
    fuzz::Require(level >= kLogDebug && level <= kLogAssert);
  }
  return 0;
}
