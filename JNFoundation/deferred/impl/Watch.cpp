#include "JNFoundation/deferred/impl/Watch.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/TryRetain.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

struct WatchTable {
  std::mutex mutex;
  std::unordered_map<const NSObject*, Watch::Record> records;
  NSUInteger lastNumber = 0;
  UnhandledRejectionHook hook;
};

/// Never destroyed: static objects may let go of deferreds while the process ends.
WatchTable& table() {
  static auto* only = new WatchTable;
  return *only;
}

void tell(const UnhandledRejectionHook& hook, const UnhandledRejection& unhandled) noexcept {
  try {
    hook(unhandled);
  } catch (const Raised& raised) {
    NSLog("The hook for unhandled rejections raised %@: %@", raised.exception()->name(),
          raised.exception()->reason());
  } catch (...) {
    fatalError("the hook for unhandled rejections threw an exception");
  }
}

}  // namespace

void Watch::turn(Reason reason, bool on) {
  std::unordered_map<const NSObject*, Record> forgotten;
  std::lock_guard guard(table().mutex);
  const auto bit = static_cast<unsigned char>(reason);
  const unsigned char before = _reasons.load(std::memory_order_relaxed);
  const auto after = static_cast<unsigned char>(on ? before | bit : before & ~bit);
  _reasons.store(after, std::memory_order_relaxed);
  if (after == 0) forgotten.swap(table().records);
}

void Watch::setHook(UnhandledRejectionHook hook) {
  const bool on = static_cast<bool>(hook);
  {
    std::lock_guard guard(table().mutex);
    std::swap(table().hook, hook);
  }
  turn(Reason::Rejections, on);
}

void Watch::add(const NSObject& object) noexcept {
  const Nanoseconds now = Clock::current().monotonic();
  std::lock_guard guard(table().mutex);
  if (!isOn()) return;
  // What is made on the main thread is looked at there, after its constructors.
  table().records.insert_or_assign(
      &object, Record{&object, ++table().lastNumber, now, {}, nullptr, MainQueue::isMainThread()});
}

void Watch::remove(const NSObject& object) noexcept {
  std::lock_guard guard(table().mutex);
  table().records.erase(&object);
}

void Watch::setPlace(const NSObject& object, CreationPlace place) noexcept {
  std::lock_guard guard(table().mutex);
  const auto found = table().records.find(&object);
  if (found == table().records.end()) return;
  found->second.place = place;
  found->second.isWhole = true;
}

void Watch::setLabel(const NSObject& object, const Ref<NSString>& label) {
  std::lock_guard guard(table().mutex);
  const auto found = table().records.find(&object);
  if (found != table().records.end()) found->second.label = label;
}

void Watch::judge(const NSObject& object, const char* kind, const Value& outcome) noexcept {
  auto* rejected = as<PLVRejected>(outcome);
  if (!rejected || rejected->isCancellation() || rejected->wasSeen()) return;
  if (!isOnFor(Reason::Rejections)) return;
  rejected->markAsSeen();
  UnhandledRejection unhandled{rejected, kind, nullptr, {}};
  UnhandledRejectionHook hook;
  {
    std::lock_guard guard(table().mutex);
    hook = table().hook;
    const auto found = table().records.find(&object);
    if (found != table().records.end()) {
      unhandled.label = found->second.label;
      unhandled.place = found->second.place;
    }
  }
  if (!hook) return;
  if (MainQueue::isMainThread()) return tell(hook, unhandled);
  MainQueue::current().async(
      [hook = std::move(hook), unhandled = std::move(unhandled)] { tell(hook, unhandled); });
}

std::vector<std::pair<Watch::Record, Ref<NSObject>>> Watch::living() {
  std::vector<std::pair<Record, Ref<NSObject>>> found;
  {
    std::lock_guard guard(table().mutex);
    found.reserve(table().records.size());
    for (const auto& [object, record] : table().records) {
      if (tryRetain(*object)) {
        found.emplace_back(record, Ref<NSObject>::adopt(const_cast<NSObject*>(object)));
      }
    }
  }
  std::sort(found.begin(), found.end(), [](const auto& left, const auto& right) {
    return left.first.number < right.first.number;
  });
  return found;
}

std::string Watch::lineOf(CreationPlace place) {
  std::string_view file = place.file;
  const std::size_t folder = file.find_last_of("/\\");
  if (folder != std::string_view::npos) file.remove_prefix(folder + 1);
  return std::string(file) + ":" + std::to_string(place.line);
}

}  // namespace JNFoundation::impl
