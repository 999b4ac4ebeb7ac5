// A machine that fails, for a program that is started with this library preloaded: one call of one kind
// fails, the calls of the program's children counted on. PRISMEL_FAULT says which:
//
//     KIND:N:ERROR      the N-th call of KIND fails; KIND is open, read, write, sync, truncate, rename, lock,
//                       buffer (the calls of <stdio.h>) or memory, ERROR is EIO, ENOSPC, EINTR, EMFILE,
//                       ENOMEM, or "short": half of what was to be read or written
//     KIND:N:ERROR:on   that call and all behind it
//
// PRISMEL_FAULT_MARK names a file that is made when it happens. Where PRISMEL_FAULT_CALLERS is set, words
// with commas between them, of the calls for memory only those count that come from a library with one of
// these in its name; those for PRISMEL_FAULT_SPARES bytes don't.
//
// A program may wish for something else while it runs: PrismelFault, below.

#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum Kind { kNothing, kOpen, kRead, kWrite, kSync, kTruncate, kRename, kLock, kBuffer, kMemory };

Kind wanted = kNothing;
long which = 0;
int error = 0;
bool isShort = false, isOnward = false;
const char* mark = nullptr;
const char* callers = nullptr;
size_t spared = 0;  // bytes
std::atomic<long> count{0};

struct Name {
  const char* text;
  int value;
};

int ValueOf(const Name* names, size_t number, const char* text, size_t length) {
  for (size_t i = 0; i < number; ++i) {
    if (std::strlen(names[i].text) == length && std::strncmp(names[i].text, text, length) == 0) {
      return names[i].value;
    }
  }
  return 0;
}

/// Whether a library of this name is one of those whose calls count.
bool IsWatched(const char* library) {
  for (const char* word = callers; word != nullptr && *word != '\0';) {
    const size_t length = std::strcspn(word, ",");
    if (memmem(library, std::strlen(library), word, length) != nullptr) return true;
    word += length + (word[length] == ',' ? 1 : 0);
  }
  return callers == nullptr;
}

void SetWish(const char* wish) {
  constexpr Name kinds[] = {{"open", kOpen}, {"read", kRead},         {"write", kWrite},
                            {"sync", kSync}, {"truncate", kTruncate}, {"rename", kRename},
                            {"lock", kLock}, {"buffer", kBuffer},     {"memory", kMemory}};
  constexpr Name errors[] = {{"EIO", EIO},       {"ENOSPC", ENOSPC}, {"EINTR", EINTR},
                             {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}, {"short", -1}};
  wanted = kNothing;
  count = 0;
  if (wish == nullptr) return;
  const char* const colon = std::strchr(wish, ':');
  if (colon == nullptr) return;
  char* end = nullptr;
  which = std::strtol(colon + 1, &end, 10);
  if (*end != ':') return;
  const char* const name = end + 1;
  const size_t length = std::strcspn(name, ":");
  error = ValueOf(errors, sizeof errors / sizeof *errors, name, length);
  isShort = error < 0;
  isOnward = std::strcmp(name + length, ":on") == 0;
  wanted = static_cast<Kind>(
      ValueOf(kinds, sizeof kinds / sizeof *kinds, wish, static_cast<size_t>(colon - wish)));
}

__attribute__((constructor)) void ReadWish() {
  mark = std::getenv("PRISMEL_FAULT_MARK");
  callers = std::getenv("PRISMEL_FAULT_CALLERS");
  const char* const size = std::getenv("PRISMEL_FAULT_SPARES");
  if (size != nullptr) spared = std::strtoul(size, nullptr, 10);
  SetWish(std::getenv("PRISMEL_FAULT"));
}

