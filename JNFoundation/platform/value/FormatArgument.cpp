#include "JNFoundation/platform/value/FormatArgument.h"

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// Widths and precisions beyond this are held to it, so that no format makes a text of gigabytes.
constexpr int widestField = 4096;

struct Conversion {
  std::string flags;
  int width = -1;
  int precision = -1;
  char letter = 0;
};

template <class Number>
std::string printed(const Conversion& conversion, const char* lengthAndLetter, Number number) {
  std::string format = "%" + conversion.flags;
  if (conversion.width >= 0) format += std::to_string(conversion.width);
  if (conversion.precision >= 0) format += "." + std::to_string(conversion.precision);
  format += lengthAndLetter;
  const int size = std::snprintf(nullptr, 0, format.c_str(), number);
  if (size < 0) return {};
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), format.c_str(), number);
  text.pop_back();
  return text;
}

/// Text cut to the precision and brought to the width, in code points.
std::string laidOut(const Conversion& conversion, std::string text) {
  if (conversion.precision >= 0) {
    text.resize(offsetOfCodePoint(text, static_cast<std::size_t>(conversion.precision)));
  }
  const auto width = static_cast<std::size_t>(std::max(conversion.width, 0));
  const std::size_t length = codePointCount(text);
  if (length >= width) return text;
  const bool left = conversion.flags.find('-') != std::string::npos;
  text.insert(left ? text.size() : 0, width - length, ' ');
  return text;
}

std::string textOf(const FormatArgument& argument) {
  switch (argument.kind()) {
    case FormatArgument::Kind::Text:
      return sanitizedUTF8(argument.text());
    case FormatArgument::Kind::Pointer:
      return argument.pointer() ? printed({}, "p", argument.pointer()) : "(null)";
    default:
      return argument.value().description()->toStdString();
  }
}

const void* addressOf(const FormatArgument& argument) {
  if (argument.kind() == FormatArgument::Kind::Text) return argument.text().data();
  if (argument.kind() == FormatArgument::Kind::Pointer) return argument.pointer();
  if (const Class* cls = argument.value().classValue()) return cls;
  return argument.value().object();
}

Value numberOf(const FormatArgument& argument) {
  return argument.value().isNumber() ? argument.value() : Value(0);
}

/// The number as %x, %o and %u see it: a negative one as the bits of its own type, an int at least.
std::uint64_t bitsOf(const FormatArgument& argument) {
  const Value number = numberOf(argument);
  if (number.kind() != Value::Kind::Integer || number.longLongValue() >= 0) {
    return number.unsignedLongLongValue();
  }
  const auto bits = static_cast<std::uint64_t>(number.longLongValue());
  return argument.size() <= sizeof(std::int32_t) ? static_cast<std::uint32_t>(bits) : bits;
}

/// The character of that number.
std::string characterOf(const FormatArgument& argument) {
  std::string text;
  const std::uint64_t codePoint = bitsOf(argument);
  appendUTF8(text, codePoint > 0x10FFFF ? replacementCharacter : static_cast<char32_t>(codePoint));
  return text;
}

std::string converted(const Conversion& conversion, const FormatArgument& argument) {
  switch (conversion.letter) {
    case '@':
    case 's':
      return laidOut(conversion, textOf(argument));
    case 'p': {
      const void* address = addressOf(argument);
      return laidOut({conversion.flags, conversion.width},
                     address ? printed({}, "p", address) : "0x0");
    }
    case 'd':
    case 'i': {
      const Value number = numberOf(argument);
      if (number.kind() == Value::Kind::Unsigned) {
        return printed(conversion, PRIu64, number.unsignedLongLongValue());
      }
      return printed(conversion, PRId64, number.longLongValue());
    }
    case 'u':
      return printed(conversion, PRIu64, bitsOf(argument));
    case 'x':
      return printed(conversion, PRIx64, bitsOf(argument));
    case 'X':
      return printed(conversion, PRIX64, bitsOf(argument));
    case 'o':
      return printed(conversion, PRIo64, bitsOf(argument));
    case 'c':
    case 'C':
      return laidOut({conversion.flags, conversion.width}, characterOf(argument));
    default: {
      const char letter[] = {conversion.letter, '\0'};
      return printed(conversion, letter, numberOf(argument).doubleValue());
    }
  }
}

