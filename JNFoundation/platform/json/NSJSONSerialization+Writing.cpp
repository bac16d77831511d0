#include <algorithm>
#include <cmath>
#include <optional>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

namespace {

/// Writes one value with all that is in it; the open containers stand in a list of their own.
class Writer {
 public:
  explicit Writer(NSJSONWritingOptions options)
      : _isPretty((options & NSJSONWritingPrettyPrinted) != 0),
        _isSorted((options & NSJSONWritingSortedKeys) != 0) {}

  /// Returns: false for what JSON cannot express.
  bool write(const Value& root) {
    if (!writeStart(root)) return false;
    while (!_open.empty()) {
      Container& container = _open.back();
      if (container.position == container.count) {
        const char bracket = container.array ? ']' : '}';
        const bool wasEmpty = container.count == 0;
        _open.pop_back();
        if (!wasEmpty) breakLine();
        _text += bracket;
        continue;
      }
      if (container.position > 0) _text += ',';
      breakLine();
      // The container may move when another one is opened, so nothing of it is used after that.
      if (!(container.array ? writeElement(container) : writeMember(container))) return false;
    }
    return true;
  }

  std::string takeText() { return std::move(_text); }
  const std::string& problem() const { return _problem; }

 private:
  struct Container {
    /// Keeps the container alive: it may be an element that was made when it was read.
    Value owner;
    /// Null for a dictionary.
    const NSArray* array = nullptr;
    /// The members in their own order; the other way of walking them is the sorted list.
    std::optional<NSDictionary::Iterator> members;
    std::vector<const NSDictionary::Entry*> sorted;
    const NSDictionary::Entry* current = nullptr;
    std::size_t count = 0;
    /// Of the next element or member.
    std::size_t position = 0;
  };

  bool writeElement(Container& container) {
    const std::size_t position = container.position++;
    if (const std::vector<Value>* elements = container.array->contiguousElements()) {
      return writeStart((*elements)[position]);
    }
    return writeStart(container.array->objectAtIndex(position));
  }

  bool writeMember(Container& container) {
    const std::size_t position = container.position++;
    if (_isSorted) {
      container.current = container.sorted[position];
    } else {
      // The comparison also steps over the places of removed members.
      const auto end = static_cast<const NSDictionary*>(container.owner.object())->end();
      if (!(*container.members != end)) return fail("the dictionary was changed meanwhile");
      container.current = &container.members->entry();
      ++*container.members;
    }
    const NSDictionary::Entry& member = *container.current;
    const NSString* key = as<NSString>(member.key);
    if (!key) return fail(describe(member.key) + " is a key, and JSON's keys are strings");
    writeString(key->utf8());
    _text += _isPretty ? ": " : ":";
    return writeStart(member.value);
  }

  /// A value that is complete, or a container up to its first value.
  bool writeStart(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::Null:
        return fail("null has no place in JSON; NSNull has");
      case Value::Kind::Boolean:
        _text += value.boolValue() ? "true" : "false";
        return true;
      case Value::Kind::Integer:
        _text += textFromInteger(value.longLongValue());
        return true;
      case Value::Kind::Unsigned:
        _text += textFromUnsigned(value.unsignedLongLongValue());
        return true;
      case Value::Kind::Float:
      case Value::Kind::Double:
        return writeFloating(value);
      default:
        break;
    }
    if (const NSString* string = as<NSString>(value)) {
      writeString(string->utf8());
      return true;
    }
    if (value.isNSNull()) {
      _text += "null";
      return true;
    }
    if (const NSDecimalNumber* number = as<NSDecimalNumber>(value)) {
      if (number->isNotANumber()) return fail("not-a-number is no JSON number");
      _text += number->stringValue()->utf8();
      return true;
    }
    if (const NSArray* array = as<NSArray>(value)) {
      Container container;
      container.array = array;
      container.count = array->count();
      return open(std::move(container), value, '[');
    }
    if (const NSDictionary* dictionary = as<NSDictionary>(value)) {
      Container container;
      container.count = dictionary->count();
      container.members.emplace(*dictionary);
      if (_isSorted) container.sorted = sortedMembers(*dictionary);
      return open(std::move(container), value, '{');
    }
    return fail(describe(value) + " has no form in JSON");
  }

  bool open(Container&& container, const Value& owner, char bracket) {
    if (_open.size() == NSJSONMaximumDepth) {
      return fail("arrays and dictionaries are nested more than " +
                  textFromUnsigned(NSJSONMaximumDepth) + " deep");
    }
    container.owner = owner;
    _open.push_back(std::move(container));
    _text += bracket;
    return true;
  }

