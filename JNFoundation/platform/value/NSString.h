#pragma once

#include <new>
#include <string>
#include <string_view>

#include <JNFoundation/platform/value/FormatArgument.h>
#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSArray;

/// Immutable Unicode text, kept as well-formed UTF-8 behind the object's header in one allocation.
///
/// Lengths and positions count code points. Ill-formed UTF-8 is mended on the way in: each maximal
/// ill-formed sequence becomes U+FFFD. NUL is a character like any other.
/// A parameter of type `const Ref<NSString>&` accepts C++ text.
/// Threads: any; a string never changes.
class NSString final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// The empty string.
  static Ref<NSString> string();
  /// The string itself.
  static Ref<NSString> stringWithString(const Ref<NSString>& other) { return other; }

  /// Mends ill-formed UTF-8. Fails: raises NSInvalidArgumentException from 2 GiB on.
  static Ref<NSString> fromText(std::string_view text);

  /// The same for one of many texts that mostly go together, as those of the records of one answer:
  /// they stand beside each other in memory, see SharedMemory.h.
  static Ref<NSString> fromTextAmongMany(std::string_view text);

  /// Returns: null for a null pointer and for ill-formed UTF-8.
  static Ref<NSString> stringWithUTF8String(const char* text);

  /// Formats as the platform does: %@ takes any value, %s text, %p an address, %d %i %u %x %o %ld
  /// %lu %lld %llu %zu integers, %c the number of a character, %f %e %g floating point, %% is a
  /// percent sign; flags, width, precision, "*" and places ("%2$@") as in C, widths of text in code
  /// points, at most 4096. The arguments know their types, so the length letters are read and
  /// ignored. An argument of the wrong kind or a missing one reads as 0 or "(null)"; what is no
  /// conversion stays as it is written.
  template <class... Arguments>
  static Ref<NSString> stringWithFormat(std::string_view format, const Arguments&... arguments) {
    const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(nullptr)};
    return fromText(formatText(format, {list, sizeof...(arguments)}));
  }

  /// The one string of that content that recurring keys share: attribute names, keys of records.
  /// It is never released, so intern only what comes from a model or from code, never input.
  static Ref<NSString> interned(std::string_view text);

  /// The interned string of that content. Returns: null if nobody interned it.
  static NSString* internedIfPresent(std::string_view text) noexcept;

  /// The bytes, well-formed, borrowed from the string.
  std::string_view utf8() const noexcept { return {text(), _size}; }
  operator std::string_view() const noexcept { return utf8(); }
  /// The bytes with a NUL behind them.
  const char* UTF8String() const noexcept { return text(); }
  /// A copy of the bytes.
  std::string toStdString() const { return std::string(utf8()); }

  /// The number of code points.
  NSUInteger length() const noexcept { return _length; }
  /// Fails: raises NSRangeException outside 0 to length-1.
  char32_t characterAtIndex(NSUInteger index) const;

  // Numbers are read from the longest numeric prefix; text without one is 0.
  NSInteger integerValue() const;
  std::int32_t intValue() const;
  std::int64_t longLongValue() const;
  double doubleValue() const;
  float floatValue() const;
  bool boolValue() const;

  /// Returns: false for null.
  bool isEqualToString(const Ref<NSString>& other) const noexcept;
  /// The order of code points. Fails: raises NSInvalidArgumentException for null, as do the others.
  NSComparisonResult compare(const Ref<NSString>& other) const;
  /// The order of `compareFolded` with `Fold::Case`, see Folding.h.
  NSComparisonResult caseInsensitiveCompare(const Ref<NSString>& other) const;
  /// The order of `compareLocalized`.
  NSComparisonResult localizedCompare(const Ref<NSString>& other) const;
  /// The order of `compareLocalizedCaseInsensitive`.
  NSComparisonResult localizedCaseInsensitiveCompare(const Ref<NSString>& other) const;
  /// The order of `compareLocalizedStandard`.
  NSComparisonResult localizedStandardCompare(const Ref<NSString>& other) const;

  // Code point by code point; every string has the empty text.
  bool hasPrefix(std::string_view prefix) const noexcept;
  bool hasSuffix(std::string_view suffix) const noexcept;
  bool containsString(std::string_view part) const noexcept;

  /// Full upper case: of "straße" it is "STRASSE".
  Ref<NSString> uppercaseString() const;
  /// Full lower case, with the Greek final sigma at the end of a word.
  Ref<NSString> lowercaseString() const;
  /// Each word, as white space divides them, with its first letter in title case and the rest in
  /// lower case.
  Ref<NSString> capitalizedString() const;
  /// This string and the other one behind it. Fails: raises NSInvalidArgumentException for null.
  Ref<NSString> stringByAppendingString(const Ref<NSString>& other) const;
  // Both count code points. Fail: raise NSRangeException past the end.
  Ref<NSString> substringToIndex(NSUInteger index) const;
  Ref<NSString> substringFromIndex(NSUInteger index) const;
  /// Without the white space of Unicode, line ends included, at either end.
  Ref<NSString> stringByTrimmingWhitespace() const;
  /// The pieces between the separators, empty ones included, at least one.
  Ref<NSArray> componentsSeparatedByString(std::string_view separator) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override { return static_cast<std::size_t>(contentHash()); }
  Ref<NSString> description() const override;

  /// Mixed once, then kept. Never 0.
  std::uint64_t contentHash() const noexcept {
    const std::uint64_t known = _hash.load(std::memory_order_relaxed);
    return known != 0 ? known : computeHash();
  }
  /// The hash of a string of that content, without making it.
  static std::uint64_t contentHashOf(std::string_view wellFormed) noexcept;
  /// Equality with another string of the library, quickly.
  bool hasContentOf(const NSString& other) const noexcept {
    return this == &other ||
           (_size == other._size && !isHashedUnlike(other) && utf8() == other.utf8());
  }
  /// Whether the string is the one that `interned` gives for its text.
  bool isInterned() const noexcept { return _interned; }

  /// Strings are allocated with their text behind them.
  static void operator delete(NSString* string, std::destroying_delete_t) noexcept;

 private:
  /// Where a string stands in memory.
  enum class Place : std::uint8_t { Alone, AmongMany };

  NSString(std::size_t size, std::size_t length, Place place) noexcept
      : _size(size & 0x7FFFFFFF),
        _standsAmongMany(place == Place::AmongMany ? 1 : 0),
        _length(length & 0x7FFFFFFF) {}
  static void* operator new(std::size_t, void* memory) noexcept { return memory; }

  static Ref<NSString> mended(std::string_view text, Place place);
  static Ref<NSString> make(std::string_view wellFormed, std::size_t length,
                            Place place = Place::Alone);
  /// Whether known hashes tell the two apart already.
  bool isHashedUnlike(const NSString& other) const noexcept {
    const std::uint64_t left = _hash.load(std::memory_order_relaxed);
    const std::uint64_t right = other._hash.load(std::memory_order_relaxed);
    return left != right && left != 0 && right != 0;
  }
  /// Where the code point of that index starts; the end for one past the last.
  std::size_t offsetOf(NSUInteger index) const noexcept;
  const char* text() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  std::uint64_t computeHash() const noexcept;

  mutable std::atomic<std::uint64_t> _hash{0};
  std::uint32_t _size : 31;
  std::uint32_t _standsAmongMany : 1;
  std::uint32_t _length : 31;
  std::uint32_t _interned : 1 = 0;
};

namespace impl {

/// The characters of a literal, as a template's argument.
template <std::size_t Size>
struct LiteralText {
  constexpr LiteralText(const char (&literal)[Size]) {
    for (std::size_t i = 0; i < Size; ++i) text[i] = literal[i];
  }
  constexpr std::string_view view() const { return {text, Size - 1}; }
  char text[Size];
};

}  // namespace impl

inline namespace literals {

/// An interned string: "name"_s is one object however often it is written, and costs nothing after
/// its first use. Lives as long as the process.
template <impl::LiteralText literal>
const Ref<NSString>& operator""_s() {
  static const Ref<NSString>& string = *new Ref<NSString>(NSString::interned(literal.view()));
  return string;
}

}  // namespace literals
}  // namespace JNFoundation
