#include "Fuzzing.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/NSString+Extensions.h>

using namespace JNFoundation;

namespace {

using fuzzing::require;

bool isASCII(std::string_view text) {
  for (const char byte : text) {
    if (static_cast<unsigned char>(byte) >= 0x80) return false;
  }
  return true;
}

}  // namespace

// Encoded text decodes to itself if it is ASCII, and to nothing else; the entries of a query string
// make a query string with the same entries.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> text = NSString::fromText(fuzzing::textOf(data, size));
  const Ref<NSString> encoded = jn_stringWithUrlEncoding(text);
  const Ref<NSString> back = jn_stringWithUrlDecoding(encoded);
  require(static_cast<bool>(back) == isASCII(text->utf8()), "decoded wrongly", encoded->utf8());
  if (back) require(back->utf8() == text->utf8(), "decoded to something else", encoded->utf8());
  jn_stringWithUrlDecoding(text);

  const Ref<NSMutableDictionary> entries = dictionaryFromURLQueryString(text);
  std::string query;
  NSUInteger expected = 0;
  for (const auto& [key, value] : *entries) {
    if (!isASCII(as<NSString>(key)->utf8()) || !isASCII(as<NSString>(value)->utf8())) continue;
    ++expected;
    query += jn_stringWithUrlEncoding(as<NSString>(Value(key)))->toStdString() + '=' +
             jn_stringWithUrlEncoding(as<NSString>(Value(value)))->toStdString() + '&';
  }
  const Ref<NSMutableDictionary> again = dictionaryFromURLQueryString(query);
  require(again->count() == expected, "entries are lost", query);
  for (const auto& [key, value] : *again) {
    require(entries->objectForKey(key) == value, "an entry has changed", query);
  }
  return 0;
}