  static std::vector<const NSDictionary::Entry*> sortedMembers(const NSDictionary& dictionary) {
    std::vector<const NSDictionary::Entry*> members;
    members.reserve(dictionary.count());
    for (auto at = dictionary.begin(), end = dictionary.end(); at != end; ++at) {
      members.push_back(&at.entry());
    }
    // A key that is no string fails when it is written; until then it stands in front.
    const auto text = [](const NSDictionary::Entry* member) {
      const NSString* key = as<NSString>(member->key);
      return key ? key->utf8() : std::string_view();
    };
    std::sort(members.begin(), members.end(),
              [&text](const auto* left, const auto* right) { return text(left) < text(right); });
    return members;
  }

  bool writeFloating(const Value& value) {
    const double number = value.doubleValue();
    if (!std::isfinite(number)) {
      return fail(std::isnan(number) ? "not-a-number is no JSON number"
                                     : "infinity is no JSON number");
    }
    if (number == 0 && std::signbit(number)) {
      // Without a fraction it would be read as the integer 0, which has no sign.
      _text += "-0.0";
    } else {
      _text += value.kind() == Value::Kind::Float ? textFromFloat(value.floatValue())
                                                  : textFromDouble(number);
    }
    return true;
  }

  void writeString(std::string_view string) {
    _text += '"';
    std::size_t copied = 0;
    for (std::size_t i = 0; i < string.size(); ++i) {
      const auto byte = static_cast<unsigned char>(string[i]);
      if (byte >= 0x20 && byte != '"' && byte != '\\') continue;
      _text.append(string, copied, i - copied);
      copied = i + 1;
      writeEscape(string[i]);
    }
    _text.append(string, copied);
    _text += '"';
  }

  void writeEscape(char character) {
    _text += '\\';
    switch (character) {
      case '"':
      case '\\':
        _text += character;
        break;
      case '\b':
        _text += 'b';
        break;
      case '\f':
        _text += 'f';
        break;
      case '\n':
        _text += 'n';
        break;
      case '\r':
        _text += 'r';
        break;
      case '\t':
        _text += 't';
        break;
      default:
        _text += "u00";
        _text += "0123456789abcdef"[character >> 4 & 15];
        _text += "0123456789abcdef"[character & 15];
    }
  }

  void breakLine() {
    if (!_isPretty) return;
    _text += '\n';
    _text.append(_open.size() * 2, ' ');
  }

  static std::string describe(const Value& value) {
    return "a value of class " + std::string(value.class_()->name());
  }

  /// Names the place the way a reader of the values would: "records[3].price: …".
  bool fail(std::string_view reason) {
    std::string place;
    for (const Container& container : _open) {
      // The container counted on before its element was written.
      if (container.position == 0) continue;
      if (container.array) {
        place += "[" + textFromUnsigned(container.position - 1) + "]";
      } else {
        if (!place.empty()) place += '.';
        if (container.current) place += container.current->key.description()->utf8();
      }
    }
    constexpr std::size_t shown = 200;
    if (place.size() > shown) place = place.substr(0, shown) + "...";
    _problem = place.empty() ? std::string(reason) : place + ": " + std::string(reason);
    return false;
  }

  bool _isPretty;
  bool _isSorted;
  std::string _text;
  /// The innermost container last.
  std::vector<Container> _open;
  std::string _problem;
};

bool writeJSON(const Value& object, NSJSONWritingOptions options, std::string& text,
               Ref<NSError>* error) {
  Writer writer(options);
  if (writer.write(object)) {
    text = writer.takeText();
    return true;
  }
  if (error) {
    *error = NSError::errorWithDomainCodeUserInfo(
        NSCocoaErrorDomain, NSPropertyListWriteInvalidError,
        NSDictionary::dictionaryWithObjectForKey(writer.problem(), NSLocalizedDescriptionKey));
  }
  return false;
}

}  // namespace

Ref<NSData> NSJSONSerialization::dataWithJSONObjectOptionsError(const Value& object,
                                                                NSJSONWritingOptions options,
                                                                Ref<NSError>* error) {
  std::string text;
  return writeJSON(object, options, text, error) ? NSData::dataWithText(std::move(text)) : nullptr;
}

Ref<NSString> NSJSONSerialization::stringWithJSONObjectOptionsError(const Value& object,
                                                                    NSJSONWritingOptions options,
                                                                    Ref<NSError>* error) {
  std::string text;
  return writeJSON(object, options, text, error) ? NSString::fromText(text) : nullptr;
}

bool NSJSONSerialization::isValidJSONObject(const Value& object) {
  return Writer(NSJSONWritingCompact).write(object);
}

}  // namespace JNFoundation
