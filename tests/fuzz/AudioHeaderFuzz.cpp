// The command's own look into headers of sound files: it ends, and what it tells lies within the file.

#include <sys/mman.h>
#include <unistd.h>

#include "cli/audio/DeclaredLength.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Vantora;
  static const int file = memfd_create("audio", MFD_CLOEXEC);
  fuzz::Require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
  fuzz::Require(lseek(file, 0, SEEK_SET) == 0);
  const auto found = cli::FindDeclaredLength(file);
  fuzz::Require(!found || found->present <= size);
  fuzz::Require(lseek(file, 0, SEEK_CUR) == 0);
  return 0;
}
