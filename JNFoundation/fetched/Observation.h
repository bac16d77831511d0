#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

/// Somebody who observes something. It goes on for as long as this is kept, or until `stop`.
///
///     _observation = state->observe([this](const RefreshStatus& status) { show(status); });
///
/// Threads: those of what is observed.
class Observation : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Calls: the observer never again. It is let go of, once it is not running.
  virtual void stop() = 0;
};

namespace impl {

template <class Event>
class Observer final : public Observation {
 public:
  Observer(Block<void(const Event&)> block, std::uint64_t known)
      : _block(std::move(block)), _known(known) {}

  void stop() override { _block = nullptr; }
  /// Whether the observer began with a state that has the event in it.
  bool knows(std::uint64_t event) const noexcept { return event <= _known; }
  void tell(const Event& event) const {
    // Copied, since the observer may stop itself.
    if (const Block<void(const Event&)> block = _block) block(event);
  }

 private:
  Block<void(const Event&)> _block;
  std::uint64_t _known;
};

/// Those who observe one thing.
///
/// What happens while they are told is told afterwards, so that all of them hear of everything in
/// the same order.
template <class Event>
class ObserverList {
 public:
  /// Takes: how many events that are not told yet are in the present state already.
  /// Calls: the block with the present state, now, and with every event that is not in it.
  Ref<Observation> add(Block<void(const Event&)> block, const Event& present,
                       std::uint64_t eventsAhead = 0) {
    auto observer = makeObject<Observer<Event>>(std::move(block), _lastEvent + eventsAhead);
    _observers.emplace_back(observer);
    observer->tell(present);
    return observer;
  }

  /// Requires: a list that outlives the call.
  void tell(const Event& event) {
    _waiting.push_back(event);
    ++_lastEvent;
    if (_isTelling) return;
    const Telling telling(*this);
    while (!_waiting.empty()) {
      const Event next = std::move(_waiting.front());
      const std::uint64_t number = _lastEvent - _waiting.size() + 1;
      _waiting.pop_front();
      std::vector<Ref<Observer<Event>>> observers;
      std::vector<Weak<Observer<Event>>> alive;
      for (const Weak<Observer<Event>>& each : _observers) {
        if (Ref<Observer<Event>> observer = each.load()) {
          alive.push_back(each);
          observers.push_back(std::move(observer));
        }
      }
      _observers = std::move(alive);
      for (const Ref<Observer<Event>>& observer : observers) {
        if (!observer->knows(number)) observer->tell(next);
      }
    }
  }

 private:
  /// What an observer raises ends the telling, and drops what was still to be told.
  class Telling {
   public:
    explicit Telling(ObserverList& list) : _list(list) { list._isTelling = true; }
    ~Telling() {
      _list._isTelling = false;
      _list._waiting.clear();
    }
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;

   private:
    ObserverList& _list;
  };

  std::vector<Weak<Observer<Event>>> _observers;
  std::deque<Event> _waiting;
  /// Events are numbered from 1 on; this one was the last to wait.
  std::uint64_t _lastEvent = 0;
  bool _isTelling = false;
};

}  // namespace impl

}  // namespace JNFoundation
