#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace Vantora::stlutils {

/// One stored call, seen without its type. The three operations that move it about work on raw storage, so
/// that a call lives wherever its holder lies: in a ring, on a stack, never on the heap.
template <typename Result, typename... Arguments>
class stack_function_base {
 public:
  virtual Result operator()(Arguments... arguments) = 0;
  /// Constructs a copy at `destination`, which is raw storage of a stack_function.
  virtual void CopyTo(void* destination) const = 0;
  /// Constructs this call's successor at `destination`; what
  /// stays here is moved from and still to be destroyed.
  virtual void MoveTo(void* destination) noexcept = 0;
  virtual ~stack_function_base() = default;
};

/// The call of a callable F, which is held by value.
template <typename F, typename Result, typename... Arguments>
class stack_function_impl final : public stack_function_base<Result, Arguments...> {
 public:
  explicit stack_function_impl(const F& callable) : function(callable) {}
  explicit stack_function_impl(F&& callable) noexcept : function(std::move(callable)) {}

  Result operator()(Arguments... arguments) override { return function(arguments...); }
  void CopyTo(void* destination) const override { ::new (destination) stack_function_impl(function); }
  void MoveTo(void* destination) noexcept override {
    ::new (destination) stack_function_impl(std::move(function));
  }

 private:
  F function;
};

/// A holder: `Size` bytes in place for one call with its table pointer, and a flag that says whether there is
/// one. A callable that doesn't fit is an error of the build.
template <size_t Size, typename Result, typename... Arguments>
class stack_function {
 public:
  using Base = stack_function_base<Result, Arguments...>;

  stack_function() noexcept = default;
  template <typename F>
  requires(!std::is_same_v<std::remove_cvref_t<F>, stack_function>) explicit stack_function(
      F&& callable) noexcept {
    using Impl = stack_function_impl<std::decay_t<F>, Result, Arguments...>;
    static_assert(sizeof(Impl) <= Size, "the callable captures more than the holder has room for");
    static_assert(alignof(Impl) <= kAlignment,
                  "the callable asks for a stricter alignment than the holder has");
    static_assert(std::is_nothrow_move_constructible_v<std::decay_t<F>>);
    ::new (static_cast<void*>(block)) Impl(std::forward<F>(callable));
    empty = false;
  }
  ~stack_function() { Reset(); }
  stack_function(const stack_function&) = delete;
  stack_function& operator=(const stack_function&) = delete;

  bool IsEmpty() const noexcept { return empty; }

  /// Runs the call. There must be one.
  Result operator()(Arguments... arguments) { return Get()(arguments...); }

  /// Fills `other`, which must be empty, with a copy of this call. Nothing happens if there is none.
  void CopyInto(stack_function& other) const {
    if (empty) return;
    Get().CopyTo(other.block);
    other.empty = false;
  }

  /// Moves this call into `other`, which must be empty. The moved-from call stays here until Reset.
  void MoveInto(stack_function& other) noexcept {
    other.empty = empty;
    if (!empty) Get().MoveTo(other.block);
  }

  /// Destroys the call, if there is one.
  void Reset() noexcept {
    if (empty) return;
    empty = true;
    Get().~Base();
  }

 private:
  static constexpr size_t kAlignment = 16;

  Base& Get() noexcept { return *std::launder(reinterpret_cast<Base*>(block)); }
  const Base& Get() const noexcept { return *std::launder(reinterpret_cast<const Base*>(block)); }

  alignas(kAlignment) std::byte block[Size];
  bool empty = true;
};

static_assert(sizeof(stack_function<64, void, bool>) == 80);
static_assert(sizeof(stack_function<328, void, bool>) == 336);

}  // namespace Vantora::stlutils
