#include "JNFoundation/platform/value/impl/SideRecord.h"

#include <array>
#include <bit>
#include <memory>

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
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
    const auto [chunk, position] = placeOf(number);
    return _chunks[chunk].load(std::memory_order_acquire)[position];
  }

 private:
  /// Each chunk is twice as large as the one before, so that a few suffice for every number.
  static constexpr std::uint32_t firstChunkSize = 512;
  static constexpr std::uint32_t chunkLimit = 22;

  struct Place {
    std::uint32_t chunk;
    std::uint32_t position;
  };
  /// The numbers count from 1, 0 is "no record". Chunk 0 has the first 512 of them, chunk 1 the
  /// next 1024, and so on.
  static Place placeOf(std::uint32_t number) noexcept {
    const std::uint32_t shifted = number - 1 + firstChunkSize;
    const std::uint32_t start = std::bit_floor(shifted);
    return {static_cast<std::uint32_t>(std::countr_zero(start / firstChunkSize)), shifted - start};
  }

  void grow() {
    if (_chunkCount == chunkLimit) fatalError("too many objects have weak references");
    const std::uint32_t size = firstChunkSize << _chunkCount;
    auto chunk = std::make_unique<SideRecord[]>(size);
    for (std::uint32_t i = size; i-- > 0;) {
      chunk[i].number = size - firstChunkSize + i + 1;
      chunk[i].nextFree = _free;
      _free = &chunk[i];
    }
    _chunks[_chunkCount++].store(chunk.release(), std::memory_order_release);
  }

  std::mutex _mutex;
  SideRecord* _free = nullptr;
  std::uint32_t _chunkCount = 0;
  std::array<std::atomic<SideRecord*>, chunkLimit> _chunks{};
};

}  // namespace

void SideRecord::letGo() noexcept {
  if (_holders.decrement() != 1) return;
  _holders.synchronize();
  RecordPool::shared().giveBack(*this);
}

SideRecord& SideRecordAccess::numbered(std::uint32_t number) noexcept {
  return RecordPool::shared().at(number);
}

SideRecord& SideRecordAccess::of(const NSObject& object) {
  if (SideRecord* record = existing(object)) return *record;
  SideRecord& fresh = RecordPool::shared().take();
  fresh.object = const_cast<NSObject*>(&object);
  fresh._holders.store(1);
  std::uint32_t none = 0;
  if (object._sideRecord.compare_exchange_strong(none, fresh.number, std::memory_order_acq_rel)) {
    return fresh;
  }
  fresh.object = nullptr;
  fresh.letGo();
  return *existing(object);
}

void SideRecordAccess::retire(SideRecord& record) noexcept {
  std::vector<SideRecord::Association> associations;
  {
    SideRecord::Locked locked(record);
    record.object = nullptr;
    record.retired = true;
    associations.swap(record.associations);
  }
  // Their destructors may still ask for what is attached to the object, and lock it.
  associations.clear();
  std::unique_ptr<std::recursive_mutex> mutex;
  {
    SideRecord::Locked locked(record);
    record.retired = false;
    mutex.swap(record.mutex);
  }
  record.letGo();
}

}  // namespace JNFoundation
