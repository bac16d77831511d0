#include "JNFoundation/platform/value/NSData.h"

#include <algorithm>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSData::classObject = Class::of<NSData>("NSData");
constinit const Class NSMutableData::classObject = Class::of<NSMutableData>("NSMutableData");

namespace {

/// The concrete classes, as log texts name them.
struct ConcreteData {
  using Superclass = NSData;
  static const Class classObject;
};
struct ConcreteMutableData {
  using Superclass = NSMutableData;
  static const Class classObject;
};
constinit const Class ConcreteData::classObject = Class::of<ConcreteData>("NSConcreteData");
constinit const Class ConcreteMutableData::classObject =
    Class::of<ConcreteMutableData>("NSConcreteMutableData");

const ClassDeclaration<NSData> declarationOfNSData =
    ClassDeclaration<NSData>()
        .factory([]() -> Ref<NSObject> { return NSData::data(); })
        .property("length", &NSData::length)
        .operation("base64EncodedString", &NSData::base64EncodedString)
        .operation("isEqualToData:", &NSData::isEqualToData);
const ClassDeclaration<NSMutableData> declarationOfNSMutableData =
    ClassDeclaration<NSMutableData>()
        .factory([]() -> Ref<NSObject> { return NSMutableData::data(); })
        .property("length", &NSMutableData::length, &NSMutableData::setLength)
        .operation("appendData:", &NSMutableData::appendData);

constexpr char base64Characters[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Returns: -1 for what is no base64 character.
int base64Value(char character) {
  if (character >= 'A' && character <= 'Z') return character - 'A';
  if (character >= 'a' && character <= 'z') return character - 'a' + 26;
  if (character >= '0' && character <= '9') return character - '0' + 52;
  return character == '+' ? 62 : character == '/' ? 63 : -1;
}

/// The bytes in hexadecimal, a space before every fourth but the first.
void appendHexadecimal(std::string& text, std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) text += ' ';
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
}

std::string bytesFrom(const void* bytes, NSUInteger length, const char* operation) {
  if (length == 0) return std::string();
  if (!bytes)
    raise(NSInvalidArgumentException, "%s: null with a length of %llu", operation, length);
  return std::string(static_cast<const char*>(bytes), length);
}

}  // namespace

const Class& NSData::class_() const noexcept { return ConcreteData::classObject; }

Ref<NSData> NSData::data() { return makeObject<NSData>(std::string()); }

Ref<NSData> NSData::dataWithBytesLength(const void* bytes, NSUInteger length) {
  return makeObject<NSData>(bytesFrom(bytes, length, "+[NSData dataWithBytes:length:]"));
}

Ref<NSData> NSData::dataWithData(const Ref<NSData>& other) {
  return other ? makeObject<NSData>(other->_bytes) : data();
}

Ref<NSData> NSData::dataWithText(std::string text) { return makeObject<NSData>(std::move(text)); }

Ref<NSData> NSData::initWithBase64EncodedStringOptions(const Ref<NSString>& text,
                                                       NSDataBase64DecodingOptions options) {
  if (!text) return nullptr;
  std::string bytes;
  bytes.reserve(text->utf8().size() / 4 * 3);
  std::uint32_t bits = 0;
  int characters = 0, padding = 0;
  for (const char character : text->utf8()) {
    const int value = base64Value(character);
    if (character == '=') {
      ++padding;
    } else if (value < 0) {
      if (options & NSDataBase64DecodingIgnoreUnknownCharacters) continue;
      return nullptr;
    } else {
      if (padding > 0) return nullptr;
      bits = bits << 6 | static_cast<std::uint32_t>(value);
      if (++characters == 4) {
        bytes += static_cast<char>(bits >> 16);
        bytes += static_cast<char>(bits >> 8 & 0xFF);
        bytes += static_cast<char>(bits & 0xFF);
        bits = 0;
        characters = 0;
      }
    }
  }
  // The last group: one byte in two characters, two in three; its spare bits are zero.
  if (characters == 2 && padding == 2 && (bits & 0xF) == 0) {
    bytes += static_cast<char>(bits >> 4);
  } else if (characters == 3 && padding == 1 && (bits & 0x3) == 0) {
    bytes += static_cast<char>(bits >> 10);
    bytes += static_cast<char>(bits >> 2 & 0xFF);
  } else if (characters != 0 || padding != 0) {
    return nullptr;
  }
  return makeObject<NSData>(std::move(bytes));
}

