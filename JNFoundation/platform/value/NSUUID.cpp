#include "JNFoundation/platform/value/NSUUID.h"

#include <cstring>
#include <random>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSUUID::classObject = Class::of<NSUUID>("NSUUID");

namespace {

/// The concrete class, as log texts name it.
struct ConcreteUUID {
  using Superclass = NSUUID;
  static const Class classObject;
};
constinit const Class ConcreteUUID::classObject = Class::of<ConcreteUUID>("__NSConcreteUUID");

const ClassDeclaration<NSUUID> declarationOfNSUUID =
    ClassDeclaration<NSUUID>()
        .factory([]() -> Ref<NSObject> { return NSUUID::UUID(); })
        .property("UUIDString", &NSUUID::UUIDString)
        .operation("compare:", &NSUUID::compare);

constexpr std::size_t textLength = 36;

constexpr bool isDashPosition(std::size_t position) {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

}  // namespace

const Class& NSUUID::class_() const noexcept { return ConcreteUUID::classObject; }

Ref<NSUUID> NSUUID::UUID() {
  // Made for each identifier: it keeps no state that threads or forked processes could share.
  return UUIDWithRandomSource([] {
    std::random_device device;
    const std::uint64_t high = device();
    return high << 32 | device();
  });
}

Ref<NSUUID> NSUUID::UUIDWithRandomSource(const Block<std::uint64_t()>& source) {
  if (!source) fatalError("+[NSUUID UUIDWithRandomSource:]: the source is null");
  const std::uint64_t words[2] = {source(), source()};
  Bytes bytes;
  static_assert(sizeof words == sizeof bytes);
  std::memcpy(bytes.data(), words, sizeof words);
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  return initWithUUIDBytes(bytes);
}

Ref<NSUUID> NSUUID::initWithUUIDBytes(const Bytes& bytes) { return makeObject<NSUUID>(bytes); }

Ref<NSUUID> NSUUID::initWithUUIDString(const Ref<NSString>& text) {
  if (!text || text->utf8().size() != textLength) return nullptr;
  const std::string_view characters = text->utf8();
  Bytes bytes;
  std::size_t position = 0;
  for (std::uint8_t& byte : bytes) {
    if (isDashPosition(position) && characters[position++] != '-') return nullptr;
    const int high = impl::hexadecimalValue(characters[position++]);
    const int low = impl::hexadecimalValue(characters[position++]);
    if (high < 0 || low < 0) return nullptr;
    byte = static_cast<std::uint8_t>(high << 4 | low);
  }
  return initWithUUIDBytes(bytes);
}

Ref<NSString> NSUUID::UUIDString() const {
  std::string text;
  text.reserve(textLength);
  for (const std::uint8_t byte : _bytes) {
    if (isDashPosition(text.size())) text += '-';
    text += "0123456789ABCDEF"[byte >> 4];
    text += "0123456789ABCDEF"[byte & 15];
  }
  return text;
}

NSComparisonResult NSUUID::compare(const Ref<NSUUID>& other) const {
  if (!other) raise(NSInvalidArgumentException, "-[NSUUID compare:]: the argument is null");
  const int order = std::memcmp(_bytes.data(), other->_bytes.data(), _bytes.size());
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

bool NSUUID::isEqual(const Value& other) const {
  const NSUUID* identifier = as<NSUUID>(other);
  return identifier && _bytes == identifier->_bytes;
}

std::size_t NSUUID::hash() const {
  return static_cast<std::size_t>(
      hashBytes({reinterpret_cast<const char*>(_bytes.data()), _bytes.size()}));
}

Ref<NSString> NSUUID::description() const { return UUIDString(); }

}  // namespace JNFoundation
