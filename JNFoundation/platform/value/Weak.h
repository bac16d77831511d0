#pragma once

#include <utility>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

class SideRecord;

/// The zeroing weak reference, untyped: see Weak.
class WeakObject {
 public:
  WeakObject() noexcept = default;
  /// Refers to nothing when the object is null or already being destroyed.
  explicit WeakObject(const NSObject* object);
  WeakObject(const WeakObject& other) noexcept;
  WeakObject(WeakObject&& other) noexcept : _record(std::exchange(other._record, nullptr)) {}
  ~WeakObject() { reset(); }

  WeakObject& operator=(WeakObject other) noexcept {
    std::swap(_record, other._record);
    return *this;
  }

  /// A strong reference, or null once the object has gone.
  Ref<NSObject> load() const noexcept;
  /// Refers to nothing from now on.
  void reset() noexcept {
    if (_record) letGo();
  }

 private:
  void letGo() noexcept;

  SideRecord* _record = nullptr;
};

/// A reference that does not keep its object alive and reads as null from the moment the last
/// strong reference goes, also when that happens on another thread.
///
///     Weak<View> weak(view);
///     if (Ref<View> strong = weak.load()) strong->reload();
///
/// T is a class or a protocol. Weak references to an object in its own destructor read as null too.
/// Threads: like `Ref`; loading is safe while another thread lets the object die.
template <class T>
class Weak {
 public:
  Weak() noexcept = default;
  Weak(std::nullptr_t) noexcept {}
  /// Refers to the object; to nothing when it is null or already being destroyed.
  Weak(T* object) : _weak(impl::objectOf(object)), _object(object) {}
  /// Refers to the object, for as long as others keep it alive.
  template <class U>
  requires std::convertible_to<U*, T*> Weak(const Ref<U>& object) : Weak(object.get()) {}

  /// Returns: null when the object has gone, or when there never was one.
  Ref<T> load() const noexcept {
    // What is counted is the object, whichever of its types leads to it.
    return _weak.load().leak() ? Ref<T>::adopt(_object) : nullptr;
  }
  /// Refers to nothing from now on.
  void reset() noexcept { *this = Weak(); }

 private:
  WeakObject _weak;
  /// Means something only while `_weak` loads.
  T* _object = nullptr;
};

}  // namespace JNFoundation
