#pragma once

#include <cstdint>

// The work of `chain` and `fanout`, the same for every side: what a step does, how many there are.
namespace bench {

inline constexpr int kSteps = 10;
inline constexpr int kListeners = 100;

// One step of a chain: two words of capture, as a step that knows its owner and one thing more.
struct Step {
  int64_t* calls;
  int64_t addend;

  int64_t operator()(int64_t value) const {
    ++*calls;
    return value + addend;
  }
};

// One listener of a fan-out: one word of capture.
struct Listener {
  int64_t* sum;

  void operator()(int64_t value) const { *sum += value; }
};

// What kSteps steps with the addends 0 to 9 make of `start`.
constexpr int64_t expectedOfChain(int64_t start) { return start + kSteps * (kSteps - 1) / 2; }

}  // namespace bench
