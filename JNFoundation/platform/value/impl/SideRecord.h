#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/OneThread.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// What an object seldom has, kept beside it: who refers to it weakly, what is associated with it,
/// and its lock. Records live in a pool whose addresses never change, so that a weak reference may
/// look at its record after the object is gone.
class SideRecord {
 public:
  struct Association {
    const void* key;
    Value value;
    NSObject* unretained;
  };

  /// Holds the record still for a few instructions.
  class Locked {
   public:
    explicit Locked(SideRecord& record) noexcept : _record(record), _isShared(!hasOneThread()) {
      if (_isShared) _record.lock();
    }
    ~Locked() {
      if (_isShared) _record.unlock();
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

   private:
    SideRecord& _record;
    const bool _isShared;
  };

  void hold() noexcept { _holders.increment(); }
  /// Gives the record back to the pool when the last holder lets go.
  void letGo() noexcept;

  std::uint32_t number = 0;
  /// Guarded by the lock; null once the object has nothing left but its memory. The printers for
  /// debuggers know its place.
  NSObject* object = nullptr;
  /// Guarded by the lock; set when the object has nothing left that could be attached to.
  bool retired = false;
  /// Guarded by the lock; few, so a list.
  std::vector<Association> associations;
  /// Guarded by the lock until it exists; lives as long as the object.
  std::unique_ptr<std::recursive_mutex> mutex;
  SideRecord* nextFree = nullptr;

 private:
  friend class SideRecordAccess;

  void lock() noexcept {
    while (_lock.exchange(1, std::memory_order_acquire) != 0) {
      _lock.wait(1, std::memory_order_relaxed);
    }
  }
  void unlock() noexcept {
    _lock.store(0, std::memory_order_release);
    _lock.notify_one();
  }

  std::atomic<std::uint32_t> _lock{0};
  /// The object itself counts as one holder, every weak reference as another.
  impl::ReferenceCount _holders{0};
};

/// The way from an object to its record.
class SideRecordAccess {
 public:
  /// Returns: null while the object has none.
  static SideRecord* existing(const NSObject& object) noexcept {
    const std::uint32_t number = numberOf(object);
    return number == 0 ? nullptr : &numbered(number);
  }
  /// Makes the record at first use.
  static SideRecord& of(const NSObject& object);
  /// Takes a reference unless the object is being destroyed. Requires: the record's lock.
  static bool tryRetain(const NSObject& object) noexcept;
  /// Releases what is associated, then lets go of the record. For the end of the object's life:
  /// what the values' destructors still attach to the object goes at once.
  static void retire(SideRecord& record) noexcept;
  static SideRecord& numbered(std::uint32_t number) noexcept;
  static std::uint32_t numberOf(const NSObject& object) noexcept {
    return object._sideRecord.load(std::memory_order_acquire);
  }
};

inline bool SideRecordAccess::tryRetain(const NSObject& object) noexcept {
  std::uint32_t count = object._references.load();
  if (hasOneThread()) {
    const bool isAlive = count != 0 && count < NSObject::beingDestroyed;
    if (isAlive) object.retain();
    return isAlive;
  }
  while (count != 0 && count < NSObject::beingDestroyed) {
    if (object._references.exchange(count, count + 1)) return true;
  }
  return false;
}

}  // namespace JNFoundation
