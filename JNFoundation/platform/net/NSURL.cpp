#include "JNFoundation/platform/net/NSURL.h"

#include <algorithm>
#include <string>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/PercentText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSURL::classObject = Class::of<NSURL>("NSURL");

namespace {

const ClassDeclaration<NSURL> declarationOfNSURL =
    ClassDeclaration<NSURL>()
        .property("absoluteString", &NSURL::absoluteString)
        .property("scheme", &NSURL::scheme)
        .property("host", &NSURL::host)
        .property("port", &NSURL::port)
        .property("path", &NSURL::path)
        .property("query", &NSURL::query)
        .property("fragment", &NSURL::fragment)
        .property("isFileURL", &NSURL::isFileURL);

/// Whether every character may stand in a reference, and every percent sign begins an escape.
bool isReference(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c <= ' ' || c >= 0x7F ||
        std::string_view("<>\"{}|\\^`").find(c) != std::string_view::npos) {
      return false;
    }
    if (c == '%' && !(i + 2 < text.size() && impl::hexadecimalValue(text[i + 1]) >= 0 &&
                      impl::hexadecimalValue(text[i + 2]) >= 0)) {
      return false;
    }
  }
  return true;
}

/// The bytes that the escapes stand for; mended where they are no UTF-8.
Ref<NSString> unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      bytes += static_cast<char>(impl::hexadecimalValue(text[i + 1]) * 16 +
                                 impl::hexadecimalValue(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return NSString::fromText(bytes);
}

/// Takes the part behind the first of the separators off the end of the text; null if none is
/// there.
Ref<NSString> takeBehind(std::string_view& text, char separator) {
  const std::size_t place = text.find(separator);
  if (place == std::string_view::npos) return nullptr;
  Ref<NSString> part = NSString::fromText(text.substr(place + 1));
  text = text.substr(0, place);
  return part;
}

/// The length of the scheme in front of its colon; 0 if the text does not begin with one.
std::size_t schemeLength(std::string_view text) {
  if (text.empty() || !impl::isLetter(text[0])) return 0;
  const std::size_t end =
      text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.");
  return end != std::string_view::npos && text[end] == ':' ? end : 0;
}

}  // namespace

Ref<NSURL> NSURL::URLWithString(const Ref<NSString>& text) {
  if (!text || !isReference(text->utf8())) return nullptr;
  Ref<NSURL> url = makeObject<NSURL>(text);
  url->split();
  return url;
}

Ref<NSURL> NSURL::fileURLWithPath(const Ref<NSString>& path) {
  if (!path) return nullptr;
  const std::string escaped = percentEncodedExcept(path->utf8(), "", "?#;");
  Ref<NSURL> url = makeObject<NSURL>(NSString::stringWithFormat("file://%s", escaped));
  url->_scheme = "file"_s;
  url->_path = path;
  return url;
}

void NSURL::split() {
  std::string_view rest = _text->utf8();
  _fragment = takeBehind(rest, '#');
  _query = takeBehind(rest, '?');
  if (const std::size_t length = schemeLength(rest)) {
    _scheme = NSString::fromText(lowercased(rest.substr(0, length)));
    rest.remove_prefix(length + 1);
  }
  if (rest.substr(0, 2) == "//") {
    rest.remove_prefix(2);
    const std::size_t end = std::min(rest.find('/'), rest.size());
    std::string_view authority = rest.substr(0, end);
    rest.remove_prefix(end);
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
      authority.remove_prefix(at + 1);
    }
    const std::size_t bracket = authority.rfind(']');
    const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    if (colon != std::string_view::npos) {
      const std::string_view port = authority.substr(colon + 1);
      if (!port.empty()) _port = NSString::fromText(port)->integerValue();
      authority = authority.substr(0, colon);
    }
    if (!authority.empty()) _host = unescaped(authority);
  }
  _path = unescaped(rest);
}

bool NSURL::isFileURL() const noexcept { return _scheme && _scheme->utf8() == "file"; }

bool NSURL::isEqual(const Value& other) const {
  const NSURL* url = as<NSURL>(other);
  return url && _text->hasContentOf(*url->_text);
}

std::size_t NSURL::hash() const { return _text->hash(); }

Ref<NSString> NSURL::description() const { return _text; }

}  // namespace JNFoundation
