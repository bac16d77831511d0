#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Ref.h>
#include <JNFoundation/platform/value/SEL.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

class NSString;
class Value;

namespace impl {

/// A number of references that any thread may change. While the process has had one thread only,
/// it is counted without atomic instructions, which cost several times as much as what they guard;
/// the standard library's shared pointers do the same.
class ReferenceCount {
 public:
  constexpr explicit ReferenceCount(std::uint32_t count) noexcept : _count(count) {}

  void increment() noexcept {
    if (hasOneThread()) {
      _count.store(_count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
      _count.fetch_add(1, std::memory_order_relaxed);
    }
  }
  /// Returns: what the count was before. What this thread did before it comes before whatever a
  /// thread does that has seen the result and called `synchronize`.
  std::uint32_t decrement(std::uint32_t by = 1) noexcept {
    if (hasOneThread()) {
      const std::uint32_t before = _count.load(std::memory_order_relaxed);
      _count.store(before - by, std::memory_order_relaxed);
      return before;
    }
    return _count.fetch_sub(by, std::memory_order_release);
  }
  void synchronize() const noexcept { static_cast<void>(_count.load(std::memory_order_acquire)); }

  std::uint32_t load() const noexcept { return _count.load(std::memory_order_relaxed); }
  void store(std::uint32_t count) noexcept { _count.store(count, std::memory_order_relaxed); }
  bool exchange(std::uint32_t& expected, std::uint32_t count) noexcept {
    return _count.compare_exchange_weak(expected, count, std::memory_order_relaxed);
  }

 private:
  static bool hasOneThread() noexcept {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
  }

  std::atomic<std::uint32_t> _count;
};

}  // namespace impl

/// The root of every class: identity, life, equality, text, and key-value access by name.
///
/// Objects live on the heap and are shared through `Ref`; the count is atomic, so the last
/// reference may go on any thread. Destruction never nests deeply, however long a chain of objects
/// is: what would nest further waits until the outermost destruction on the thread has finished. A
/// destructor may share its object for as long as it runs, and no longer.
/// Threads: counting is safe everywhere; the rest is up to the class.
class NSObject {
 public:
  static const Class classObject;

  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;

  /// The class of the object itself, which may be a descendant of the static type.
  virtual const Class& class_() const noexcept { return classObject; }

  /// Equality by value; the default is identity. Objects that are equal have equal hashes.
  virtual bool isEqual(const Value& other) const;
  /// Equal for objects that are equal; the default is of the identity.
  virtual std::size_t hash() const;

  /// Text for people and logs; the default is "<Class: 0xaddress>".
  virtual Ref<NSString> description() const;

  /// An immutable copy; an immutable object, and by default every object, is its own copy.
  virtual Value copy() const;

  /// A mutable copy. Fails: raises NSInvalidArgumentException where the class has no mutable form.
  virtual Value mutableCopy() const;

  /// Whether `performSelector` would find an operation declared for the selector.
  virtual bool respondsToSelector(SEL selector) const;

  /// The value of the property of that name: its getter is searched as getKey, key, isKey, _key
  /// among the declared operations. Fails: see `valueForUndefinedKey`.
  virtual Value valueForKey(const Ref<NSString>& key) const;

  /// Writes the property of that name through setKey: or _setKey:.
  /// Fails: see `setValueForUndefinedKey`; null for a number goes to `setNilValueForKey`.
  virtual void setValueForKey(const Value& value, const Ref<NSString>& key);

  /// What a read of an unknown key comes to. Fails: raises NSUndefinedKeyException by default.
  virtual Value valueForUndefinedKey(const Ref<NSString>& key) const;
  virtual void setValueForUndefinedKey(const Value& value, const Ref<NSString>& key);

  /// What null for a property of a number type comes to. Fails: raises NSInvalidArgumentException
  /// by default.
  virtual void setNilValueForKey(const Ref<NSString>& key);

  /// Counts one strong reference more; `Ref` does so.
  void retain() const noexcept { _references.increment(); }
  /// Counts one strong reference less; the last one destroys the object.
  void release() const noexcept {
    if (_references.decrement() == 1) destroy();
  }

  /// How many strong references there are at this instant; for tests and diagnosis only.
  std::uint32_t retainCount() const noexcept { return _references.load(); }

 protected:
#if JN_COUNT_OBJECTS
  NSObject() noexcept;
#else
  NSObject() noexcept = default;
#endif
  virtual ~NSObject();

 private:
  friend class SideRecordAccess;

  /// What the count starts from during destruction; no object has that many references.
  static constexpr std::uint32_t beingDestroyed = 0x80000000u;

  void destroy() const noexcept;

  /// 1 at birth: `makeObject` adopts that reference.
  mutable impl::ReferenceCount _references{1};
  /// The number of the record that holds weak references, associated objects and the lock; 0 while
  /// the object never had any.
  mutable std::atomic<std::uint32_t> _sideRecord{0};
};

namespace impl {

inline void retainObject(const NSObject* object) noexcept { object->retain(); }
inline void releaseObject(const NSObject* object) noexcept { object->release(); }

/// Constructors are protected so that objects are born on the heap only; a class derived from T on
/// the spot may call them.
template <class T>
class Concrete final : public T {
 public:
  template <class... Arguments>
  explicit Concrete(Arguments&&... arguments) : T(std::forward<Arguments>(arguments)...) {}
};

#if JN_COUNT_OBJECTS
/// How many objects are alive, without those that stay for the life of the process. Only in builds
/// that count them.
std::int64_t liveObjectCount() noexcept;

/// Stops counting one object: it will never be released.
void excludeFromLiveObjects() noexcept;
#else
inline void excludeFromLiveObjects() noexcept {}
#endif

}  // namespace impl

/// A new object of class T, built with T's constructor.
template <class T, class... Arguments>
Ref<T> makeObject(Arguments&&... arguments) {
  if constexpr (std::is_final_v<T>) {
    return Ref<T>::adopt(new T(std::forward<Arguments>(arguments)...));
  } else {
    return Ref<T>::adopt(new impl::Concrete<T>(std::forward<Arguments>(arguments)...));
  }
}

}  // namespace JNFoundation
