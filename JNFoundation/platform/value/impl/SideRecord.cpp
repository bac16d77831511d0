#include "JNFoundation/platform/value/impl/SideRecord.h"

#include <array>
#include <memory>

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation {
namespace {

/// Hands out records by number. Chunks are never moved or freed, so both a number and an address
/// stay good for ever; freed records are used again.
class RecordPool {
 public:
  static RecordPool& shared() {
    static RecordPool* pool = new RecordPool;  // outlives every static object
    return *pool;
  }

  SideRecord& take() {
    std::lock_guard guard(_mutex);
    if (!_free) grow();
    SideRecord* record = _free;
    _free = record->nextFree;
    record->nextFree = nullptr;
    return *record;
  }

  void giveBack(SideRecord& record) {
    std::lock_guard guard(_mutex);
    record.nextFree = _free;
    _free = &record;
  }

  SideRecord& at(std::uint32_t number) noexcept {
    const std::uint32_t position = number - 1;
    SideRecord* chunk = _chunks[position / chunkSize].load(std::memory_order_acquire);
    return chunk[position % chunkSize];
  }

 private:
  static constexpr std::uint32_t chunkSize = 1024;
  static constexpr std::uint32_t chunkLimit = 1u << 18;

  void grow() {
    if (_count == chunkLimit) fatalError("too many objects have weak references");
    auto chunk = std::make_unique<SideRecord[]>(chunkSize);
    for (std::uint32_t i = chunkSize; i-- > 0;) {
      chunk[i].number = _count * chunkSize + i + 1;
      chunk[i].nextFree = _free;
      _free = &chunk[i];
    }
    _chunks[_count++].store(chunk.release(), std::memory_order_release);
  }

  std::mutex _mutex;
  SideRecord* _free = nullptr;
  std::uint32_t _count = 0;
  std::array<std::atomic<SideRecord*>, chunkLimit> _chunks{};
};

}  // namespace

void SideRecord::letGo() noexcept {
  if (_holders.fetch_sub(1, std::memory_order_acq_rel) == 1) RecordPool::shared().giveBack(*this);
}

SideRecord* SideRecordAccess::existing(const NSObject& object) noexcept {
  const std::uint32_t number = numberOf(object);
  return number == 0 ? nullptr : &RecordPool::shared().at(number);
}

SideRecord& SideRecordAccess::of(const NSObject& object) {
  if (SideRecord* record = existing(object)) return *record;
  SideRecord& fresh = RecordPool::shared().take();
  fresh.object = const_cast<NSObject*>(&object);
  fresh._holders.store(1, std::memory_order_relaxed);
  std::uint32_t none = 0;
  if (object._sideRecord.compare_exchange_strong(none, fresh.number, std::memory_order_acq_rel)) {
    return fresh;
  }
  fresh.object = nullptr;
  fresh.letGo();
  return *existing(object);
}

bool SideRecordAccess::tryRetain(const NSObject& object) noexcept {
  std::uint32_t count = object._references.load(std::memory_order_relaxed);
  while (count != 0 && count < 0x80000000u) {
    if (object._references.compare_exchange_weak(count, count + 1, std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

}  // namespace JNFoundation
