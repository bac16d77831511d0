#include "JNFoundation/deferred/DeferredTrace.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/deferred/Continuation.h>
#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/impl/Combination.h>
#include <JNFoundation/deferred/impl/WalkPause.h>
#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

using impl::Step;
using impl::Watch;

void DeferredTrace::setEnabled(bool enabled) { Watch::turn(Watch::Reason::Trace, enabled); }

bool DeferredTrace::isEnabled() noexcept { return Watch::isOnFor(Watch::Reason::Trace); }

void DeferredTrace::setLabel(const Ref<PLVResolvable>& resolvable, const Ref<NSString>& label) {
  if (resolvable && Watch::isOn()) Watch::setLabel(*resolvable->protocolObject(), label);
}

/// Looks at the objects and finds who waits for whom. Positions are those in `_entries`.
struct DeferredTrace::Builder {
  std::vector<Entry> entries;
  std::vector<Ref<NSObject>> objects;
  std::unordered_map<const NSObject*, std::size_t> positions;
  std::vector<std::vector<std::size_t>> waitsFor;
  /// Those that other threads are still making: nothing of them may be looked at.
  std::unordered_set<std::size_t> unfinished;

  std::size_t add(const Ref<NSObject>& object, Entry entry) {
    positions.emplace(object.get(), entries.size());
    entries.push_back(std::move(entry));
    objects.push_back(object);
    waitsFor.emplace_back();
    return entries.size() - 1;
  }

  std::size_t positionOf(NSObject& object) {
    const auto found = positions.find(&object);
    if (found != positions.end()) return found->second;
    Entry entry{};
    entry.number = entries.empty() ? 1 : entries.back().number + 1;
    entry.className = object.class_().name();
    return add(Ref<NSObject>(&object), std::move(entry));
  }

  void waits(NSObject& waiter, NSObject& awaited) {
    const std::size_t from = positionOf(waiter);
    const std::size_t to = positionOf(awaited);
    auto& edges = waitsFor[from];
    if (std::find(edges.begin(), edges.end(), to) == edges.end()) edges.push_back(to);
  }

  void look(std::size_t position) {
    const Value object(objects[position]);
    if (auto* deferred = as<PLVDeferred>(object)) {
      entries[position].state = lookAt(*deferred);
    } else if (auto* promise = as<PLVPromise>(object)) {
      entries[position].state = lookAt(*promise);
    } else if (auto* enumeration = as<PLVDeferredEnumeration>(object)) {
      entries[position].state = lookAt(*enumeration);
    }
  }

  State lookAt(PLVDeferred& deferred) {
    // What a step resolves or resumes waits for this chain.
    for (const Step* step : deferred._deferredSteps.steps()) {
      if (NSObject* waiter = waiterIn(*step)) waits(*waiter, deferred);
    }
    if (deferred._paused) {
      if (auto* inner = as<PLVDeferred>(deferred._resolution)) waits(deferred, *inner);
      return State::Waiting;
    }
    if (deferred._consumingStep) return State::Running;
    return deferred._resolved ? stateOf(deferred._resolution, deferred._cancelled) : State::Pending;
  }

  State lookAt(PLVPromise& promise) {
    if (promise._resolvables) {
      const Ref<NSArray> listeners = promise._resolvables->array();
      for (NSUInteger i = 0; i < listeners->count(); ++i) {
        const Value listener = listeners->objectAtIndex(i);
        if (listener.isObject()) waits(*listener.object(), promise);
      }
    } else {
      for (const Ref<NSObject>& listener : promise._ownListeners) {
        if (listener) waits(*listener, promise);
      }
    }
    if (promise._isFulfilled) return stateOf(promise._resolution, promise._cancelled);
    if (const Ref<PLVDeferred> awaited = promise._deferredSource.load()) waits(promise, *awaited);
    return promise._resolved ? State::Waiting : State::Pending;
  }

  State lookAt(PLVDeferredEnumeration& enumeration) {
    if (const Ref<PLVDeferred> completion = enumeration.completion()) {
      waits(*completion, enumeration);
    }
    if (const Ref<PLVDeferred> current = enumeration.current()) {
      waits(enumeration, *current);
      return State::Waiting;
    }
    return enumeration.enumerationBlock() ? State::Running : State::Idle;
  }

