#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// How strict the reading of base64 is.
enum NSDataBase64DecodingOptions : NSUInteger {
  NSDataBase64DecodingStrict = 0,  ///< whatever else stands there makes the text none
  /// Line ends and whatever else is no base64 character are skipped.
  NSDataBase64DecodingIgnoreUnknownCharacters = 1,
};

/// A run of bytes.
///
/// Threads: immutable data may be read on any thread; mutable data belongs to one at a time.
class NSData : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// No bytes.
  static Ref<NSData> data();
  /// Takes: a copy of the bytes; null only with length 0.
  static Ref<NSData> dataWithBytesLength(const void* bytes, NSUInteger length);
  /// Null counts as no bytes.
  static Ref<NSData> dataWithData(const Ref<NSData>& other);
  /// Takes: the bytes of the text, moved in.
  static Ref<NSData> dataWithText(std::string text);

  /// Reads base64 (RFC 4648, with padding).
  /// Returns: null for null and for text that is not base64, padding and unused bits included.
  static Ref<NSData> initWithBase64EncodedStringOptions(
      const Ref<NSString>& text, NSDataBase64DecodingOptions options = NSDataBase64DecodingStrict);

  /// Borrowed until the data changes. May be any pointer, null excepted, where the length is 0.
  const std::uint8_t* bytes() const noexcept {
    return reinterpret_cast<const std::uint8_t*>(_bytes.data());
  }
  /// How many bytes there are.
  NSUInteger length() const noexcept { return _bytes.size(); }
  /// The bytes as C++ text, borrowed until the data changes.
  std::string_view view() const noexcept { return _bytes; }

  /// Fails: raises NSRangeException when the range reaches past the end.
  Ref<NSData> subdataWithRange(NSRange range) const;
  /// In one line, with padding.
  Ref<NSString> base64EncodedString() const;
  /// Returns: false for null.
  bool isEqualToData(const Ref<NSData>& other) const noexcept;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// Hexadecimal in groups of four bytes: "<01234567 89ab>". Of more than 24 bytes the middle is
  /// left out and the length is added.
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;

 protected:
  explicit NSData(std::string bytes) noexcept : _bytes(std::move(bytes)) {}

  std::string _bytes;  ///< the bytes, well-formed text or not
};

/// A run of bytes that can be changed.
class NSMutableData : public NSData {
 public:
  using Superclass = NSData;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// No bytes yet.
  static Ref<NSMutableData> data();
  static Ref<NSMutableData> init() { return data(); }
  /// No bytes yet, and room for so many.
  static Ref<NSMutableData> dataWithCapacity(NSUInteger capacity);
  /// That many zero bytes.
  static Ref<NSMutableData> dataWithLength(NSUInteger length);
  /// A copy of the bytes; null counts as none.
  static Ref<NSMutableData> dataWithData(const Ref<NSData>& other);

  /// The bytes for writing, borrowed until the length changes.
  std::uint8_t* mutableBytes() noexcept { return reinterpret_cast<std::uint8_t*>(_bytes.data()); }
  /// Takes: a copy of the bytes, which may be the data's own.
  void appendBytesLength(const void* bytes, NSUInteger length);
  /// Null adds nothing.
  void appendData(const Ref<NSData>& other);
  /// Cuts the end off or adds zero bytes.
  void setLength(NSUInteger length);

  Value copy() const override;

 protected:
  explicit NSMutableData(std::string bytes) noexcept : NSData(std::move(bytes)) {}
};

}  // namespace JNFoundation
