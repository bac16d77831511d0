#include "JNFoundation/platform/value/NSString.h"

#include <algorithm>
#include <limits>
#include <new>

#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/WhiteSpace.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/SharedMemory.h>
#include <JNFoundation/platform/value/impl/GrowingTable.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSString::classObject = Class::of<NSString>("NSString");

namespace {

/// The concrete class, as log texts name it.
struct ConcreteString {
  using Superclass = NSString;
  static const Class classObject;
};
constinit const Class ConcreteString::classObject = Class::of<ConcreteString>("__NSCFString");

const ClassDeclaration<NSString> declarationOfNSString =
    ClassDeclaration<NSString>()
        .operation("length", &NSString::length)
        .operation("integerValue", &NSString::integerValue)
        .operation("intValue", &NSString::intValue)
        .operation("longLongValue", &NSString::longLongValue)
        .operation("doubleValue", &NSString::doubleValue)
        .operation("floatValue", &NSString::floatValue)
        .operation("boolValue", &NSString::boolValue)
        .operation("isEqualToString:", &NSString::isEqualToString)
        .operation("compare:", &NSString::compare)
        .operation("caseInsensitiveCompare:", &NSString::caseInsensitiveCompare)
        .operation("localizedCompare:", &NSString::localizedCompare)
        .operation("localizedCaseInsensitiveCompare:", &NSString::localizedCaseInsensitiveCompare)
        .operation("localizedStandardCompare:", &NSString::localizedStandardCompare)
        .operation("uppercaseString", &NSString::uppercaseString)
        .operation("lowercaseString", &NSString::lowercaseString)
        .operation("capitalizedString", &NSString::capitalizedString)
        .operation("stringByAppendingString:", &NSString::stringByAppendingString)
        .operation("substringToIndex:", &NSString::substringToIndex)
        .operation("substringFromIndex:", &NSString::substringFromIndex)
        .operation("stringByTrimmingWhitespace", &NSString::stringByTrimmingWhitespace);

struct InternedString {
  std::string_view text() const noexcept { return string->utf8(); }
  std::uint64_t hash() const noexcept { return string->contentHash(); }

