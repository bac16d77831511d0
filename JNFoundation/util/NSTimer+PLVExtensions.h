#pragma once

#include <JNFoundation/platform/dispatch/NSTimer.h>

namespace JNFoundation::inline v0_1 {

/// What a block timer calls.
using PLVTimerFiredBlock = Block<void(const Ref<NSTimer>& timer)>;
/// What a block timer with an object of the caller's calls.
using PLVTimerFiredUserInfoBlock = Block<void(const Ref<NSTimer>& timer, const Value& userInfo)>;

// Timers that call a block, one with and one without an object of the caller's:
//
//     Ref<NSTimer> clock = plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
//         0.5, true, label, [](const Ref<NSTimer>& timer, const Value& label) { tick(label); });
//
// The timer's own `userInfo()` is a wrapper around the block, and not the caller's object, which
// the block gets as its second argument. "Scheduled" ones are in the calling thread's run loop, in
// its default mode; the others have yet to be added to one. Seconds and threads as for NSTimer.
// Takes: the block and the object, until the timer is invalidated.
// Requires: a non-null block; the process stops with a message otherwise.

/// Not in a run loop yet.
Ref<NSTimer> plv_timerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                   PLVTimerFiredBlock block);
/// In the calling thread's run loop already.
Ref<NSTimer> plv_scheduledTimerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                            PLVTimerFiredBlock block);
/// With an object of the caller's; not in a run loop yet.
Ref<NSTimer> plv_timerWithTimeIntervalRepeatsUserInfoBlock(NSTimeInterval interval, bool repeats,
                                                           const Value& userInfo,
                                                           PLVTimerFiredUserInfoBlock block);
/// With an object of the caller's; in the calling thread's run loop already.
Ref<NSTimer> plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
    NSTimeInterval interval, bool repeats, const Value& userInfo, PLVTimerFiredUserInfoBlock block);

// What these timers send to the class NSTimer when they fire.

/// Calls the block of the PLVTimerFiredBlockWrapper that is the timer's user info. Does nothing for
/// a timer with another, and for null. Requires: the wrapper's block is not null; the process stops
/// with a message otherwise.
void plv_executeTimerFiredBlockForTimer(const Ref<NSTimer>& timer);
/// The same for a PLVTimerFiredUserInfoBlockWrapper.
void plv_executeTimerFiredUserInfoBlockForTimer(const Ref<NSTimer>& timer);

/// The user info of a block timer without an object.
class PLVTimerFiredBlockWrapper : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A wrapper without a block.
  static Ref<PLVTimerFiredBlockWrapper> init();

  /// Null until it is set.
  const PLVTimerFiredBlock& timerFiredBlock() const noexcept { return _timerFiredBlock; }
  void setTimerFiredBlock(PLVTimerFiredBlock block) { _timerFiredBlock = std::move(block); }

 protected:
  PLVTimerFiredBlockWrapper() = default;

 private:
  PLVTimerFiredBlock _timerFiredBlock;
};

/// The user info of a block timer with an object.
class PLVTimerFiredUserInfoBlockWrapper : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A wrapper without a block and an object.
  static Ref<PLVTimerFiredUserInfoBlockWrapper> init();

  /// Null until it is set.
  const PLVTimerFiredUserInfoBlock& timerFiredBlock() const noexcept { return _timerFiredBlock; }
  void setTimerFiredBlock(PLVTimerFiredUserInfoBlock block) { _timerFiredBlock = std::move(block); }
  /// The object of the caller's, which the block gets. May be null.
  const Value& userInfo() const noexcept { return _userInfo; }
  void setUserInfo(const Value& userInfo) { _userInfo = userInfo; }

 protected:
  PLVTimerFiredUserInfoBlockWrapper() = default;

 private:
  PLVTimerFiredUserInfoBlock _timerFiredBlock;
  Value _userInfo;
};

}  // namespace JNFoundation
