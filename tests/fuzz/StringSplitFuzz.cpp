// The tokens put together again are the text.

#include <string>
#include <vector>

#include "tests/fuzz/Pieces.h"
#include "tools/StringTools.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Vantora;
  fuzz::Pieces pieces(data, size);
  const uint8_t control = pieces.Byte();
  const bool whole = (control & 1) != 0;
  const uint64_t limit = control < 128 ? kNoTokenLimit : control / 2 - 64;
  const std::string_view separators = pieces.Text();
  const std::string_view text = pieces.Rest();

  std::vector<std::string> all;
  StringSplit(text, all, separators, whole);
  std::string joined;
  for (size_t i = 0; i < all.size(); ++i) {
    if (whole && i > 0) joined += separators;
    joined += all[i];
    fuzz::Require(whole || !all[i].empty());
  }
  std::string expected(text);
  if (!whole) std::erase_if(expected, [&](char c) { return separators.find(c) != std::string_view::npos; });
  fuzz::Require(joined == expected);

  std::vector<std::string> some;
  StringSplit(text, some, separators, whole, limit);
  if (all.size() > limit) all.resize(static_cast<size_t>(limit));
  fuzz::Require(some == all);
  return 0;
}
