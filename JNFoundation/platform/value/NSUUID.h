#pragma once

#include <array>
#include <cstdint>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// An identifier of 128 bits that nobody else has.
/// Threads: any; an identifier never changes.
class NSUUID : public NSObject {
 public:
  using Superclass = NSObject;
  /// The bits, the first of the text's digits first.
  using Bytes = std::array<std::uint8_t, 16>;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// A new random identifier (version 4), from the system's source of random numbers.
  static Ref<NSUUID> UUID();
  /// The same with 128 random bits from two calls of the source.
  static Ref<NSUUID> UUIDWithRandomSource(const Block<std::uint64_t()>& source);
  /// The identifier of those bits.
  static Ref<NSUUID> initWithUUIDBytes(const Bytes& bytes);
  /// Reads the form 8-4-4-4-12 of hexadecimal digits of either case.
  /// Returns: null for null and for any other text.
  static Ref<NSUUID> initWithUUIDString(const Ref<NSString>& text);

  /// The bits of the identifier.
  const Bytes& bytes() const noexcept { return _bytes; }
  /// In upper case: "68753A44-4D6F-1226-9C60-0050E4C00067".
  Ref<NSString> UUIDString() const;
  /// Byte by byte. Fails: raises NSInvalidArgumentException for null.
  NSComparisonResult compare(const Ref<NSUUID>& other) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;

 protected:
  explicit NSUUID(const Bytes& bytes) noexcept : _bytes(bytes) {}

 private:
  Bytes _bytes;
};

}  // namespace JNFoundation
