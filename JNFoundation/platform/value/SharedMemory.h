#pragma once

#include <cstddef>
#include <cstdint>

namespace JNFoundation::inline v0_1 {

/// What shares blocks of memory. Objects have blocks of their own, so that those of their contents
/// are given back when the objects let go of these and live on.
enum class SharedMemoryUse : std::uint8_t {
  Objects,   ///< what lives on when its contents have gone
  Contents,  ///< values and texts
};

/// Memory for the many small pieces of one fetch, import or document, which mostly go together as
/// well. They are cut from larger blocks, one behind the other; a block is given back when the last
/// piece of it has gone, so that a piece that lives on holds a few thousand bytes at most. Large
/// pieces have memory of their own.
/// Threads: any; a piece may go on another thread than it was cut on.
/// Returns: memory that is aligned as that of plain `new`. Fails: throws std::bad_alloc.
void* takeSharedMemory(std::size_t size, SharedMemoryUse use);

/// Takes: what takeSharedMemory gave; never null.
void giveBackSharedMemory(void* memory) noexcept;

/// How much was asked for.
std::size_t sizeOfSharedMemory(const void* memory) noexcept;

}  // namespace JNFoundation
