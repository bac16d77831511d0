#pragma once

#include <string_view>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSData;
class NSError;

/// Flags for reading.
enum NSJSONReadingOptions : NSUInteger {
  NSJSONReadingPlain = 0,  ///< immutable, with the strictness of the standard
  /// Arrays and dictionaries come out mutable.
  NSJSONReadingMutableContainers = 1,
};

/// Flags for writing, joined by |.
enum NSJSONWritingOptions : NSUInteger {
  NSJSONWritingCompact = 0,  ///< in one line, without white space
  /// One element a line, indented by two spaces a level.
  NSJSONWritingPrettyPrinted = 1,
  /// Keys in the order of their UTF-8 bytes instead of the dictionary's.
  NSJSONWritingSortedKeys = 2,
};

/// Both flags.
constexpr NSJSONWritingOptions operator|(NSJSONWritingOptions left, NSJSONWritingOptions right) {
  return static_cast<NSJSONWritingOptions>(static_cast<NSUInteger>(left) |
                                           static_cast<NSUInteger>(right));
}

/// How deep arrays and objects may be nested in each other, reading and writing.
inline constexpr NSUInteger NSJSONMaximumDepth = 1000;

/// The code, in NSCocoaErrorDomain, of text that is no JSON.
inline constexpr NSInteger NSPropertyListReadCorruptError = 3840;
/// The code, in NSCocoaErrorDomain, of values that JSON cannot express.
inline constexpr NSInteger NSPropertyListWriteInvalidError = 3852;

// Details of an error in JSON text, of where it is wrong: the line and the column, counted from 1,
// the column in code points, and the offset in bytes, counted from 0.
inline constexpr const char* NSJSONSerializationErrorLine = "NSJSONSerializationErrorLine";
inline constexpr const char* NSJSONSerializationErrorColumn = "NSJSONSerializationErrorColumn";
inline constexpr const char* NSJSONSerializationErrorIndex = "NSJSONSerializationErrorIndex";

/// JSON text (RFC 8259, UTF-8) to values and back.
///
/// Objects become dictionaries in the order of their keys, null becomes NSNull, whole numbers
/// become integers where 64 bits hold them (with or without sign) and doubles where not. A single
/// value that is no array and no object is JSON too. Of equal keys in an object the last one's
/// value stays. Equal keys of a text are one string, the interned one if there is one (see
/// NSString::interned).
///
/// Text that is cut off, followed by something, not UTF-8, nested too deep or holds a number beyond
/// the doubles is an error whose sentence says where and what: "line 3, column 12: expected ',' or
/// '}', found '\"'". The text may be of any size, unless the call sets a limit; reading needs no
/// stack in proportion to it.
/// Threads: any. `error` may be null; it is set on failure only.
class NSJSONSerialization {
 public:
  NSJSONSerialization() = delete;

  // Returns: null for text that is no JSON; never null for JSON.
  static Value JSONObjectWithDataOptionsError(const Ref<NSData>& data, NSJSONReadingOptions options,
                                              Ref<NSError>* error);
  static Value JSONObjectWithTextOptionsError(std::string_view text, NSJSONReadingOptions options,
                                              Ref<NSError>* error);

  // The same for what strangers send: text of more bytes than that is an error, and nothing of it
  // is read.
  static Value JSONObjectWithDataOptionsMaximumLengthError(const Ref<NSData>& data,
                                                           NSJSONReadingOptions options,
                                                           NSUInteger maximumLength,
                                                           Ref<NSError>* error);
  static Value JSONObjectWithTextOptionsMaximumLengthError(std::string_view text,
                                                           NSJSONReadingOptions options,
                                                           NSUInteger maximumLength,
                                                           Ref<NSError>* error);

  /// Reads a text that is one array, element by element, so that only one of them is in memory at a
  /// time; the text itself is not copied.
  /// Calls: the block with each element and its position as soon as it is read, until it sets stop;
  /// what follows an error is not read.
  /// Returns: whether everything up to the end, or to the stop, was JSON.
  static bool enumerateElementsOfTextOptionsErrorUsingBlock(
      std::string_view text, NSJSONReadingOptions options, Ref<NSError>* error,
      const Block<void(const Value& element, NSUInteger index, bool& stop)>& block);

  // Returns: null for what JSON cannot express: not-a-number and the infinities, a key that is no
  // string, null, objects of other classes than string, number, array, dictionary and NSNull,
  // nesting that is too deep.
  static Ref<NSData> dataWithJSONObjectOptionsError(const Value& object,
                                                    NSJSONWritingOptions options,
                                                    Ref<NSError>* error);
  static Ref<NSString> stringWithJSONObjectOptionsError(const Value& object,
                                                        NSJSONWritingOptions options,
                                                        Ref<NSError>* error);
  /// Whether writing the value would succeed.
  static bool isValidJSONObject(const Value& object);
};

}  // namespace JNFoundation