/// Counts a call; true when it is to fail, with errno set.
bool Fails(Kind kind) {
  if (kind != wanted) return false;
  const long now = count.fetch_add(1) + 1;
  if (now != which && !(isOnward && now > which)) return false;
  if (now == which && mark != nullptr) {
    const long file = syscall(SYS_openat, AT_FDCWD, mark, O_WRONLY | O_CREAT, 0600);
    if (file >= 0) syscall(SYS_close, file);
  }
  if (!isShort) errno = error;
  return true;
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define NEXT(name) static const auto next = Next<decltype(&name)>(#name)

// Visible: every library of the process calls these. Their tables of arguments are those of the C library.
#pragma GCC visibility push(default)
extern "C" {

#define OPEN(name)                                                                       \
  int name(const char* path, int flags, ...) {                                           \
    NEXT(name);                                                                          \
    va_list rest;                                                                        \
    va_start(rest, flags);                                                               \
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                                        \
    return Fails(kOpen) ? -1 : next(path, flags, mode);                                  \
  }
OPEN(open)
OPEN(open64)
#define OPENAT(name)                                                                     \
  int name(int folder, const char* path, int flags, ...) {                               \
    NEXT(name);                                                                          \
    va_list rest;                                                                        \
    va_start(rest, flags);                                                               \
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                                        \
    return Fails(kOpen) ? -1 : next(folder, path, flags, mode);                          \
  }
OPENAT(openat)
OPENAT(openat64)

FILE* fopen(const char* path, const char* mode) {
  NEXT(fopen);
  return Fails(kOpen) ? nullptr : next(path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  NEXT(fopen64);
  return Fails(kOpen) ? nullptr : next(path, mode);
}
FILE* fdopen(int descriptor, const char* mode) noexcept {
  NEXT(fdopen);
  return Fails(kOpen) ? nullptr : next(descriptor, mode);
}

ssize_t read(int file, void* to, size_t size) {
  NEXT(read);
  if (!Fails(kRead)) return next(file, to, size);
  return isShort && size > 1 ? next(file, to, size / 2) : isShort ? next(file, to, size) : -1;
}
ssize_t pread(int file, void* to, size_t size, off_t at) {
  NEXT(pread);
  if (!Fails(kRead)) return next(file, to, size, at);
  return isShort ? next(file, to, size > 1 ? size / 2 : size, at) : -1;
}
ssize_t write(int file, const void* from, size_t size) {
  NEXT(write);
  if (!Fails(kWrite)) return next(file, from, size);
  return isShort ? next(file, from, size > 1 ? size / 2 : size) : -1;
}
ssize_t pwrite(int file, const void* from, size_t size, off_t at) {
  NEXT(pwrite);
  if (!Fails(kWrite)) return next(file, from, size, at);
  return isShort ? next(file, from, size > 1 ? size / 2 : size, at) : -1;
}
ssize_t writev(int file, const iovec* pieces, int number) {
  NEXT(writev);
  if (!Fails(kWrite)) return next(file, pieces, number);
  return isShort ? next(file, pieces, 1) : -1;
}
int fsync(int file) {
  NEXT(fsync);
  return Fails(kSync) ? -1 : next(file);
}
int ftruncate(int file, off_t size) noexcept {
  NEXT(ftruncate);
  return Fails(kTruncate) ? -1 : next(file, size);
}
int ftruncate64(int file, off64_t size) noexcept {
  NEXT(ftruncate64);
  return Fails(kTruncate) ? -1 : next(file, size);
}
int rename(const char* from, const char* to) noexcept {
  NEXT(rename);
  return Fails(kRename) ? -1 : next(from, to);
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  NEXT(renameat);
  return Fails(kRename) ? -1 : next(fromFolder, from, toFolder, to);
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  NEXT(renameat2);
  return Fails(kRename) ? -1 : next(fromFolder, from, toFolder, to, flags);
}
int flock(int file, int operation) noexcept {
  NEXT(flock);
  return Fails(kLock) ? -1 : next(file, operation);
}
/// What `ferror` looks at, in glibc.
static size_t NoteError(FILE* file) {
  constexpr int kErrorSeen = 0x20;
  file->_flags |= kErrorSeen;
  return 0;
}

size_t fwrite(const void* from, size_t size, size_t number, FILE* file) {
  NEXT(fwrite);
  if (!Fails(kBuffer)) return next(from, size, number, file);
  return isShort ? next(from, size, number / 2, file) : NoteError(file);
}
size_t fread(void* to, size_t size, size_t number, FILE* file) {
  NEXT(fread);
  if (!Fails(kBuffer)) return next(to, size, number, file);
  return isShort ? next(to, size, number / 2, file) : NoteError(file);
}
int fflush(FILE* file) {
  NEXT(fflush);
  return Fails(kBuffer) && !isShort ? EOF : next(file);
}

void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

/// libresample and libsndfile write through the null that they get.
static bool FailsFor(const void* caller, size_t size) {
  if (wanted != kMemory || (spared != 0 && size == spared)) return false;
  Dl_info place{};
  const bool isKnown = dladdr(caller, &place) != 0;
  if (callers != nullptr && !(isKnown && IsWatched(place.dli_fname))) return false;
  return Fails(kMemory) && !(isKnown && (std::strstr(place.dli_fname, "libresample") != nullptr ||
                                         std::strstr(place.dli_fname, "libsndfile") != nullptr));
}
void* malloc(size_t size) noexcept {
  return FailsFor(__builtin_return_address(0), size) ? nullptr : __libc_malloc(size);
}
void* calloc(size_t number, size_t size) noexcept {
  return FailsFor(__builtin_return_address(0), number * size) ? nullptr : __libc_calloc(number, size);
}
void* realloc(void* memory, size_t size) noexcept {
  return FailsFor(__builtin_return_address(0), size) ? nullptr : __libc_realloc(memory, size);
}
void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return FailsFor(__builtin_return_address(0), size) ? nullptr : __libc_memalign(alignment, size);
}

/// From now on `wish`, written as in PRISMEL_FAULT, null for none, and the count begins at 0.
void PrismelFault(const char* wish) { SetWish(wish); }
/// Calls of the wanted kind since then.
long PrismelFaultCount() { return count; }

}  // extern "C"
#pragma GCC visibility pop
