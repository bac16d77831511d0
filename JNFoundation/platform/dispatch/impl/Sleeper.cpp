#include "JNFoundation/platform/dispatch/impl/Sleeper.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// To fall asleep and be woken costs both threads more than these turns given up: under a stream of
/// tasks from another thread the next one is here before they are over.
constexpr int turnsGivenUp = 50;
/// Who was woken so early is under such a stream, and leaves it these turns to bring more: one task
/// at a time, both threads would fight over the queue for each.
constexpr int turnsForMore = 12;
/// On a busy machine a turn is long; then the sleep must not be late by all of them.
constexpr std::chrono::microseconds longestSpell{50};

/// Longer sleeps are made of several, so that no sum overflows.
constexpr Nanoseconds longestSleep = 3'600'000'000'000;

}  // namespace

void Sleeper::wake() noexcept {
  _isWoken.store(true);
  if (!_isAsleep.load()) return;
  // The sleeper is either before its look at the flag, which the lock waits for, or waiting
  // already.
  { std::lock_guard guard(_mutex); }
  _condition.notify_one();
}

void Sleeper::sleepUntil(Nanoseconds moment) {
  Clock& clock = Clock::current();
  while (!_isWoken.exchange(false)) {
    if (clock.monotonic() >= moment) return;
    clock.sleepUntil(moment, *this);
  }
}

bool Sleeper::isWokenBefore(Moment moment) const noexcept {
  const auto giveUpTurn = [moment] {
    std::this_thread::yield();
    return std::chrono::steady_clock::now() < moment;
  };
  for (int i = 0; i < turnsGivenUp; ++i) {
    if (isWoken()) {
      for (int more = 0; more < turnsForMore && giveUpTurn(); ++more) {
      }
      return true;
    }
    if (!giveUpTurn()) break;
  }
  return isWoken();
}

void Sleeper::block(Nanoseconds span) {
  const Moment begin = std::chrono::steady_clock::now();
  const Moment end = begin + std::chrono::nanoseconds(std::min(span, longestSleep));
  if (isWokenBefore(std::min(end, begin + longestSpell))) return;
  std::unique_lock lock(_mutex);
  _isAsleep.store(true);
  const auto wasWoken = [this] { return isWoken(); };
  if (span == never) {
    _condition.wait(lock, wasWoken);
  } else {
    _condition.wait_until(lock, end, wasWoken);
  }
  _isAsleep.store(false);
}

}  // namespace JNFoundation::impl
