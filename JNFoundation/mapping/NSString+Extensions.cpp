#include "JNFoundation/mapping/NSString+Extensions.h"

#include <JNFoundation/platform/text/PercentText.h>

namespace JNFoundation::inline v0_1 {

Ref<NSString> jn_stringWithUrlEncoding(const Ref<NSString>& text) {
  return text ? NSString::fromText(percentEncoded(text->utf8())) : nullptr;
}

Ref<NSString> jn_stringWithUrlDecoding(const Ref<NSString>& text) {
  if (!text) return nullptr;
  const auto decoded = percentDecodedASCII(text->utf8());
  return decoded ? NSString::fromText(*decoded) : nullptr;
}

}  // namespace JNFoundation
