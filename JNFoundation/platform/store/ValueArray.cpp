#include "JNFoundation/platform/store/ValueArray.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace JNFoundation {
namespace {

/// A piece of memory that arrays are cut from, one behind the other.
struct Block {
  /// The arrays in it, and the thread that still cuts from it.
  std::atomic<std::uint32_t> users;

  void release() noexcept {
    if (users.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(this);
  }
};

/// What stands before the values of an array.
struct Header {
  Block* block;
  std::size_t count;
};
static_assert(sizeof(Header) % alignof(Value) == 0);

/// Small enough that one array that lives on does not hold much.
constexpr std::size_t blockSize = 4000;
constexpr std::size_t sharedLimit = blockSize / 8;

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

ValueArray::ValueArray(std::size_t count) {
  const std::size_t size = sizeof(Header) + count * sizeof(Value);
  void* memory;
  Block* block = nullptr;
  if (size <= sharedLimit) {
    memory = cutter.cut(size);
    block = cutter.block;
  } else {
    memory = std::malloc(size);
    if (!memory) throw std::bad_alloc();
  }
  auto* header = new (memory) Header{block, count};
  _values = reinterpret_cast<Value*>(header + 1);
  for (std::size_t i = 0; i < count; ++i) new (_values + i) Value();
}

void ValueArray::release(Value* values) noexcept {
  Header* header = reinterpret_cast<Header*>(values) - 1;
  for (std::size_t i = header->count; i-- > 0;) values[i].~Value();
  if (header->block) {
    header->block->release();
  } else {
    std::free(header);
  }
}

}  // namespace JNFoundation
