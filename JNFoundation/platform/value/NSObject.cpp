#include "JNFoundation/platform/value/NSObject.h"

#include <utility>
#include <vector>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/impl/SideRecord.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSObject::classObject = Class::of<NSObject>("NSObject");

namespace {

/// A class is its own class.
const Class* classOf(const Value& value) {
  return value.classValue() ? value.classValue() : value.class_();
}

/// What inline values answer as well takes the receiver as a value.
const ClassDeclaration<NSObject> declarationOfNSObject =
    ClassDeclaration<NSObject>()
        .operation("description", [](const Value& self) { return self.description(); })
        .operation("copy", [](const Value& self) { return self.copy(); })
        .operation("mutableCopy", &NSObject::mutableCopy)
        .operation("isEqual:", [](const Value& self, const Value& other) { return self == other; })
        .operation("hash", [](const Value& self) { return static_cast<NSUInteger>(self.hash()); })
        .operation("self", [](const Value& self) { return self; })
        .operation("class", [](const Value& self) { return classOf(self); })
        .operation("superclass", [](const Value& self) { return classOf(self)->superclass(); })
        .operation("valueForKey:", &NSObject::valueForKey)
        .operation("setValue:forKey:", &NSObject::setValueForKey);

/// Objects whose destruction would nest too deeply wait here for the outermost one. The bound keeps
/// a chain of a million objects off the native stack, and short chains in their natural order.
constexpr int destructionDepthLimit = 48;

/// Needs no destruction itself: objects go until the very end of a thread and of the process.
struct Destruction {
  int depth;
  /// Null while none waits.
  std::vector<const NSObject*>* waiting;
};

constinit thread_local Destruction destruction{0, nullptr};

#if JN_COUNT_OBJECTS
std::atomic<std::int64_t> liveObjects{0};
#endif

}  // namespace

#if JN_COUNT_OBJECTS
NSObject::NSObject() noexcept { liveObjects.fetch_add(1, std::memory_order_relaxed); }

std::int64_t impl::liveObjectCount() noexcept {
  return liveObjects.load(std::memory_order_relaxed);
}

void impl::excludeFromLiveObjects() noexcept {
  liveObjects.fetch_sub(1, std::memory_order_relaxed);
}
#endif

NSObject::~NSObject() {
#if JN_COUNT_OBJECTS
  liveObjects.fetch_sub(1, std::memory_order_relaxed);
#endif
  if (SideRecord* record = SideRecordAccess::existing(*this)) SideRecordAccess::retire(*record);
  if (_references.load() > beingDestroyed) {
    fatalError("an object was retained while it was being destroyed and not released again");
  }
}

void NSObject::destroy() const noexcept {
  // What other threads did to the object before they let go of it comes before its end.
  _references.synchronize();
  // From here on no weak reference takes hold of the object, and a reference that its own
  // destructor takes and drops does not destroy it again.
  _references.store(beingDestroyed);
  Destruction& state = destruction;
  if (state.depth == destructionDepthLimit) {
    if (!state.waiting) state.waiting = new std::vector<const NSObject*>;
    state.waiting->push_back(this);
    return;
  }
  ++state.depth;
  delete this;
  if (state.depth == 1 && state.waiting) {
    while (!state.waiting->empty()) {
      const NSObject* next = state.waiting->back();
      state.waiting->pop_back();
      delete next;
    }
    delete std::exchange(state.waiting, nullptr);
  }
  --state.depth;
}

bool NSObject::isEqual(const Value& other) const { return other.object() == this; }

std::size_t NSObject::hash() const {
  return static_cast<std::size_t>(mixHash(reinterpret_cast<std::uintptr_t>(this)));
}

Ref<NSString> NSObject::description() const {
  return NSString::stringWithFormat("<%s: %p>", class_().name(), static_cast<const void*>(this));
}

Value NSObject::copy() const { return Value(const_cast<NSObject*>(this)); }

Value NSObject::mutableCopy() const { doesNotRecognizeSelector(copy(), "mutableCopyWithZone:"); }

bool NSObject::respondsToSelector(SEL selector) const {
  return class_().instancesRespondToSelector(selector);
}

}  // namespace JNFoundation
