#include "JNFoundation/platform/store/impl/SharedMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// A piece of memory that smaller ones are cut from.
struct SharedBlock {
  /// The pieces in use, and the thread that still cuts from it.
  ReferenceCount users{1};

  void release() noexcept {
    if (users.decrement() != 1) return;
    users.synchronize();
    std::free(this);
  }
};

/// What stands before a piece. A piece with memory of its own has no block: its size, which may be
/// any, stands before the header.
struct Header {
  /// How far before this the block begins.
  std::uint32_t blockDistance;
  std::uint32_t size;

  SharedBlock& block() noexcept {
    return *reinterpret_cast<SharedBlock*>(reinterpret_cast<std::byte*>(this) - blockDistance);
  }
};

/// Pieces are aligned as what plain `new` gives, so headers stand half way between.
constexpr std::size_t unit = std::max<std::size_t>(__STDCPP_DEFAULT_NEW_ALIGNMENT__, 16);
static_assert(sizeof(Header) <= unit && sizeof(std::size_t) + sizeof(Header) <= unit);

Header& headerOf(void* piece) noexcept { return static_cast<Header*>(piece)[-1]; }
std::size_t& ownSizeOf(void* piece) noexcept {
  return *reinterpret_cast<std::size_t*>(static_cast<std::byte*>(piece) - unit);
}

constexpr std::size_t blockSize = 4000;
#if defined(__SANITIZE_ADDRESS__)
// Each piece has memory of its own, so that uses after its end are found.
constexpr std::size_t sharedLimit = 0;
#else
constexpr std::size_t sharedLimit = blockSize / 8;
#endif

/// The block that a thread cuts from at the moment.
struct Cutter {
  SharedBlock* block = nullptr;
  /// Where the next header may stand.
  std::byte* next = nullptr;
  std::byte* end = nullptr;

  ~Cutter() {
    if (block) block->release();
    block = nullptr;
    next = end = nullptr;
  }

  void* cut(std::size_t size) {
    const std::size_t room = (sizeof(Header) + size + unit - 1) / unit * unit;
    if (static_cast<std::size_t>(end - next) < room) renew();
    block->users.increment();
    const auto distance = static_cast<std::uint32_t>(next - reinterpret_cast<std::byte*>(block));
    auto* header = new (next) Header{distance, static_cast<std::uint32_t>(size)};
    next += room;
    return header + 1;
  }

 private:
  void renew() {
    void* memory = std::malloc(blockSize);
    if (!memory) throw std::bad_alloc();
    if (block) block->release();
    block = new (memory) SharedBlock;
    next = static_cast<std::byte*>(memory) + unit - sizeof(Header);
    end = static_cast<std::byte*>(memory) + blockSize;
  }
};
static_assert(sizeof(SharedBlock) <= unit - sizeof(Header));

thread_local Cutter cutter;

void* takeOwnMemory(std::size_t size) {
  void* memory = size <= SIZE_MAX - unit ? std::malloc(unit + size) : nullptr;
  if (!memory) throw std::bad_alloc();
  void* piece = static_cast<std::byte*>(memory) + unit;
  new (&ownSizeOf(piece)) std::size_t(size);
  new (&headerOf(piece)) Header{0, 0};
  return piece;
}

}  // namespace

void* takeSharedMemory(std::size_t size) {
  return size <= sharedLimit ? cutter.cut(size) : takeOwnMemory(size);
}

void giveBackSharedMemory(void* memory) noexcept {
  Header& header = headerOf(memory);
  if (header.blockDistance != 0) {
    header.block().release();
  } else {
    std::free(&ownSizeOf(memory));
  }
}

std::size_t sizeOfSharedMemory(const void* memory) noexcept {
  auto* piece = const_cast<void*>(memory);
  const Header& header = headerOf(piece);
  return header.blockDistance != 0 ? header.size : ownSizeOf(piece);
}

}  // namespace JNFoundation::impl
