#include "JNFoundation/util/NSTimer+PLVExtensions.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVTimerFiredBlockWrapper::classObject =
    Class::of<PLVTimerFiredBlockWrapper>("PLVTimerFiredBlockWrapper");
constinit const Class PLVTimerFiredUserInfoBlockWrapper::classObject =
    Class::of<PLVTimerFiredUserInfoBlockWrapper>("PLVTimerFiredUserInfoBlockWrapper");

namespace {

constexpr const char* firedSelector = "plv_executeTimerFiredBlockForTimer:";
constexpr const char* firedUserInfoSelector = "plv_executeTimerFiredUserInfoBlockForTimer:";

const ClassDeclaration<NSTimer> timerDeclaration =
    ClassDeclaration<NSTimer>()
        .classOperation(firedSelector, &plv_executeTimerFiredBlockForTimer)
        .classOperation(firedUserInfoSelector, &plv_executeTimerFiredUserInfoBlockForTimer);

const ClassDeclaration<PLVTimerFiredBlockWrapper> wrapperDeclaration =
    ClassDeclaration<PLVTimerFiredBlockWrapper>().factory();
const ClassDeclaration<PLVTimerFiredUserInfoBlockWrapper> userInfoWrapperDeclaration =
    ClassDeclaration<PLVTimerFiredUserInfoBlockWrapper>().factory().property(
        "userInfo", &PLVTimerFiredUserInfoBlockWrapper::userInfo,
        &PLVTimerFiredUserInfoBlockWrapper::setUserInfo);

void requireTimerBlock(bool isThere) {
  if (!isThere) fatalError("a timer's block must not be null");
}

Value wrapped(PLVTimerFiredBlock block) {
  requireTimerBlock(static_cast<bool>(block));
  const Ref<PLVTimerFiredBlockWrapper> wrapper = PLVTimerFiredBlockWrapper::init();
  wrapper->setTimerFiredBlock(std::move(block));
  return wrapper;
}

Value wrapped(PLVTimerFiredUserInfoBlock block, const Value& userInfo) {
  requireTimerBlock(static_cast<bool>(block));
  const Ref<PLVTimerFiredUserInfoBlockWrapper> wrapper = PLVTimerFiredUserInfoBlockWrapper::init();
  wrapper->setTimerFiredBlock(std::move(block));
  wrapper->setUserInfo(userInfo);
  return wrapper;
}

}  // namespace

Ref<PLVTimerFiredBlockWrapper> PLVTimerFiredBlockWrapper::init() {
  return makeObject<PLVTimerFiredBlockWrapper>();
}

Ref<PLVTimerFiredUserInfoBlockWrapper> PLVTimerFiredUserInfoBlockWrapper::init() {
  return makeObject<PLVTimerFiredUserInfoBlockWrapper>();
}

Ref<NSTimer> plv_timerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                   PLVTimerFiredBlock block) {
  return NSTimer::timerWithTimeIntervalTargetSelectorUserInfoRepeats(
      interval, NSTimer::classObject, firedSelector, wrapped(std::move(block)), repeats);
}

Ref<NSTimer> plv_scheduledTimerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                            PLVTimerFiredBlock block) {
  return NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      interval, NSTimer::classObject, firedSelector, wrapped(std::move(block)), repeats);
}

Ref<NSTimer> plv_timerWithTimeIntervalRepeatsUserInfoBlock(NSTimeInterval interval, bool repeats,
                                                           const Value& userInfo,
                                                           PLVTimerFiredUserInfoBlock block) {
  return NSTimer::timerWithTimeIntervalTargetSelectorUserInfoRepeats(
      interval, NSTimer::classObject, firedUserInfoSelector, wrapped(std::move(block), userInfo),
      repeats);
}

Ref<NSTimer> plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
    NSTimeInterval interval, bool repeats, const Value& userInfo,
    PLVTimerFiredUserInfoBlock block) {
  return NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      interval, NSTimer::classObject, firedUserInfoSelector, wrapped(std::move(block), userInfo),
      repeats);
}

void plv_executeTimerFiredBlockForTimer(const Ref<NSTimer>& timer) {
  if (!timer) return;
  // Kept for the call, since the block may invalidate the timer.
  const Value userInfo = timer->userInfo();
  if (auto* wrapper = as<PLVTimerFiredBlockWrapper>(userInfo)) {
    requireTimerBlock(static_cast<bool>(wrapper->timerFiredBlock()));
    wrapper->timerFiredBlock()(timer);
  }
}

void plv_executeTimerFiredUserInfoBlockForTimer(const Ref<NSTimer>& timer) {
  if (!timer) return;
  const Value userInfo = timer->userInfo();
  if (auto* wrapper = as<PLVTimerFiredUserInfoBlockWrapper>(userInfo)) {
    requireTimerBlock(static_cast<bool>(wrapper->timerFiredBlock()));
    const Value object = wrapper->userInfo();
    wrapper->timerFiredBlock()(timer, object);
  }
}

}  // namespace JNFoundation
