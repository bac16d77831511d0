#pragma once

#include <atomic>
#include <string>
#include <vector>

#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/UnhandledRejections.h>
#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1::impl {

/// What is known of the deferreds, promises and enumerations that are alive, while somebody asked
/// for it. Where nobody did, each birth and each end costs one look at a variable.
/// Threads: any, except where it says otherwise.
class Watch {
 public:
  enum class Reason : unsigned char { Rejections = 1, Trace = 2 };

  struct Record {
    const NSObject* object;
    /// In the order of birth, from 1.
    NSUInteger number;
    Nanoseconds bornAt;
    CreationPlace place;
    Ref<NSString> label;
    /// Whether its constructors have run to their ends, so that its class is known.
    bool isWhole;
  };

  static bool isOn() noexcept { return _reasons.load(std::memory_order_relaxed) != 0; }
  static bool isOnFor(Reason reason) noexcept {
    return (_reasons.load(std::memory_order_relaxed) & static_cast<unsigned char>(reason)) != 0;
  }
  static void turn(Reason reason, bool on);
  static void setHook(UnhandledRejectionHook hook);

  /// From constructors and destructors.
  static void add(const NSObject& object) noexcept;
  static void remove(const NSObject& object) noexcept;
  /// Of an object whose constructors have run.
  static void setPlace(const NSObject& object, CreationPlace place) noexcept;
  static void setLabel(const NSObject& object, const Ref<NSString>& label);

  /// Reports the outcome that ends with the object if it is a rejection that nobody has seen.
  /// Requires: the object has not been removed.
  static void judge(const NSObject& object, const char* kind, const Value& outcome) noexcept;

  /// The records of what is alive, in the order of birth, each with a reference that keeps its
  /// object. Requires: the main thread.
  static std::vector<std::pair<Record, Ref<NSObject>>> living();

  /// "Feed.cpp:42".
  static std::string lineOf(CreationPlace place);

 private:
  static constinit inline std::atomic<unsigned char> _reasons{0};
};

}  // namespace JNFoundation::impl
