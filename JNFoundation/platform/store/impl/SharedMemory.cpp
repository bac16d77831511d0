#include "JNFoundation/platform/store/impl/SharedMemory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace JNFoundation::impl {
namespace {

/// A piece of memory that smaller ones are cut from.
struct Block {
  /// The pieces in use, and the thread that still cuts from it.
  std::atomic<std::uint32_t> users;

  void release() noexcept {
    if (users.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(this);
  }
};

/// What stands before a piece. The block is null for a piece with memory of its own.
struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Header {
  Block* block;
  std::size_t size;
};

constexpr std::size_t blockSize = 4000;
#if defined(__SANITIZE_ADDRESS__)
// Each piece has memory of its own, so that uses after its end are found.
constexpr std::size_t sharedLimit = 0;
#else
constexpr std::size_t sharedLimit = blockSize / 8;
#endif

/// The block that a thread cuts from at the moment.
struct Cutter {
  Block* block = nullptr;
  std::byte* next = nullptr;
  std::byte* end = nullptr;

  ~Cutter() {
    if (block) block->release();
    block = nullptr;
    next = end = nullptr;
  }

  void* cut(std::size_t size) {
    if (static_cast<std::size_t>(end - next) < size) renew();
    block->users.fetch_add(1, std::memory_order_relaxed);
    return std::exchange(next, next + size);
  }

 private:
  void renew() {
    void* memory = std::malloc(blockSize);
    if (!memory) throw std::bad_alloc();
    if (block) block->release();
    block = new (memory) Block{{1}};
    next = static_cast<std::byte*>(memory) + sizeof(Header);
    end = static_cast<std::byte*>(memory) + blockSize;
  }
};

thread_local Cutter cutter;

}  // namespace

void* takeSharedMemory(std::size_t size) {
  constexpr std::size_t unit = sizeof(Header);
  void* memory;
  Block* block = nullptr;
  if (size <= sharedLimit) {
    memory = cutter.cut(unit + (size + unit - 1) / unit * unit);
    block = cutter.block;
  } else {
    memory = size <= SIZE_MAX - unit ? std::malloc(unit + size) : nullptr;
    if (!memory) throw std::bad_alloc();
  }
  return new (memory) Header{block, size} + 1;
}

void giveBackSharedMemory(void* memory) noexcept {
  Header* header = static_cast<Header*>(memory) - 1;
  if (header->block) {
    header->block->release();
  } else {
    std::free(header);
  }
}

std::size_t sizeOfSharedMemory(const void* memory) noexcept {
  return (static_cast<const Header*>(memory) - 1)->size;
}

}  // namespace JNFoundation::impl