  /// What the chain's value goes to from the step, or null.
  static NSObject* waiterIn(const Step& step) {
    switch (step.kind) {
      case Step::Kind::Resolve:
        if (isKindOf<impl::CombinationObserver>(*step.object)) {
          return static_cast<impl::CombinationObserver&>(*step.object).result();
        }
        return step.object.get();
      case Step::Kind::ResumeDeferred:
      case Step::Kind::ResumePromise:
        return step.object.get();
      case Step::Kind::Continue:
        return static_cast<impl::Continuation&>(*step.object).receiver();
      case Step::Kind::ResumeWalk:
        return &static_cast<impl::WalkPause&>(*step.object).enumeration();
      default:
        return nullptr;
    }
  }

  static State stateOf(const Value& outcome, bool isCancelled) {
    if (isCancelled || isCancellation(outcome)) return State::Cancelled;
    return isKindOf<PLVRejected>(outcome) ? State::Rejected : State::Resolved;
  }

  /// Marks what waits for itself: the members of every strongly connected component that has more
  /// than one member, or a member with an arrow to itself. Tarjan's algorithm, on a stack of its
  /// own.
  void markCycles() {
    constexpr std::size_t unvisited = 0;
    std::vector<std::size_t> order(entries.size(), unvisited);
    std::vector<std::size_t> lowest(entries.size(), 0);
    std::vector<bool> isOpen(entries.size(), false);
    std::vector<std::size_t> open;
    struct Visit {
      std::size_t position;
      std::size_t next;
    };
    std::vector<Visit> visits;
    std::size_t last = 0;
    const auto enter = [&](std::size_t position) {
      order[position] = lowest[position] = ++last;
      isOpen[position] = true;
      open.push_back(position);
      visits.push_back({position, 0});
    };
    for (std::size_t root = 0; root < entries.size(); ++root) {
      if (order[root] == unvisited) enter(root);
      while (!visits.empty()) {
        const std::size_t position = visits.back().position;
        if (visits.back().next < waitsFor[position].size()) {
          const std::size_t to = waitsFor[position][visits.back().next++];
          if (order[to] == unvisited) {
            enter(to);
          } else if (isOpen[to]) {
            lowest[position] = std::min(lowest[position], order[to]);
          }
          continue;
        }
        visits.pop_back();
        if (!visits.empty()) {
          const std::size_t above = visits.back().position;
          lowest[above] = std::min(lowest[above], lowest[position]);
        }
        if (lowest[position] == order[position]) close(position, open, isOpen);
      }
    }
  }

  void close(std::size_t first, std::vector<std::size_t>& open, std::vector<bool>& isOpen) {
    const auto& own = waitsFor[first];
    const bool isCycle =
        open.back() != first || std::find(own.begin(), own.end(), first) != own.end();
    for (bool isLast = false; !isLast;) {
      const std::size_t member = open.back();
      open.pop_back();
      isOpen[member] = false;
      entries[member].isInCycle = isCycle;
      isLast = member == first;
    }
  }
};

DeferredTrace DeferredTrace::now() {
  DeferredTrace trace;
  if (!isEnabled()) return trace;
  Builder builder;
  const Nanoseconds now = Clock::current().monotonic();
  for (auto& [record, object] : Watch::living()) {
    Entry entry{};
    entry.number = record.number;
    entry.className = record.isWhole ? object->class_().name() : "PLVResolvable"_s;
    entry.label = record.label;
    entry.age = static_cast<NSTimeInterval>(now - record.bornAt) / 1e9;
    entry.place = record.place;
    const std::size_t position = builder.add(object, std::move(entry));
    if (!record.isWhole) builder.unfinished.insert(position);
  }
  // Looking may bring in more, which then are looked at as well.
  for (std::size_t position = 0; position < builder.entries.size(); ++position) {
    if (!builder.unfinished.contains(position)) builder.look(position);
  }
  builder.markCycles();
  for (std::size_t position = 0; position < builder.entries.size(); ++position) {
    for (const std::size_t awaited : builder.waitsFor[position]) {
      builder.entries[position].waitsFor.push_back(builder.entries[awaited].number);
    }
  }
  trace._entries = std::move(builder.entries);
  return trace;
}

DeferredTrace DeferredTrace::unsettled() const {
  DeferredTrace trace;
  std::copy_if(_entries.begin(), _entries.end(), std::back_inserter(trace._entries),
               [](const Entry& entry) { return !entry.isSettled(); });
  return trace;
}

}  // namespace JNFoundation
