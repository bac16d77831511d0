#include "JNFoundation/deferred/impl/DeferredMemory.h"

#include <new>

#include <JNFoundation/deferred/PLVDeferred.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int keptPieces = 0;
#else
constexpr int keptPieces = 128;
#endif

/// Deferreds of the base class; what is derived from it may be larger.
constexpr std::size_t pieceSize = sizeof(Concrete<PLVDeferred>);

struct Piece {
  Piece* next;
};

/// Without a destructor of its own: objects go until the very end of a thread.
struct Kept {
  Piece* first;
  int count;
  /// How many it may be: none before the thread has a `Cleaner`, and after it has gone.
  int limit;
};
constinit thread_local Kept kept{nullptr, 0, 0};

struct Cleaner {
  Cleaner() noexcept { kept.limit = keptPieces; }
  ~Cleaner() {
    kept.limit = -1;
    while (Piece* piece = kept.first) {
      kept.first = piece->next;
      ::operator delete(piece);
    }
    kept.count = 0;
  }
};

/// Has the thread keep pieces from now on, unless it is about to end.
void startKeeping() noexcept {
  if (kept.limit == 0) thread_local Cleaner cleaner;
}

}  // namespace

void* DeferredMemory::take(std::size_t size) {
  Piece* piece = kept.first;
  if (size != pieceSize || !piece) return ::operator new(size);
  kept.first = piece->next;
  --kept.count;
  return piece;
}

void DeferredMemory::giveBack(void* memory, std::size_t size) noexcept {
  if (size == pieceSize && kept.count >= kept.limit) startKeeping();
  if (size != pieceSize || kept.count >= kept.limit) return ::operator delete(memory);
  kept.first = new (memory) Piece{kept.first};
  ++kept.count;
}

}  // namespace JNFoundation::impl
