#include "tests/support/RealTimeGuard.h"

#include <dlfcn.h>
#include <linux/capability.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <typeinfo>

#include "tests/support/LibraryMemory.h"
#include "tests/support/Sanitized.h"

namespace Vantora::test {

namespace {

struct Watcher {
  bool watching = false;
  uint64_t mallocsUntilFailure = 0;
  RealTimeViolations seen;
};
thread_local Watcher watcher;

uint64_t ThreadPageFaults() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return static_cast<uint64_t>(usage.ru_minflt + usage.ru_majflt);
}

/// Whether any amount may be locked. Within a limit the lock itself can succeed, and an allocation later fail
/// for it.
bool MayLockAll() {
  rlimit limit{};
  if (getrlimit(RLIMIT_MEMLOCK, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) return true;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
  return syscall(SYS_capget, &header, data) == 0 && (data[0].effective & (1u << CAP_IPC_LOCK)) != 0;
}

#if !defined(PRISMEL_SANITIZED) && defined(__x86_64__)
#define PRISMEL_DISPATCH 1
// Read by the kernel at every system call of this thread: 1 turns the call into a SIGSYS.
thread_local volatile char blockSystemCalls = 0;

void OnSystemCall(int, siginfo_t* info, void* context) {
  blockSystemCalls = 0;
  ++watcher.seen.systemCalls;
  // Run the caught instruction again, let through this time: the test goes on, and fails with a count.
  auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  registers[REG_RIP] -= 2;
  registers[REG_RAX] = info->si_syscall;
}

bool ArmThread() {
  constexpr int kSetSyscallUserDispatch = 59;
  static const bool handlerSet = [] {
    struct sigaction action {};
    action.sa_sigaction = OnSystemCall;
    action.sa_flags = SA_SIGINFO;
    return sigaction(SIGSYS, &action, nullptr) == 0;
  }();
  return handlerSet && prctl(kSetSyscallUserDispatch, 1, 0, 0, &blockSystemCalls) == 0;
}
#endif

}  // namespace

std::string RealTimeViolations::Text() const {
  std::string text;
  const auto add = [&](uint64_t count, const char* what) {
    if (count != 0) text += std::to_string(count) + " " + what + " ";
  };
  add(allocations, "allocations");
  add(releases, "releases");
  add(locks, "locks");
  add(throws, "throws");
  add(systemCalls, "system calls");
  add(pageFaults, "page faults");
  return text.empty() ? "nothing" : text;
}

RealTimeGuard::RealTimeGuard() {
#if defined(PRISMEL_DISPATCH)
  static thread_local const bool armed = ArmThread();
#endif
  watcher.seen = {};
  faultsBefore = ThreadPageFaults();
  watcher.watching = true;
#if defined(PRISMEL_DISPATCH)
  if (armed) blockSystemCalls = 1;
#endif
}

RealTimeGuard::~RealTimeGuard() { Stop(); }

RealTimeViolations RealTimeGuard::Stop() {
#if defined(PRISMEL_DISPATCH)
  blockSystemCalls = 0;
#endif
  watcher.watching = false;
  if (running) watcher.seen.pageFaults = ThreadPageFaults() - faultsBefore;
  running = false;
  return watcher.seen;
}

void FailMalloc(uint64_t which) { watcher.mallocsUntilFailure = which; }

bool RealTimeGuard::LockMemory() {
  if (!MayLockAll() || mlockall(MCL_CURRENT | MCL_FUTURE) != 0) return false;
  // On a machine with several memories the kernel takes pages away to see who touches them. Not where a
  // thread has said that its memory stays near; where it may not say so, nothing is lost.
  constexpr int kStaysNear = 4;
  static_cast<void>(syscall(SYS_set_mempolicy, kStaysNear, nullptr, 0));
  return true;
}

bool RealTimeGuard::WatchesEverything() {
#if defined(PRISMEL_DISPATCH)
  static const bool armed = ArmThread();
  return armed;
#else
  return false;
#endif
}

}  // namespace Vantora::test

#if !defined(PRISMEL_SANITIZED)

namespace {

using Vantora::test::RealTimeViolations;

void Count(uint64_t RealTimeViolations::*what) {
  auto& watcher = Vantora::test::watcher;
  if (watcher.watching) ++(watcher.seen.*what);
}

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Seen by every library of the process, whatever the project's own default.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(size_t size) {
  Count(&RealTimeViolations::allocations);
  auto& countdown = Vantora::test::watcher.mallocsUntilFailure;
  if (countdown != 0 && --countdown == 0) return nullptr;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  Count(&RealTimeViolations::allocations);
  return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  Count(&RealTimeViolations::allocations);
  return __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  Count(&RealTimeViolations::allocations);
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
  Count(&RealTimeViolations::allocations);
  *memory = __libc_memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

void free(void* memory) {
  if (memory != nullptr) Count(&RealTimeViolations::releases);
  __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  Count(&RealTimeViolations::locks);
  return next(mutex);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
  static const auto next = Next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
  Count(&RealTimeViolations::locks);
  return next(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
  static const auto next = Next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
  Count(&RealTimeViolations::locks);
  return next(lock);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto next = Next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  Count(&RealTimeViolations::locks);
  return next(condition, mutex);
}

int sem_wait(sem_t* semaphore) {
  static const auto next = Next<int (*)(sem_t*)>("sem_wait");
  Count(&RealTimeViolations::locks);
  return next(semaphore);
}

void __cxa_throw(void* exception, std::type_info* type, void (*destructor)(void*)) {
  static const auto next = Next<void (*)(void*, std::type_info*, void (*)(void*))>("__cxa_throw");
  Count(&RealTimeViolations::throws);
  next(exception, type, destructor);
  __builtin_unreachable();
}

}  // extern "C"

#pragma GCC visibility pop

#endif
