#pragma once

#include <cstddef>
#include <malloc.h>
#include <utility>
#include <vector>

namespace bench {

inline constexpr size_t kObjectsMeasured = 20000;

// The bytes of the heap that are in use, those of large blocks with a mapping of their own
// included.
inline size_t heapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// The heap bytes that one object costs, allocator overhead included: the growth of the heap over
// kObjectsMeasured of them, each made by `make()` and kept alive. The handles that `make` returns
// are in memory reserved beforehand, so they do not count.
template <typename Make>
double heapBytesEach(Make make) {
  std::vector<decltype(make())> kept;
  kept.reserve(kObjectsMeasured);
  // What a first object sets up once (pools, class tables) is no cost of the next ones.
  auto first = make();
  const size_t before = heapBytes();
  for (size_t i = 0; i < kObjectsMeasured; ++i) kept.push_back(make());
  const size_t after = heapBytes();
  return static_cast<double>(after - before) / static_cast<double>(kObjectsMeasured);
}

}  // namespace bench
