#include "JNFoundation/platform/value/SharedMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// A piece of memory that smaller ones are cut from.
struct SharedBlock {
  /// As long as a thread cuts from it, more than pieces fit: cutting need not count them one by
  /// one.
  static constexpr std::uint32_t open = 0x10000;

  /// How many pieces are in use, and `open` less those cut so far while a thread cuts from it.
  impl::ReferenceCount users{open};

  void release(std::uint32_t count) noexcept {
    if (users.decrement(count) != count) return;
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
static_assert(sizeof(SharedBlock) <= unit - sizeof(Header));

Header& headerOf(void* piece) noexcept { return static_cast<Header*>(piece)[-1]; }
std::size_t& ownSizeOf(void* piece) noexcept {
  return *reinterpret_cast<std::size_t*>(static_cast<std::byte*>(piece) - unit);
}

constexpr std::size_t blockSize = 4000;
static_assert(blockSize / unit < SharedBlock::open);
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define JN_CHECKS_ADDRESSES 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(JN_CHECKS_ADDRESSES)
// Each piece has memory of its own, so that uses after its end are found.
constexpr std::size_t sharedLimit = 0;
#else
constexpr std::size_t sharedLimit = blockSize / 8;
#endif

/// What a thread cuts pieces of one use from at the moment. Needs no destruction itself: objects
/// are made until the very end of a thread.
struct Cutter {
  SharedBlock* block;
  /// Where the next header may stand.
  std::byte* next;
  std::byte* end;
  /// The pieces cut from the block.
  std::uint32_t count;
  /// Whether the thread is ending: nobody would close another block.
  bool isOver;

  void close() noexcept {
    if (block) block->release(SharedBlock::open - count);
    block = nullptr;
    next = end = nullptr;
  }

  void renew() {
    void* memory = std::malloc(blockSize);
    if (!memory) throw std::bad_alloc();
    close();
    block = new (memory) SharedBlock;
    next = static_cast<std::byte*>(memory) + unit - sizeof(Header);
    end = static_cast<std::byte*>(memory) + blockSize;
    count = 0;
  }
};

constinit thread_local Cutter cutters[2]{};

/// Closes the blocks of a thread that ends.
struct Closing {
  ~Closing() {
    for (Cutter& cutter : cutters) {
      cutter.isOver = true;
      cutter.close();
    }
  }
  void begin() const noexcept {}
};

thread_local const Closing closing;

void* takeOwnMemory(std::size_t size) {
  void* memory =
      size <= std::numeric_limits<std::size_t>::max() - unit ? std::malloc(unit + size) : nullptr;
  if (!memory) throw std::bad_alloc();
  void* piece = static_cast<std::byte*>(memory) + unit;
  new (&ownSizeOf(piece)) std::size_t(size);
  new (&headerOf(piece)) Header{0, 0};
  return piece;
}

}  // namespace

void* takeSharedMemory(std::size_t size, SharedMemoryUse use) {
  if (size > sharedLimit) return takeOwnMemory(size);
  Cutter& cutter = cutters[static_cast<std::size_t>(use)];
  const std::size_t room = (sizeof(Header) + size + unit - 1) / unit * unit;
  if (static_cast<std::size_t>(cutter.end - cutter.next) < room) {
    if (cutter.isOver) return takeOwnMemory(size);
    closing.begin();
    cutter.renew();
  }
  const auto distance =
      static_cast<std::uint32_t>(cutter.next - reinterpret_cast<std::byte*>(cutter.block));
  auto* header = new (cutter.next) Header{distance, static_cast<std::uint32_t>(size)};
  cutter.next += room;
  ++cutter.count;
  return header + 1;
}

void giveBackSharedMemory(void* memory) noexcept {
  Header& header = headerOf(memory);
  if (header.blockDistance != 0) {
    header.block().release(1);
  } else {
    std::free(&ownSizeOf(memory));
  }
}

std::size_t sizeOfSharedMemory(const void* memory) noexcept {
  auto* piece = const_cast<void*>(memory);
  const Header& header = headerOf(piece);
  return header.blockDistance != 0 ? header.size : ownSizeOf(piece);
}

}  // namespace JNFoundation
