// What is fuzzed, without a fuzzer: REPLAY FOLDER RUNS runs every input of the folder, then so many simple
// mutations of them. Seed and number are fixed: the same ones on every machine, so that a failure comes
// again.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> ReadFolder(const char* folder) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<Bytes> inputs;
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return inputs;
}

Bytes Mutate(const std::vector<Bytes>& inputs, std::mt19937& random) {
  Bytes bytes = inputs[random() % inputs.size()];
  for (uint32_t changes = random() % 8; changes > 0; --changes) {
    const size_t at = bytes.empty() ? 0 : random() % bytes.size();
    const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random() % 5) {
      case 0:
        bytes.insert(place, static_cast<uint8_t>(random()));
        break;
      case 1:
        if (!bytes.empty())
          bytes.erase(place, place + static_cast<std::ptrdiff_t>(
                                         std::min<size_t>(1 + random() % 16, bytes.size() - at)));
        break;
      case 2:
        if (!bytes.empty()) bytes[at] = static_cast<uint8_t>(random());
        break;
      case 3:
        if (!bytes.empty()) bytes[at] ^= static_cast<uint8_t>(1u << (random() % 8));
        break;
      default: {
        const Bytes& other = inputs[random() % inputs.size()];
        if (other.empty()) break;
        const size_t from = random() % other.size();
        const Bytes piece(
            other.begin() + static_cast<std::ptrdiff_t>(from),
            other.begin() + static_cast<std::ptrdiff_t>(std::min(from + 1 + random() % 32, other.size())));
        bytes.insert(place, piece.begin(), piece.end());
        break;
      }
    }
  }
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s FOLDER RUNS\n", argv[0]);
    return 2;
  }
  const std::vector<Bytes> inputs = ReadFolder(argv[1]);
  if (inputs.empty()) {
    std::fprintf(stderr, "%s: no inputs\n", argv[1]);
    return 1;
  }
  for (const Bytes& bytes : inputs) LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  std::mt19937 random(20260101);
  const uint64_t runs = std::strtoull(argv[2], nullptr, 10);
  for (uint64_t run = 0; run < runs; ++run) {
    const Bytes bytes = Mutate(inputs, random);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu stored inputs, %llu mutations\n", inputs.size(), static_cast<unsigned long long>(runs));
  return 0;
}
