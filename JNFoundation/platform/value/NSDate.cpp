#include "JNFoundation/platform/value/NSDate.h"

#include <atomic>
#include <chrono>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSDate::classObject = Class::of<NSDate>("NSDate");

namespace {

const ClassDeclaration<NSDate> declarationOfNSDate =
    ClassDeclaration<NSDate>()
        .operation("description", [](const Value& self) { return self.description(); })
        .operation("copy", [](const Value& self) { return self; })
        .operation("timeIntervalSince1970",
                   [](const Value& self) { return self.timeIntervalSince1970(); })
        .operation("timeIntervalSinceReferenceDate",
                   [](const Value& self) {
                     return self.timeIntervalSince1970() -
                            NSDate::timeIntervalBetween1970AndReferenceDate;
                   })
        .operation("compare:", [](const Value& self, const Value& other) {
          return static_cast<NSInteger>(self.compare(other));
        });

NSTimeInterval systemTime() noexcept {
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count();
}

std::atomic<NSDate::TimeSource> timeSource{&systemTime};

}  // namespace

Value NSDate::date() noexcept {
  return dateWithTimeIntervalSince1970(timeSource.load(std::memory_order_acquire)());
}

Value NSDate::dateWithTimeIntervalSinceNow(NSTimeInterval seconds) noexcept {
  return dateWithTimeIntervalSince1970(date().timeIntervalSince1970() + seconds);
}

Value NSDate::distantPast() noexcept { return dateWithTimeIntervalSince1970(-62135596800.0); }

Value NSDate::distantFuture() noexcept { return dateWithTimeIntervalSince1970(64092211200.0); }

NSDate::TimeSource NSDate::setTimeSource(TimeSource source) noexcept {
  return timeSource.exchange(source ? source : &systemTime, std::memory_order_acq_rel);
}

}  // namespace JNFoundation
