#pragma once

#include <span>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/Value.h>

/// Look-up by name, sending messages by name, associated objects and the per-object lock.
namespace JNFoundation::inline v0_1 {

/// Runs the operation declared for the selector, on a value or, for a class, on the class itself.
/// Missing arguments are null.
/// Returns: the operation's result; null for a null receiver and for operations that return
/// nothing. Fails: raises NSInvalidArgumentException when the receiver does not answer the
/// selector.
Value performSelectorWithArguments(const Value& receiver, SEL selector,
                                   std::span<const Value> arguments);

/// The same with the arguments as they are.
template <class... Arguments>
Value performSelector(const Value& receiver, SEL selector, const Arguments&... arguments) {
  const Value list[] = {Value(arguments)..., Value()};
  return performSelectorWithArguments(receiver, selector, {list, sizeof...(arguments)});
}

/// Whether `performSelector` would find an operation; of a class among those that it runs itself.
bool respondsToSelector(const Value& receiver, SEL selector);

/// Raises what an unknown selector raises: "-[Class selector]: unrecognized selector sent to …".
[[noreturn]] void doesNotRecognizeSelector(const Value& receiver, SEL selector);

/// The instance operation of a class, inherited ones included. Returns: null if there is none.
inline const Method* class_getInstanceMethod(const Class* cls, SEL selector) noexcept {
  return cls ? cls->instanceMethodForSelector(selector) : nullptr;
}

/// How an associated value is held.
enum objc_AssociationPolicy : unsigned {
  OBJC_ASSOCIATION_ASSIGN = 0,            ///< not retained
  OBJC_ASSOCIATION_RETAIN_NONATOMIC = 1,  ///< kept alive
  OBJC_ASSOCIATION_COPY_NONATOMIC = 3,    ///< a copy, kept alive
  OBJC_ASSOCIATION_RETAIN = 01401,        ///< a reader on another thread gets the old or the new
  OBJC_ASSOCIATION_COPY = 01403,          ///< the same of a copy
};

/// Attaches a value to an object under a key, whose address alone counts; null detaches. The value
/// goes with the object. A null object is ignored.
/// Threads: any; every policy but ASSIGN is safe against readers and writers on other threads.
void objc_setAssociatedObject(const NSObject* object, const void* key, const Value& value,
                              objc_AssociationPolicy policy);

/// Returns: null where nothing is attached.
Value objc_getAssociatedObject(const NSObject* object, const void* key);

/// Detaches everything. A null object is ignored.
void objc_removeAssociatedObjects(const NSObject* object);

/// Locks the object's own recursive lock, made at first use; null is ignored.
void objc_sync_enter(const NSObject* object);
/// Unlocks it. Requires: the calling thread has locked it.
void objc_sync_exit(const NSObject* object);

}  // namespace JNFoundation
