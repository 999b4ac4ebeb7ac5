#include "cli/offline/JobPool.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <map>
#include <new>

#include "cli/Failure.h"
#include "cli/audio/PendingFile.h"
#include "host/files/NewFile.h"

namespace Vantora::cli {
namespace {

// A worker's exit status, where memory has run out; 0 otherwise, whatever its report says.
constexpr int kWithoutMemory = Failure::kRuntime;

// The running workers, for the signal handler. 0 where none.
std::array<std::atomic<pid_t>, JobPool::kMaxParallel> workers;
static_assert(std::atomic<pid_t>::is_always_lock_free);

void EndWorkersAndDie(int signal) {
  for (const auto& worker : workers) {
    if (const pid_t pid = worker.load(); pid > 0) kill(pid, SIGTERM);
  }
  for (const auto& worker : workers) {
    if (const pid_t pid = worker.load(); pid > 0) waitpid(pid, nullptr, 0);
  }
  raise(signal);  // SA_RESETHAND: the default action ends us once the handler is left
}

void ForEndingSignals(void (*handler)(int)) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // as nohup wants it
    action = {};
    action.sa_handler = handler;
    action.sa_flags = handler == SIG_DFL ? 0 : static_cast<int>(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

void NoteWorker(pid_t from, pid_t to) {
  for (auto& worker : workers) {
    if (worker.load() != from) continue;
    worker.store(to);
    return;
  }
}

}  // namespace

JobPool::JobPool(std::vector<Job> allJobs) : jobs(std::move(allJobs)) {
  void* memory = mmap(nullptr, sizeof(JobReport) * std::max<size_t>(jobs.size(), 1), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  reports = static_cast<JobReport*>(memory);
  for (size_t i = 0; i < jobs.size(); ++i) new (reports + i) JobReport();
}

JobPool::~JobPool() { munmap(reports, sizeof(JobReport) * std::max<size_t>(jobs.size(), 1)); }

int JobPool::StartWorker(size_t i) {
  std::fflush(nullptr);  // or the worker would write our buffers a second time
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid < 0) throw Failure(fmt::format("can't start a worker: {}", std::strerror(errno)));
  if (pid > 0) return pid;

  ForEndingSignals(SIG_DFL);
  PendingFile::CleanUpOnSignals();
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) raise(SIGTERM);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  try {
    jobs[i].work(reports[i]);
  } catch (const Failure& failure) {
    reports[i].SetFailure(failure.what(), failure.Status());
  } catch (const host::HostError& problem) {  // says itself what is at fault, which isn't always the file
    reports[i].SetFailure(problem.what(), Failure::kRuntime);
  } catch (const std::bad_alloc&) {
    _exit(kWithoutMemory);  // the parent has the memory to say so
  } catch (const std::exception& problem) {
    try {
      reports[i].SetFailure(fmt::format("{}: {}", jobs[i].name, problem.what()), Failure::kRuntime);
    } catch (const std::bad_alloc&) {
      _exit(kWithoutMemory);
    }
  }
  std::fflush(nullptr);
  _exit(0);
}

void JobPool::NoteEnd(size_t i, int pid, int status) {
  JobReport& report = reports[i];
  if (WIFEXITED(status)) {
    if (WEXITSTATUS(status) == 0) return;
    // A worker that could not write its report.
    if (!jobs[i].folder.empty()) host::NewFile::RemoveAbandoned(jobs[i].folder, pid);
    report.finished = false;
    report.SetFailure(fmt::format("{}: not enough memory", jobs[i].name), Failure::kRuntime);
    return;
  }
  // A crash leaves no time for cleaning up.
  if (!jobs[i].folder.empty()) host::NewFile::RemoveAbandoned(jobs[i].folder, pid);
  const int signal = WTERMSIG(status);
  report.finished = false;
  report.SetFailure(signal == SIGPIPE ? std::string("standard output was closed by its reader")
                                      : fmt::format("{}: its render ended by signal {} ({})", jobs[i].name,
                                                    signal, strsignal(signal)),
                    Failure::kRuntime);
}

void JobPool::Run(unsigned parallel, const std::function<void(size_t)>& finished,
                  const std::function<void()>& tick) {
  parallel = std::max(1u, std::min(parallel, kMaxParallel));
  sigset_t childEnds, before;
  sigemptyset(&childEnds);
  sigaddset(&childEnds, SIGCHLD);
  sigprocmask(SIG_BLOCK, &childEnds, &before);
  ForEndingSignals(EndWorkersAndDie);

  std::map<pid_t, size_t> running;
  size_t next = 0;
  while (next < jobs.size() || !running.empty()) {
    while (next < jobs.size() && running.size() < parallel) {
      // No signal may fall between the worker's start and its entry in the handler's list.
      sigset_t all, old;
      sigfillset(&all);
      sigprocmask(SIG_BLOCK, &all, &old);
      const pid_t pid = StartWorker(next);
      NoteWorker(0, pid);
      sigprocmask(SIG_SETMASK, &old, nullptr);
      running[pid] = next++;
    }
    int status = 0;
    const pid_t ended = waitpid(-1, &status, WNOHANG);
    if (const auto found = running.find(ended); ended > 0 && found != running.end()) {
      const size_t i = found->second;
      NoteWorker(ended, 0);
      running.erase(found);
      NoteEnd(i, ended, status);
      finished(i);
      continue;
    }
    constexpr timespec kTenth{0, 100'000'000};
    sigtimedwait(&childEnds, nullptr, &kTenth);
    tick();
  }
  ForEndingSignals(SIG_DFL);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace Vantora::cli
