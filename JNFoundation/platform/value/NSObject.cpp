#include "JNFoundation/platform/value/NSObject.h"

#include <vector>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/impl/SideRecord.h>

namespace JNFoundation {

constinit const Class NSObject::classObject = Class::of<NSObject>("NSObject");

namespace {

const ClassDeclaration<NSObject> declaration =
    ClassDeclaration<NSObject>()
        .operation("description", &NSObject::description)
        .operation("copy", &NSObject::copy)
        .operation("mutableCopy", &NSObject::mutableCopy)
        .operation("isEqual:", [](const Value& self, const Value& other) { return self == other; })
        .operation("hash", [](const Value& self) { return static_cast<NSUInteger>(self.hash()); })
        .operation("self", [](const Value& self) { return self; })
        .operation("class", [](const Value& self) { return self.class_(); })
        .operation("superclass", [](const Value& self) { return self.class_()->superclass(); })
        .operation("valueForKey:", &NSObject::valueForKey)
        .operation("setValue:forKey:", &NSObject::setValueForKey);

/// Objects whose destruction would nest too deeply wait here for the outermost one. The bound keeps
/// a chain of a million objects off the native stack, and short chains in their natural order.
constexpr int destructionDepthLimit = 48;

struct Destruction {
  int depth = 0;
  std::vector<const NSObject*> waiting;
};

thread_local Destruction destruction;

#if JN_COUNT_OBJECTS
std::atomic<std::int64_t> liveObjects{0};
#endif

}  // namespace

#if JN_COUNT_OBJECTS
NSObject::NSObject() noexcept { liveObjects.fetch_add(1, std::memory_order_relaxed); }

std::int64_t impl::liveObjectCount() noexcept {
  return liveObjects.load(std::memory_order_relaxed);
}
#endif

NSObject::~NSObject() {
#if JN_COUNT_OBJECTS
  liveObjects.fetch_sub(1, std::memory_order_relaxed);
#endif
  SideRecord* record = SideRecordAccess::existing(*this);
  if (!record) return;
  std::vector<SideRecord::Association> associations;
  std::unique_ptr<std::recursive_mutex> mutex;
  {
    SideRecord::Locked locked(*record);
    record->object = nullptr;
    associations.swap(record->associations);
    mutex.swap(record->mutex);
  }
  record->letGo();
}

void NSObject::destroy() const noexcept {
  std::atomic_thread_fence(std::memory_order_acquire);
  // From here on no weak reference finds the object, and a reference taken and dropped by its own
  // destructor does not destroy it again.
  _references.store(0x80000000u, std::memory_order_relaxed);
  if (SideRecord* record = SideRecordAccess::existing(*this)) {
    SideRecord::Locked locked(*record);
    record->object = nullptr;
  }
  Destruction& state = destruction;
  if (state.depth >= destructionDepthLimit) {
    state.waiting.push_back(this);
    return;
  }
  ++state.depth;
  delete this;
  if (state.depth == 1) {
    while (!state.waiting.empty()) {
      const NSObject* next = state.waiting.back();
      state.waiting.pop_back();
      delete next;
    }
    if (state.waiting.capacity() > 4096) std::vector<const NSObject*>().swap(state.waiting);
  }
  --state.depth;
}

bool NSObject::isEqual(const Value& other) const { return other.object() == this; }

std::size_t NSObject::hash() const { return std::hash<const void*>()(this) >> 4; }

Ref<NSString> NSObject::description() const {
  return NSString::stringWithFormat("<%s: %p>", class_().name(), static_cast<const void*>(this));
}

Value NSObject::copy() const { return Value(const_cast<NSObject*>(this)); }

Value NSObject::mutableCopy() const { doesNotRecognizeSelector(copy(), "mutableCopyWithZone:"); }

bool NSObject::respondsToSelector(SEL selector) const {
  return class_().instancesRespondToSelector(selector);
}

}  // namespace JNFoundation
