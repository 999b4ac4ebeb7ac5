// A "libsndfile-2.so" with some of the entry points: every file opens and is silent, one with "stuck" in its
// name can't be closed. The chunk functions are missing, as in an old copy.

#include <cstdint>
#include <cstdio>
#include <cstring>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {
char good, stuck;
}

EXPORTED void* sf_open(const char* path, int, void*) { return std::strstr(path, "stuck") ? &stuck : &good; }
EXPORTED int sf_close(void* file) { return file == &stuck ? 1 : 0; }
EXPORTED int64_t sf_readf_float(void*, float* samples, int64_t frames) {
  for (int64_t i = 0; i < frames; ++i) samples[i] = 0.0f;
  return frames;
}
EXPORTED int sf_command(void*, int command, void* data, int size) {
  return command == 0x1000 ? std::snprintf(static_cast<char*>(data), static_cast<size_t>(size), "fake-1.0")
                           : 0;
}
