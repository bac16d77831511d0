#pragma once

#include <cstdint>

// The work of `post`, the same for every side: one thread posts, the main one drains meanwhile.
namespace bench {

inline constexpr int64_t kTasks = 1000000;

// What the tasks touch. Only the draining thread reads and writes it.
struct Drain {
  int64_t ran = 0;
  bool inOrder = true;

  // Runs the task of that number; true for the last one.
  bool run(int64_t number) {
    inOrder = inOrder && number == ran;
    return ++ran == kTasks;
  }

  bool isComplete() const { return ran == kTasks && inOrder; }
};

}  // namespace bench
