// Compared with the plain way: look, replace in place, go on behind it.

#include <string>

#include "tests/fuzz/Pieces.h"
#include "tools/StringTools.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Vantora;
  fuzz::Pieces pieces(data, size);
  const std::string_view from = pieces.Text();
  const std::string_view to = pieces.Text();
  const std::string text(pieces.Rest());

  std::string expected = text;
  bool expectChanged = false;
  for (size_t at = 0; !from.empty() && (at = expected.find(from, at)) != std::string::npos; at += to.size()) {
    expected.replace(at, from.size(), to);
    expectChanged = true;
  }
  std::string result = "left over";
  bool changed = !expectChanged;
  ReplaceAll(result, text, from, to, changed);
  fuzz::Require(result == expected && changed == expectChanged);
  return 0;
}
