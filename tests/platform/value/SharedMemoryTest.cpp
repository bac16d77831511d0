#include <atomic>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/SharedMemory.h>

namespace JNFoundation {
namespace {

/// A piece filled with a byte of its own, so that a neighbour who writes into it is seen.
struct Piece {
  Piece(std::size_t length, int number)
      : size(length),
        byte(static_cast<unsigned char>(number)),
        memory(takeSharedMemory(
            length, number % 3 == 0 ? SharedMemoryUse::Objects : SharedMemoryUse::Contents)) {
    std::memset(memory, byte, size);
  }
  Piece(Piece&& other) noexcept
      : size(other.size), byte(other.byte), memory(std::exchange(other.memory, nullptr)) {}
  Piece& operator=(Piece&& other) noexcept {
    std::swap(size, other.size);
    std::swap(byte, other.byte);
    std::swap(memory, other.memory);
    return *this;
  }
  ~Piece() {
    if (memory) giveBackSharedMemory(memory);
  }

  bool isWhole() const {
    const auto* bytes = static_cast<const unsigned char*>(memory);
    for (std::size_t i = 0; i < size; ++i) {
      if (bytes[i] != byte) return false;
    }
    return sizeOfSharedMemory(memory) == size;
  }

  std::size_t size;
  unsigned char byte;
  void* memory;
};

TEST(SharedMemory, APieceOfAnySizeIsAlignedAndKnowsItsSize) {
  std::vector<Piece> pieces;
  for (std::size_t size = 0; size < 9000; size = size < 600 ? size + 1 : size * 2) {
    pieces.emplace_back(size, static_cast<int>(size));
  }
  for (const Piece& piece : pieces) {
    EXPECT_TRUE(piece.isWhole()) << piece.size;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece.memory) % __STDCPP_DEFAULT_NEW_ALIGNMENT__, 0u)
        << piece.size;
  }
}

TEST(SharedMemory, PiecesThatComeAndGoInAnyOrderKeepOutOfEachOthersWay) {
  std::mt19937 random(20161);
  std::vector<Piece> pieces;
  for (int step = 0; step < 50'000; ++step) {
    if (pieces.size() < 400 || random() % 2 == 0) {
      pieces.emplace_back(random() % (random() % 20 == 0 ? 5000 : 200), step);
      continue;
    }
    const std::size_t index = random() % pieces.size();
    ASSERT_TRUE(pieces[index].isWhole()) << step;
    std::swap(pieces[index], pieces.back());
    pieces.pop_back();
  }
  for (const Piece& piece : pieces) ASSERT_TRUE(piece.isWhole());
}

TEST(SharedMemory, WhatCannotBeHadIsBadAlloc) {
  const std::size_t greatest = std::numeric_limits<std::size_t>::max();
  // Sizes that no allocator is asked for: the sanitizers' stop the process.
  for (const std::size_t size : {greatest, greatest - 8}) {
    EXPECT_THROW(takeSharedMemory(size, SharedMemoryUse::Contents), std::bad_alloc) << size;
  }
}

TEST(SharedMemory, PiecesOutliveTheirThreadAndGoOnAnother) {
  std::vector<std::vector<Piece>> pieces(4);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&pieces, number] {
      for (int i = 0; i < 2000; ++i) {
        pieces[number].emplace_back(static_cast<std::size_t>(i % 90), number + i);
        // Some go where they were cut, in the middle of their block.
        if (i % 7 == 0) pieces[number].pop_back();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&pieces, number] {
      std::vector<Piece>& others = pieces[(number + 1) % 4];
      for (const Piece& piece : others) EXPECT_TRUE(piece.isWhole());
      others.clear();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(SharedMemory, APieceGoesWhileItsThreadCutsFromTheBlock) {
  // Handed over one by one, so that both sides work on one block at a time.
  constexpr int count = 20'000;
  std::vector<std::atomic<void*>> handed(count);
  std::thread taker([&handed] {
    for (int i = 0; i < count; ++i) {
      void* memory = nullptr;
      while (!(memory = handed[i].load(std::memory_order_acquire))) std::this_thread::yield();
      EXPECT_EQ(*static_cast<int*>(memory), i);
      giveBackSharedMemory(memory);
    }
  });
  for (int i = 0; i < count; ++i) {
    void* memory = takeSharedMemory(sizeof(int), SharedMemoryUse::Contents);
    *static_cast<int*>(memory) = i;
    handed[i].store(memory, std::memory_order_release);
  }
  taker.join();
}

/// Makes a text as late as a thread can.
struct LateText {
  Ref<NSString>* place = nullptr;

  ~LateText() {
    if (place) *place = NSString::fromTextAmongMany("made at the very end");
  }
};
thread_local LateText lateText;

TEST(SharedMemory, AThreadMayTakeMemoryAtItsVeryEnd) {
  Ref<NSString> early, late;
  std::thread([&] {
    // Constructed before the thread cuts for the first time, so destroyed after its blocks are
    // closed.
    lateText.place = &late;
    early = NSString::fromTextAmongMany("made before");
  }).join();
  EXPECT_EQ(early->utf8(), "made before");
  EXPECT_EQ(late->utf8(), "made at the very end");
}

}  // namespace
}  // namespace JNFoundation
