#pragma once

/// PRISMEL_SANITIZED: this build's sanitizer has an allocator of its own and touches memory of its own, so
/// that nobody can fail an allocation, count page faults or watch the resident memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PRISMEL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(realtime_sanitizer)
#define PRISMEL_SANITIZED 1
#endif
#endif
