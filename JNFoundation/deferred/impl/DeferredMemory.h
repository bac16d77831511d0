#pragma once

#include <cstddef>

namespace JNFoundation::inline v0_1::impl {

/// Memory for deferreds. They come and go in bursts, so each thread keeps a few pieces that are
/// free for the next ones. Builds that watch addresses get every piece from the heap.
class DeferredMemory {
 public:
  static void* take(std::size_t size);
  static void giveBack(void* memory, std::size_t size) noexcept;
};

}  // namespace JNFoundation::impl