  NSString* string;
  InternedString* next;
};

impl::GrowingTable<InternedString>& internedStrings() {
  static auto& strings = *new impl::GrowingTable<InternedString>;  // outlives every static object
  return strings;
}

NSComparisonResult resultOf(int order) {
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

std::string_view comparable(const Ref<NSString>& other, const char* operation) {
  if (!other) raise(NSInvalidArgumentException, "-[NSString %s]: nil argument", operation);
  return other->utf8();
}

}  // namespace

const Class& NSString::class_() const noexcept { return ConcreteString::classObject; }

void NSString::operator delete(NSString* string, std::destroying_delete_t) noexcept {
  const bool standsAmongMany = string->_standsAmongMany != 0;
  string->~NSString();
  if (standsAmongMany) {
    giveBackSharedMemory(string);
  } else {
    ::operator delete(string);
  }
}

Ref<NSString> NSString::make(std::string_view wellFormed, std::size_t length, Place place) {
  if (wellFormed.size() >= std::numeric_limits<std::int32_t>::max()) {
    raise(NSInvalidArgumentException, "a string of %zu bytes is too long", wellFormed.size());
  }
  const std::size_t room = sizeof(NSString) + wellFormed.size() + 1;
  void* memory = place == Place::AmongMany ? takeSharedMemory(room, SharedMemoryUse::Contents)
                                           : ::operator new(room);
  auto* string = new (memory) NSString(wellFormed.size(), length, place);
  char* text = reinterpret_cast<char*>(string + 1);
  std::copy(wellFormed.begin(), wellFormed.end(), text);
  text[wellFormed.size()] = '\0';
  return Ref<NSString>::adopt(string);
}

Ref<NSString> NSString::mended(std::string_view text, Place place) {
  if (isASCII(text)) return make(text, text.size(), place);
  if (isValidUTF8(text)) return make(text, codePointCount(text), place);
  const std::string mended = sanitizedUTF8(text);
  return make(mended, codePointCount(mended), place);
}

Ref<NSString> NSString::string() { return ""_s; }

Ref<NSString> NSString::fromText(std::string_view text) { return mended(text, Place::Alone); }

Ref<NSString> NSString::fromTextAmongMany(std::string_view text) {
  return mended(text, Place::AmongMany);
}

Ref<NSString> NSString::stringWithUTF8String(const char* text) {
  return text && isValidUTF8(text) ? fromText(text) : nullptr;
}

Ref<NSString> NSString::interned(std::string_view text) {
  const std::uint64_t hash = contentHashOf(text);
  if (const InternedString* known = internedStrings().find(text, hash)) return known->string;
  if (!isValidUTF8(text)) return interned(sanitizedUTF8(text));
  const auto make = [text] {
    Ref<NSString> string = fromText(text);
    string->_interned = 1;
    string->contentHash();
    impl::excludeFromLiveObjects();
    return new InternedString{string.leak(), nullptr};
  };
  return internedStrings().findOrAdd(text, hash, make).string;
}

NSString* NSString::internedIfPresent(std::string_view text) noexcept {
  const InternedString* found = internedStrings().find(text, contentHashOf(text));
  return found ? found->string : nullptr;
}

std::uint64_t NSString::contentHashOf(std::string_view wellFormed) noexcept {
  const std::uint64_t hash = hashBytes(wellFormed);
  // 0 stands for "not computed yet".
  return hash != 0 ? hash : 1;
}

std::uint64_t NSString::computeHash() const noexcept {
  const std::uint64_t hash = contentHashOf(utf8());
  _hash.store(hash, std::memory_order_relaxed);
  return hash;
}

std::size_t NSString::offsetOf(NSUInteger index) const noexcept {
  return _length == _size ? index : offsetOfCodePoint(utf8(), index);
}

char32_t NSString::characterAtIndex(NSUInteger index) const {
  if (index >= _length) {
    raise(NSRangeException, "-[%s characterAtIndex:]: Index %llu out of bounds; string length %llu",
          class_().name(), index, NSUInteger(_length));
  }
  std::size_t offset = offsetOf(index);
  return nextCodePoint(utf8(), offset);
}

NSInteger NSString::integerValue() const {
  // A word that is too narrow for the number holds the nearest.
  return static_cast<NSInteger>(std::clamp<std::int64_t>(longLongValue(),
                                                         std::numeric_limits<NSInteger>::min(),
                                                         std::numeric_limits<NSInteger>::max()));
}
std::int64_t NSString::longLongValue() const { return integerFromText(utf8()); }
std::int32_t NSString::intValue() const { return intFromText(utf8()); }
double NSString::doubleValue() const { return doubleFromText(utf8()); }
float NSString::floatValue() const { return floatFromText(utf8()); }
bool NSString::boolValue() const { return boolFromText(utf8()); }

bool NSString::isEqualToString(const Ref<NSString>& other) const noexcept {
  return other && hasContentOf(*other);
}

bool NSString::isEqual(const Value& other) const {
  const NSString* string = as<NSString>(other);
  return string && hasContentOf(*string);
}

NSComparisonResult NSString::compare(const Ref<NSString>& other) const {
  return resultOf(compareLiteral(utf8(), comparable(other, "compare:")));
}
NSComparisonResult NSString::caseInsensitiveCompare(const Ref<NSString>& other) const {
  return resultOf(compareFolded(utf8(), comparable(other, "caseInsensitiveCompare:"), Fold::Case));
}
NSComparisonResult NSString::localizedCompare(const Ref<NSString>& other) const {
  return resultOf(compareLocalized(utf8(), comparable(other, "localizedCompare:")));
}
NSComparisonResult NSString::localizedCaseInsensitiveCompare(const Ref<NSString>& other) const {
  return resultOf(compareLocalizedCaseInsensitive(
      utf8(), comparable(other, "localizedCaseInsensitiveCompare:")));
}
NSComparisonResult NSString::localizedStandardCompare(const Ref<NSString>& other) const {
  return resultOf(compareLocalizedStandard(utf8(), comparable(other, "localizedStandardCompare:")));
}

bool NSString::hasPrefix(std::string_view prefix) const noexcept {
  return utf8().substr(0, prefix.size()) == prefix;
}
bool NSString::hasSuffix(std::string_view suffix) const noexcept {
  return _size >= suffix.size() && utf8().substr(_size - suffix.size()) == suffix;
}
bool NSString::containsString(std::string_view part) const noexcept {
  return utf8().find(part) != std::string_view::npos;
}

Ref<NSString> NSString::uppercaseString() const { return fromText(uppercased(utf8())); }
Ref<NSString> NSString::lowercaseString() const { return fromText(lowercased(utf8())); }

Ref<NSString> NSString::capitalizedString() const {
  // Each word, as white space divides them: the first letter in title case, the rest in lower.
  constexpr std::string_view space = " \t\r\n\v\f";
  std::string result;
  const std::string text = lowercased(utf8());
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t word = std::min(rest.find_first_of(space), rest.size());
    result += capitalizedFirst(rest.substr(0, word));
    const std::size_t next = std::min(rest.find_first_not_of(space, word), rest.size());
    result += rest.substr(word, next - word);
    rest.remove_prefix(next);
  }
  return fromText(result);
}

Ref<NSString> NSString::stringByAppendingString(const Ref<NSString>& other) const {
  const std::string_view appended = comparable(other, "stringByAppendingString:");
  std::string text;
  text.reserve(_size + appended.size());
  text.append(utf8()).append(appended);
  return make(text, std::size_t{_length} + other->_length);
}

Ref<NSString> NSString::substringToIndex(NSUInteger index) const {
  if (index > _length) {
    raise(NSRangeException, "-[%s substringToIndex:]: Index %llu out of bounds; string length %llu",
          class_().name(), index, NSUInteger(_length));
  }
  return make(utf8().substr(0, offsetOf(index)), index);
}

Ref<NSString> NSString::substringFromIndex(NSUInteger index) const {
  if (index > _length) {
    raise(NSRangeException,
          "-[%s substringFromIndex:]: Index %llu out of bounds; string length %llu",
          class_().name(), index, NSUInteger(_length));
  }
  return make(utf8().substr(offsetOf(index)), _length - index);
}

Ref<NSString> NSString::stringByTrimmingWhitespace() const {
  return fromText(withoutWhiteSpaceAround(utf8()));
}

Ref<NSArray> NSString::componentsSeparatedByString(std::string_view separator) const {
  std::vector<Value> pieces;
  std::string_view rest = utf8();
  while (!separator.empty()) {
    const std::size_t found = rest.find(separator);
    if (found == std::string_view::npos) break;
    pieces.emplace_back(rest.substr(0, found));
    rest.remove_prefix(found + separator.size());
  }
  pieces.emplace_back(rest);
  return NSArray::arrayWithValues(std::move(pieces));
}

Ref<NSString> NSString::description() const { return const_cast<NSString*>(this); }

}  // namespace JNFoundation
