#pragma once

#include <cstdint>

// What every side of `positions`, `batch` and `sample-batch` does: in a list that is sorted by a
// number, one element after another gets another number and moves to its new position.
namespace bench {

inline constexpr int64_t kListSizes[] = {1'000, 100'000, 1'000'000};

// The numbers of a list are this far apart at first.
inline constexpr int64_t kGap = 1'000;

// How many objects `sample-batch` has in its sample, and `draw` draws.
inline constexpr int64_t kSampled = 100;

// Which element moves, and to which number: the same for all sides.
class Moves {
 public:
  explicit Moves(int64_t count) : _count(static_cast<uint64_t>(count)) {}

  int64_t element() { return static_cast<int64_t>(next() % _count); }
  int64_t key() { return static_cast<int64_t>(next() % (_count * kGap)); }

 private:
  uint64_t next() {
    _state ^= _state << 13;
    _state ^= _state >> 7;
    _state ^= _state << 17;
    return _state;
  }

  uint64_t _count;
  uint64_t _state = 0x9E3779B97F4A7C15u;
};

// What is measured of each row: the sizes that its name ends with.
inline const char* sizeName(int64_t count) {
  return count == 1'000 ? "1k" : count == 100'000 ? "100k" : "1m";
}

}  // namespace bench
