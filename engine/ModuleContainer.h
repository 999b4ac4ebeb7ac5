#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/ChildModule.h"
#include "engine/Module.h"
#include "engine/ParamStore.h"

namespace Vantora::dsp {

/// BlockConfig: what a module is configured for.
struct BlockConfig {
  uint32_t maxBlockSize;  ///< samples
  float sampleRate;       ///< Hz
};

namespace details {

/// Children by value, constructed and laid out in list order. Each is made in place by a callable of its own.
template <typename... Ts>
struct ChildList {};

template <typename Head, typename... Tail>
struct ChildList<Head, Tail...> {
  template <typename Make, typename... Rest>
  explicit ChildList(Make&& make, Rest&&... rest) : head(make()), tail(std::forward<Rest>(rest)...) {}

  Head head;
  [[no_unique_address]] ChildList<Tail...> tail;
};

template <std::size_t Index, typename List>
auto& ChildAt(List& list) {
  if constexpr (Index == 0) {
    return list.head;
  } else {
    return ChildAt<Index - 1>(list.tail);
  }
}

/// First flat index of each child, and behind them the first own index.
template <typename... Ts>
constexpr std::array<uint32_t, sizeof...(Ts) + 1> ChildBases() {
  std::array<uint32_t, sizeof...(Ts) + 1> bases{};
  const uint32_t counts[] = {Ts::kParamCount...};
  for (std::size_t i = 0; i < sizeof...(Ts); ++i) bases[i + 1] = bases[i] + counts[i];
  return bases;
}

}  // namespace details

/// ModuleContainer: a compile-time list of child modules as one module with one flat parameter space.
///
/// Children are held by value, so a tree of modules is one contiguous object and no child is found through a
/// pointer. The index space is the parameters of the first child, then those of the second and so on, then
/// the own ones. An index is routed by a chain of comparisons against constants. What happens in a block is
/// the derived class's affair: it calls `Process` of the children it wants.
///
/// A forward list names, in the flat space, the parameters
/// that follow an own one: one knob can drive several.
template <typename... Ts>
class ModuleContainer : public Module {
  // Sentences and not a constraint of the template: compilers don't tell which of several children failed in
  // what.
  static_assert((engine::IsAWholeModule<Ts> && ...),
                "a child is a dsp::Module that leaves no operation pure");
  static_assert((engine::StatesItsParamCount<Ts> && ...),
                "a child says as kParamCount how many parameters it has");
  static_assert((engine::TakesValuesFromInside<Ts> && ...),
                "a child takes values from inside the tree as SetParamInternal(index, value)");

 public:
  static constexpr std::size_t kChildCount = sizeof...(Ts);
  /// Flat index of each child's parameter 0; the last entry is where the own list starts.
  static constexpr std::array<uint32_t, kChildCount + 1> kChildBases = details::ChildBases<Ts...>();
  static constexpr uint32_t kOwnBase = kChildBases[kChildCount];

  /// `makers` are callables, one for each child in list order, that return the child.
  template <typename... Makers>
  ModuleContainer(std::string moduleName, uint32_t inputs, uint32_t outputs, std::vector<ParamRecord> records,
                  Makers&&... makers)
      : Module(std::move(moduleName), inputs, outputs),
        children(std::forward<Makers>(makers)...),
        store(std::move(records)) {
    static_assert(sizeof...(Makers) == kChildCount, "one maker for each child");
  }
  ~ModuleContainer() override = 0;

  /// Children in list order with the pair of `AdjustConfig`,
  /// then the container itself with the unadjusted one.
  void Init(uint32_t maxBlockSize, float sampleRate) override {
    const BlockConfig config = AdjustConfig(maxBlockSize, sampleRate);
    ForEachChild([&](auto& child) { child.Init(config.maxBlockSize, config.sampleRate); });
    Configure(maxBlockSize, sampleRate);
    DoReset(true);
    changed = 1;
    store.SetDirty(true);
  }

  void Shutdown() override {
    ForEachChild([](auto& child) { child.Shutdown(); });
    OnShutdown();
  }

  void ResetState(bool hard) override {
    ForEachChild([&](auto& child) { child.ResetState(hard); });
    DoReset(hard);
    changed = 1;
    if (hard) store.SetDirty(true);
  }

  /// Always true; an index beyond everything is ignored.
  bool SetParam(uint32_t index, float normalized) override { return RouteParam(index, normalized); }

  /// 0 for an index beyond everything.
  float GetParam(uint32_t index) override {
    float result = 0.0f;
    if (AtChild(index, [&](auto& child, uint32_t inner) { result = child.GetParam(inner); })) return result;
    const uint32_t own = index - kOwnBase;
    return own < store.Count() ? store.params[own].GetNormalized() : 0.0f;
  }

  /// Root to leaf, joined by "_"; nothing for an index beyond everything.
  void AppendParamName(uint32_t index, NameBuilder& builder) override {
    const uint32_t own = index - kOwnBase;
    if (index >= kOwnBase && own >= store.Count()) return;
    builder.AppendPrefix(name);
    if (AtChild(index, [&](auto& child, uint32_t inner) { child.AppendParamName(inner, builder); })) return;
    builder.Append(store.params[own].GetName());
  }