bool isOneOf(char character, std::string_view characters) {
  return characters.find(character) != std::string_view::npos;
}

/// Walks a format and its arguments together.
class Formatter {
 public:
  Formatter(std::string_view format, std::span<const FormatArgument> arguments)
      : _format(format), _arguments(arguments) {}

  std::string text() {
    while (_position < _format.size()) {
      const std::size_t percent = std::min(_format.find('%', _position), _format.size());
      _result.append(_format, _position, percent - _position);
      _position = percent;
      if (_position < _format.size()) convert();
    }
    return std::move(_result);
  }

 private:
  /// The character at the position, NUL at the end of the format.
  char current() const { return _position < _format.size() ? _format[_position] : '\0'; }

  /// Reads one conversion, which begins with a percent sign. What is none stays as it is written.
  void convert() {
    const std::size_t percent = _position++;
    Conversion conversion;
    const FormatArgument* argument = readPosition();
    for (; isOneOf(current(), "-+ #0") && current() != '\0'; ++_position) {
      if (!isOneOf(current(), conversion.flags)) conversion.flags += current();
    }
    conversion.width = readSize();
    if (conversion.width < -1) {
      conversion.flags += '-';
      conversion.width = std::min(-conversion.width, widestField);
    }
    if (current() == '.') {
      ++_position;
      // No digits mean 0, a negative argument means that there is no precision.
      const bool isGiven = current() == '*';
      conversion.precision = std::max(readSize(), isGiven ? -1 : 0);
    }
    while (current() != '\0' && isOneOf(current(), "hlqLzjt")) ++_position;
    conversion.letter = current();
    if (_position < _format.size()) ++_position;
    if (conversion.letter == '%') {
      _result += '%';
    } else if (conversion.letter == '\0' || !isOneOf(conversion.letter, "@spdiuxXocCfFeEgGaA")) {
      _result.append(_format, percent, _position - percent);
    } else {
      _result += converted(conversion, argument ? *argument : nextArgument());
    }
  }

  /// Reads "2$", which names the argument by its place. Returns: null where that is not written.
  const FormatArgument* readPosition() {
    const std::size_t start = _position;
    const int place = impl::isDigit(current()) && current() != '0' ? readSize() : 0;
    if (place > 0 && current() == '$') {
      ++_position;
      return &argumentAt(static_cast<std::size_t>(place) - 1);
    }
    _position = start;
    return nullptr;
  }

  /// Reads the digits of a width or a precision, or takes it from an argument where "*" is written.
  /// Returns: -1 for nothing.
  int readSize() {
    if (current() == '*') {
      ++_position;
      const std::int64_t size = numberOf(nextArgument()).longLongValue();
      return static_cast<int>(std::clamp<std::int64_t>(size, -widestField, widestField));
    }
    if (!impl::isDigit(current())) return -1;
    int size = 0;
    for (; impl::isDigit(current()); ++_position) {
      size = std::min(size * 10 + (current() - '0'), widestField);
    }
    return size;
  }

  const FormatArgument& nextArgument() { return argumentAt(_next++); }
  const FormatArgument& argumentAt(std::size_t index) const {
    static const FormatArgument missing(nullptr);
    return index < _arguments.size() ? _arguments[index] : missing;
  }

  std::string_view _format;
  std::span<const FormatArgument> _arguments;
  std::size_t _position = 0;
  std::size_t _next = 0;
  std::string _result;
};

}  // namespace

std::string formatText(std::string_view format, std::span<const FormatArgument> arguments) {
  return Formatter(format, arguments).text();
}

}  // namespace JNFoundation
