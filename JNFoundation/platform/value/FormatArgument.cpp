#include "JNFoundation/platform/value/FormatArgument.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

/// Widths and precisions beyond this are held to it: they come from formats, not from data.
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
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), format.c_str(), number);
  text.pop_back();
  return text;
}

std::string padded(const Conversion& conversion, std::string text) {
  if (conversion.width < 0 || text.size() >= static_cast<std::size_t>(conversion.width))
    return text;
  const std::size_t missing = static_cast<std::size_t>(conversion.width) - text.size();
  const bool left = conversion.flags.find('-') != std::string::npos;
  return left ? text + std::string(missing, ' ') : std::string(missing, ' ') + text;
}

std::string textOf(const FormatArgument& argument) {
  switch (argument.kind()) {
    case FormatArgument::Kind::Text:
      return std::string(argument.text());
    case FormatArgument::Kind::Pointer:
      return argument.pointer() ? printed({}, "p", argument.pointer()) : "(null)";
    default:
      return std::string(argument.value().description()->utf8());
  }
}

Value numberOf(const FormatArgument& argument) {
  return argument.value().isNumber() ? argument.value() : Value(0);
}

std::string converted(const Conversion& conversion, const FormatArgument& argument) {
  switch (conversion.letter) {
    case '@':
      return padded(conversion, textOf(argument));
    case 's': {
      std::string text = textOf(argument);
      if (conversion.precision >= 0)
        text.resize(std::min<std::size_t>(text.size(), conversion.precision));
      return padded(conversion, std::move(text));
    }
    case 'p': {
      const void* address = argument.kind() == FormatArgument::Kind::Object
                                ? static_cast<const void*>(argument.value().object())
                                : argument.pointer();
      const std::string text = address ? printed({}, "p", address) : std::string("0x0");
      return padded(conversion, text);
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
      return printed(conversion, PRIu64, numberOf(argument).unsignedLongLongValue());
    case 'x':
      return printed(conversion, PRIx64, numberOf(argument).unsignedLongLongValue());
    case 'X':
      return printed(conversion, PRIX64, numberOf(argument).unsignedLongLongValue());
    case 'o':
      return printed(conversion, PRIo64, numberOf(argument).unsignedLongLongValue());
    case 'c':
      return printed(conversion, "c", static_cast<int>(numberOf(argument).intValue()));
    default: {
      const char letter[] = {conversion.letter, '\0'};
      return printed(conversion, letter, numberOf(argument).doubleValue());
    }
  }
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Reads a number of a format and moves past it.
int readNumber(std::string_view format, std::size_t& position) {
  int number = 0;
  for (; position < format.size() && isDigit(format[position]); ++position) {
    number = std::min(number * 10 + (format[position] - '0'), widestField);
  }
  return number;
}

}  // namespace

std::string formatText(std::string_view format, std::span<const FormatArgument> arguments) {
  static const FormatArgument missing(nullptr);
  std::string result;
  std::size_t next = 0;
  std::size_t position = 0;
  while (position < format.size()) {
    const std::size_t percent = format.find('%', position);
    result.append(format.substr(position, percent - position));
    if (percent == std::string_view::npos) break;
    position = percent + 1;
    Conversion conversion;
    while (position < format.size() &&
           std::string_view("-+ #0").find(format[position]) != std::string_view::npos) {
      conversion.flags += format[position++];
    }
    if (position < format.size() && isDigit(format[position])) {
      conversion.width = readNumber(format, position);
    }
    if (position < format.size() && format[position] == '.') {
      conversion.precision = readNumber(format, ++position);
    }
    while (position < format.size() &&
           std::string_view("hlqLzjt").find(format[position]) != std::string_view::npos) {
      ++position;
    }
    if (position == format.size()) break;
    conversion.letter = format[position++];
    if (conversion.letter == '%') {
      result += '%';
    } else if (std::string_view("@spdiuxXocfFeEgGaA").find(conversion.letter) ==
               std::string_view::npos) {
      result.append(format.substr(percent, position - percent));
    } else {
      result += converted(conversion, next < arguments.size() ? arguments[next] : missing);
      ++next;
    }
  }
  return result;
}

}  // namespace JNFoundation
