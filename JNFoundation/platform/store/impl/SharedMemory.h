#pragma once

#include <cstddef>

namespace JNFoundation::inline v0_1::impl {

/// Memory for the many small pieces of one fetch or import, which mostly go together as well. They
/// are cut from larger blocks, one behind the other; a block is given back when the last piece of
/// it has gone, so that a piece that lives on holds a few thousand bytes at most. Large pieces have
/// memory of their own.
/// Threads: any; a piece may go on another thread than it was cut on.
/// Returns: memory that is aligned as that of plain `new`. Fails: throws std::bad_alloc.
void* takeSharedMemory(std::size_t size);

/// Takes: what takeSharedMemory gave; never null.
void giveBackSharedMemory(void* memory) noexcept;

/// How much was asked for.
std::size_t sizeOfSharedMemory(const void* memory) noexcept;

}  // namespace JNFoundation::impl
