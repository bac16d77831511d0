#include "JNFoundation/platform/dispatch/NSNotificationCenter.h"

#include <atomic>
#include <mutex>
#include <vector>

#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSNotificationCenter::classObject =
    Class::of<NSNotificationCenter>("NSNotificationCenter");

/// One that waits. Objects are compared by address; the weak reference says whether the address is
/// still that object's. It is loaded only where the caller has the object anyway: the last
/// reference to one must not go under the lock.
struct NSNotificationCenter::Observation {
  /// Null while `weakObserver` says who it is.
  Ref<NSObject> token;
  const NSObject* observerAddress = nullptr;
  Weak<NSObject> weakObserver;
  Ref<NSString> name;
  const NSObject* address = nullptr;
  Weak<NSObject> object;
  Handler handler;
  std::shared_ptr<std::atomic<bool>> isRemoved = std::make_shared<std::atomic<bool>>(false);

  bool concerns(const Ref<NSString>& posted, const NSObject* about) const {
    if (name && !name->isEqualToString(posted)) return false;
    return !address || (address == about && object.load());
  }
  bool isOf(const Ref<NSObject>& observer) const {
    if (token) return token == observer;
    return observerAddress == observer.get() && weakObserver.load();
  }
};

struct NSNotificationCenter::State {
  mutable std::mutex mutex;
  // Guarded by the mutex.
  std::vector<Observation> observations;
  /// How many there are: a look at it spares the lock where nobody waits.
  std::atomic<std::size_t> count{0};
};

NSNotificationCenter::NSNotificationCenter() : _state(std::make_unique<State>()) {}
NSNotificationCenter::~NSNotificationCenter() = default;

const Ref<NSNotificationCenter>& NSNotificationCenter::defaultCenter() {
  // Never destroyed: objects that outlive main may still post.
  static const auto& center = *new Ref<NSNotificationCenter>(init());
  return center;
}

Ref<NSNotificationCenter> NSNotificationCenter::init() {
  return makeObject<NSNotificationCenter>();
}

// ---- Who waits ----------------------------------------------------------------------------------

void NSNotificationCenter::add(Observation observation) {
  std::lock_guard guard(_state->mutex);
  _state->observations.push_back(std::move(observation));
  _state->count.store(_state->observations.size(), std::memory_order_release);
}

Ref<NSObject> NSNotificationCenter::addObserverForNameObjectUsingBlock(const Ref<NSString>& name,
                                                                       const Value& object,
                                                                       Handler block) {
  if (!block) fatalError("addObserverForName:object:usingBlock: the block must not be null");
  Observation observation;
  observation.token = makeObject<NSObject>();
  observation.name = name;
  observation.address = object.object();
  observation.object = Weak<NSObject>(object.object());
  observation.handler = std::move(block);
  Ref<NSObject> token = observation.token;
  add(std::move(observation));
  return token;
}

void NSNotificationCenter::addObserverSelectorNameObject(const Ref<NSObject>& observer,
                                                         SEL selector, const Ref<NSString>& name,
                                                         const Value& object) {
  if (!observer) {
    raise(NSInvalidArgumentException, "addObserver:selector:name:object: a nil observer");
  }
  Observation observation;
  observation.observerAddress = observer.get();
  observation.weakObserver = Weak<NSObject>(observer);
  observation.name = name;
  observation.address = object.object();
  observation.object = Weak<NSObject>(object.object());
  observation.handler = [weak = observation.weakObserver,
                         selector](const Ref<NSNotification>& notification) {
    const Ref<NSObject> target = weak.load();
    if (!target) return;
    if (selector.argumentCount() == 0) {
      performSelector(Value(target), selector);
    } else {
      performSelector(Value(target), selector, notification);
    }
  };
  add(std::move(observation));
}

void NSNotificationCenter::removeObserver(const Ref<NSObject>& observer) {
  removeObserverNameObject(observer, nullptr, nullptr);
}

void NSNotificationCenter::removeObserverNameObject(const Ref<NSObject>& observer,
                                                    const Ref<NSString>& name,
                                                    const Value& object) {
  if (!observer) return;
  // What goes here, and what a handler holds, may do anything as it goes: not under the lock.
  std::vector<Observation> removed;
  std::vector<Ref<NSObject>> others;
  std::lock_guard guard(_state->mutex);
  std::vector<Observation> kept;
  kept.reserve(_state->observations.size());
  for (Observation& observation : _state->observations) {
    const bool isMeant = observation.isOf(observer) &&
                         (!name || (observation.name && observation.name->isEqualToString(name))) &&
                         (object.isNull() || observation.address == object.object());
    // Those whose observer is gone go with whoever is removed next.
    const bool isWeak = !observation.token;
    if (isWeak) others.push_back(observation.weakObserver.load());
    const bool isGone = isWeak && !others.back();
    if (isMeant || isGone) {
      observation.isRemoved->store(true, std::memory_order_release);
      removed.push_back(std::move(observation));
    } else {
      kept.push_back(std::move(observation));
    }
  }
  _state->observations = std::move(kept);
  _state->count.store(_state->observations.size(), std::memory_order_release);
}

// ---- Telling them -------------------------------------------------------------------------------

bool NSNotificationCenter::isObserved(const Ref<NSString>& name, const Value& object) const {
  if (_state->count.load(std::memory_order_acquire) == 0) return false;
  std::lock_guard guard(_state->mutex);
  for (const Observation& observation : _state->observations) {
    if (observation.concerns(name, object.object())) return true;
  }
  return false;
}

void NSNotificationCenter::postNotification(const Ref<NSNotification>& notification) {
  if (!notification) raise(NSInvalidArgumentException, "postNotification: a nil notification");
  if (_state->count.load(std::memory_order_acquire) == 0) return;
  std::vector<Observation> called;
  {
    std::lock_guard guard(_state->mutex);
    for (const Observation& observation : _state->observations) {
      if (observation.concerns(notification->name(), notification->object().object())) {
        called.push_back(observation);
      }
    }
  }
  for (const Observation& observation : called) {
    if (!observation.isRemoved->load(std::memory_order_acquire)) observation.handler(notification);
  }
}

void NSNotificationCenter::postNotificationNameObjectUserInfo(const Ref<NSString>& name,
                                                              const Value& object,
                                                              const Ref<NSDictionary>& userInfo) {
  postNotification(NSNotification::notificationWithNameObjectUserInfo(name, object, userInfo));
}

}  // namespace JNFoundation