  /// The own flags only: a child's are cleared by its own `Process`.
  void SetDirty(bool flag) override { store.SetDirty(flag); }

  /// Write from inside the tree, in the parameter's own unit.
  virtual void SetParamInternal(uint32_t index, float value) {
    if (AtChild(index, [&](auto& child, uint32_t inner) { child.SetParamInternal(inner, value); })) return;
    const uint32_t own = index - kOwnBase;
    if (own >= store.Count()) return;
    store.SetValue(own, value);
    const float normalized = store.params[own].GetNormalized();
    ForwardFrom(own, normalized);
  }

  /// The derived class's part of `Shutdown`.
  virtual void OnShutdown() {}

  /// What the children are configured for; a container that oversamples its children changes the pair here.
  virtual BlockConfig AdjustConfig(uint32_t maxBlockSize, float sampleRate) {
    return {maxBlockSize, sampleRate};
  }

  /// A record by flat index, for parents and tests; the index must exist.
  ParamRecord& Param(uint32_t index) {
    ParamRecord* record = nullptr;
    if (AtChild(index, [&](auto& child, uint32_t inner) { record = &child.Param(inner); })) return *record;
    return store.params[index - kOwnBase];
  }

  /// All parameters, the children's and the own ones.
  uint32_t GetParamCount() const { return kOwnBase + store.Count(); }

  /// Child `Index` of the list.
  template <std::size_t Index>
  auto& Child() {
    return details::ChildAt<Index>(children);
  }

 protected:
  /// Calls `visit` with each child in list order.
  template <typename Visit>
  void ForEachChild(Visit&& visit) {
    ForEachChild(std::forward<Visit>(visit), std::make_index_sequence<kChildCount>{});
  }

  /// Calls `visit` with child number `which`; false when there is none.
  template <typename Visit>
  bool AtChildNumber(uint64_t which, Visit&& visit) {
    return AtChildNumber(which, visit, std::make_index_sequence<kChildCount>{});
  }

  // The own list, by position in it.
  ParamRecord& OwnRecord(uint32_t position) { return store.params[position]; }
  float OwnValue(uint32_t position) { return store.params[position].GetValue(); }
  void SetOwnValue(uint32_t position, float value) { store.SetValue(position, value); }  // nobody follows
  float OwnNormalized(uint32_t position) { return store.params[position].GetNormalized(); }
  bool IsAnyOwnDirty() const { return store.anyDirty != 0; }
  bool IsOwnDirty(uint32_t position) const { return store.dirtyFlags[position] != 0; }

  void AddParams(std::vector<ParamRecord> records) { store.Add(std::move(records)); }

  /// Makes flat indices follow the own parameter at `position`, in the order given.
  void Forward(uint32_t position, std::initializer_list<uint32_t> targets) {
    for (const uint32_t target : targets) forwardings.push_back({position, target});
  }

 private:
  struct Forwarding {
    uint32_t position;  // in the own list
    uint32_t target;    // flat
  };

  bool RouteParam(uint32_t index, float normalized) {
    if (AtChild(index, [&](auto& child, uint32_t inner) { child.SetParam(inner, normalized); })) return true;
    const uint32_t own = index - kOwnBase;
    if (own >= store.Count()) return true;
    store.SetNormalized(own, normalized);
    // On equal values too: a follower may have been moved by itself since.
    ForwardFrom(own, normalized);
    return true;
  }

  void ForwardFrom(uint32_t own, float normalized) {
    for (const Forwarding& forwarding : forwardings) {
      if (forwarding.position == own) RouteParam(forwarding.target, normalized);
    }
  }

  /// Calls `visit` with the child that owns a flat index and the index within it; false for an own one.
  template <typename Visit>
  bool AtChild(uint32_t index, Visit&& visit) {
    return AtChild(index, visit, std::make_index_sequence<kChildCount>{});
  }

  template <typename Visit, std::size_t... Index>
  bool AtChild(uint32_t index, Visit& visit, std::index_sequence<Index...>) {
    return ((index < kChildBases[Index + 1] && (visit(Child<Index>(), index - kChildBases[Index]), true)) ||
            ...);
  }

  template <typename Visit, std::size_t... Index>
  bool AtChildNumber(uint64_t which, Visit& visit, std::index_sequence<Index...>) {
    return ((which == Index && (visit(Child<Index>(), std::integral_constant<std::size_t, Index>{}), true)) ||
            ...);
  }

  template <typename Visit, std::size_t... Index>
  void ForEachChild(Visit&& visit, std::index_sequence<Index...>) {
    (visit(Child<Index>()), ...);
  }

  details::ChildList<Ts...> children;
  ParamStore store;
  std::vector<Forwarding> forwardings;  // a handful at most
};

template <typename... Ts>
ModuleContainer<Ts...>::~ModuleContainer() = default;

}  // namespace Vantora::dsp
