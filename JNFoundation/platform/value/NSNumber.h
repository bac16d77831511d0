#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The class of numbers and booleans. They live inside Value, so there are no objects of this class
/// itself; the decimal number derives from it.
///
///     isKindOf<NSNumber>(value)         // any number, booleans and decimals included
///     value.integerValue()              // reading is Value's business
///
/// Threads: any.
class NSNumber : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  // The number as a value.
  static Value numberWithBool(bool number) noexcept { return number; }
  static Value numberWithInt(std::int32_t number) noexcept { return number; }
  static Value numberWithInteger(NSInteger number) noexcept { return number; }
  static Value numberWithUnsignedInteger(NSUInteger number) noexcept { return number; }
  static Value numberWithLongLong(std::int64_t number) noexcept { return number; }
  static Value numberWithUnsignedLongLong(std::uint64_t number) noexcept { return number; }
  static Value numberWithFloat(float number) noexcept { return number; }
  static Value numberWithDouble(double number) noexcept { return number; }

  // What a number that is an object answers; Value asks.
  virtual std::int64_t longLongValue() const = 0;
  virtual std::uint64_t unsignedLongLongValue() const = 0;
  virtual double doubleValue() const = 0;
  virtual Ref<NSString> stringValue() const = 0;
  /// Numeric order against any number. Requires: other.isNumber().
  virtual NSComparisonResult compareNumber(const Value& other) const = 0;

  Ref<NSString> description() const override;
  bool isEqual(const Value& other) const override;

 protected:
  NSNumber() = default;
};

}  // namespace JNFoundation