Ref<NSData> NSData::subdataWithRange(NSRange range) const {
  if (range.location > _bytes.size() || range.length > _bytes.size() - range.location) {
    raise(NSRangeException,
          "*** -[%s subdataWithRange:]: range {%llu, %llu} exceeds data length %llu",
          class_().name(), range.location, range.length, length());
  }
  return makeObject<NSData>(_bytes.substr(range.location, range.length));
}

Ref<NSString> NSData::base64EncodedString() const {
  std::string text;
  text.reserve((_bytes.size() + 2) / 3 * 4);
  const std::uint8_t* from = bytes();
  for (std::size_t i = 0; i < _bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, _bytes.size() - i);
    std::uint32_t bits = static_cast<std::uint32_t>(from[i]) << 16;
    if (count > 1) bits |= static_cast<std::uint32_t>(from[i + 1]) << 8;
    if (count > 2) bits |= from[i + 2];
    text += base64Characters[bits >> 18];
    text += base64Characters[bits >> 12 & 63];
    text += count > 1 ? base64Characters[bits >> 6 & 63] : '=';
    text += count > 2 ? base64Characters[bits & 63] : '=';
  }
  return text;
}

bool NSData::isEqualToData(const Ref<NSData>& other) const noexcept {
  return other && _bytes == other->_bytes;
}

bool NSData::isEqual(const Value& other) const {
  const NSData* data = as<NSData>(other);
  return data && _bytes == data->_bytes;
}

std::size_t NSData::hash() const { return static_cast<std::size_t>(hashBytes(_bytes)); }

Ref<NSString> NSData::description() const {
  constexpr std::size_t wholeLimit = 24, shownInFront = 16, shownBehind = 8;
  std::string text = "<";
  if (_bytes.size() <= wholeLimit) {
    appendHexadecimal(text, _bytes);
    return text + ">";
  }
  appendHexadecimal(text, view().substr(0, shownInFront));
  text += " ... ";
  appendHexadecimal(text, view().substr(_bytes.size() - shownBehind));
  return text + "> (" + textFromUnsigned(_bytes.size()) + " bytes)";
}

Value NSData::copy() const { return Value(const_cast<NSData*>(this)); }

Value NSData::mutableCopy() const { return makeObject<NSMutableData>(_bytes); }

const Class& NSMutableData::class_() const noexcept { return ConcreteMutableData::classObject; }

Ref<NSMutableData> NSMutableData::data() { return makeObject<NSMutableData>(std::string()); }

Ref<NSMutableData> NSMutableData::dataWithCapacity(NSUInteger capacity) {
  std::string bytes;
  bytes.reserve(capacity);
  return makeObject<NSMutableData>(std::move(bytes));
}

Ref<NSMutableData> NSMutableData::dataWithLength(NSUInteger length) {
  return makeObject<NSMutableData>(std::string(length, '\0'));
}

Ref<NSMutableData> NSMutableData::dataWithData(const Ref<NSData>& other) {
  return makeObject<NSMutableData>(other ? std::string(other->view()) : std::string());
}

void NSMutableData::appendBytesLength(const void* bytes, NSUInteger length) {
  if (length == 0) return;
  if (!bytes) {
    raise(NSInvalidArgumentException,
          "-[NSMutableData appendBytes:length:]: null with a length of %llu", length);
  }
  _bytes.append(static_cast<const char*>(bytes), length);
}

void NSMutableData::appendData(const Ref<NSData>& other) {
  if (other) _bytes.append(other->view());
}

void NSMutableData::setLength(NSUInteger length) { _bytes.resize(length); }

Value NSMutableData::copy() const { return makeObject<NSData>(_bytes); }

}  // namespace JNFoundation
