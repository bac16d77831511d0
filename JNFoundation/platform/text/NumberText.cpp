#include "JNFoundation/platform/text/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/RealNumber.h>
#include <JNFoundation/platform/text/WhiteSpace.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

/// A number's text with one sign taken off the front.
struct Unsigned {
  bool negative = false;
  std::string_view rest;
};

Unsigned withoutSign(std::string_view text) {
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return {false, text};
  return {text.front() == '-', text.substr(1)};
}

Unsigned withoutSpaceAndSign(std::string_view text) {
  return withoutSign(withoutLeadingWhiteSpace(text));
}

/// Reads digits up to `limit`, the largest magnitude that the caller's type has.
std::uint64_t magnitude(std::string_view digits, std::uint64_t limit) {
  std::uint64_t value = 0;
  for (const char digit : digits) {
    if (!impl::isDigit(digit)) break;
    const auto number = static_cast<std::uint64_t>(digit - '0');
    if (value > (limit - number) / 10) return limit;
    value = value * 10 + number;
  }
  return value;
}

/// Tells a number that is too large from one that is too small, which std::from_chars does not.
/// Takes: text that starts with a decimal number of either kind, without a sign.
bool isTooLarge(std::string_view text) {
  // The power of ten of the first digit other than zero.
  long long exponent = -1;
  bool found = false;
  bool fraction = false;
  std::size_t offset = 0;
  for (; offset < text.size() && (impl::isDigit(text[offset]) || text[offset] == '.'); ++offset) {
    if (text[offset] == '.') {
      if (fraction) return exponent > 0;
      fraction = true;
    } else {
      found = found || text[offset] != '0';
      if (found && !fraction) ++exponent;
      if (!found && fraction) --exponent;
    }
  }
  if (offset < text.size() && (text[offset] == 'e' || text[offset] == 'E')) {
    // No text is long enough to bring an exponent of this size back.
    constexpr std::uint64_t enough = 1'000'000'000'000'000'000;
    const Unsigned written = withoutSign(text.substr(offset + 1));
    const auto shift = static_cast<long long>(magnitude(written.rest, enough));
    exponent += written.negative ? -shift : shift;
  }
  return exponent > 0;
}

template <class Number>
Number realFromText(std::string_view text) {
  const auto [negative, rest] = withoutSpaceAndSign(text);
  const std::string_view integral = rest.substr(0, rest.empty() || rest.front() != '.' ? 0 : 1);
  const std::size_t firstDigit = integral.size();
  // std::from_chars would take "inf" and "nan".
  if (firstDigit == rest.size() || !impl::isDigit(rest[firstDigit])) return 0;
  Number number = 0;
  const auto [end, error] = impl::realFromChars(rest.data(), rest.data() + rest.size(), number);
  if (error == std::errc::result_out_of_range) {
    number = isTooLarge(rest) ? std::numeric_limits<Number>::infinity() : Number{0};
  }
  return negative ? -number : number;
}

/// Lays out the shortest digits. `plainLimit` is the first power of ten that gets an exponent.
template <class Number>
std::string textFromReal(Number number, int plainLimit) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-infinity" : "+infinity";
  // Sign, 17 digits, point, "e-", 3 digits.
  char buffer[32];
  const auto [end, error] =
      std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  const std::string_view scientific(buffer, static_cast<std::size_t>(end - buffer));
  const std::size_t exponentMark = scientific.find('e');
  int exponent = 0;
  // std::from_chars takes a minus sign only.
  const std::size_t exponentStart = exponentMark + (scientific[exponentMark + 1] == '+' ? 2 : 1);
  std::from_chars(buffer + exponentStart, end, exponent);
  if (exponent <= -5 || exponent >= plainLimit) return std::string(scientific);

  const bool negative = scientific.front() == '-';
  const char firstDigit = scientific[negative ? 1 : 0];
  const std::size_t fractionStart = negative ? 3 : 2;
  const std::string_view moreDigits =
      exponentMark > fractionStart ? scientific.substr(fractionStart, exponentMark - fractionStart)
                                   : std::string_view();
  // Sign, "0.", four zeros and 17 digits, or up to 17 digits and a point.
  char plain[32];
  char* position = plain;
  const auto put = [&position](std::string_view characters) {
    position = std::copy(characters.begin(), characters.end(), position);
  };
  const auto putZeros = [&position](std::size_t count) {
    position = std::fill_n(position, count, '0');
  };
  if (negative) *position++ = '-';
  if (exponent < 0) {
    put("0.");
    putZeros(static_cast<std::size_t>(-exponent - 1));
  }
  *position++ = firstDigit;
  const std::size_t wholeDigits =
      exponent < 0 ? moreDigits.size() : static_cast<std::size_t>(exponent);
  put(moreDigits.substr(0, wholeDigits));
  if (moreDigits.size() < wholeDigits) {
    putZeros(wholeDigits - moreDigits.size());
  } else if (moreDigits.size() > wholeDigits) {
    *position++ = '.';
    put(moreDigits.substr(wholeDigits));
  }
  return std::string(plain, position);
}

template <class Number>
std::string textFromWhole(Number number) {
  // Sign and 20 digits.
  char buffer[24];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, end);
}

template <class Number>
Number signedFromText(std::string_view text) {
  constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<Number>::max());
  const auto [negative, rest] = withoutSpaceAndSign(text);
  const std::uint64_t value = magnitude(rest, negative ? largest + 1 : largest);
  // The magnitude of the smallest number has no positive counterpart, so negate before narrowing.
  return static_cast<Number>(negative ? 0 - value : value);
}

}  // namespace

std::int64_t integerFromText(std::string_view text) { return signedFromText<std::int64_t>(text); }

std::int32_t intFromText(std::string_view text) { return signedFromText<std::int32_t>(text); }

std::uint64_t unsignedFromText(std::string_view text) {
  const auto [negative, rest] = withoutSpaceAndSign(text);
  return negative ? 0 : magnitude(rest, std::numeric_limits<std::uint64_t>::max());
}

double doubleFromText(std::string_view text) { return realFromText<double>(text); }

float floatFromText(std::string_view text) { return realFromText<float>(text); }

bool boolFromText(std::string_view text) {
  const std::string_view trimmed = withoutLeadingWhiteSpace(text);
  if (trimmed.empty()) return false;
  const char letter = impl::lowerASCII(trimmed.front());
  if (letter == 'y' || letter == 't') return true;
  const std::string_view digits = withoutSign(trimmed).rest;
  const std::size_t offset = digits.find_first_not_of('0');
  return offset != std::string_view::npos && impl::isDigit(digits[offset]);
}

std::string textFromInteger(std::int64_t number) { return textFromWhole(number); }

std::string textFromUnsigned(std::uint64_t number) { return textFromWhole(number); }

std::string textFromDouble(double number) {
  // Most doubles of an application are whole numbers, and need no search for the shortest digits.
  constexpr double exactlyWhole = 1e15;
  if (number > -exactlyWhole && number < exactlyWhole) {
    const auto whole = static_cast<std::int64_t>(number);
    if (static_cast<double>(whole) == number && (whole != 0 || !std::signbit(number))) {
      return textFromInteger(whole);
    }
  }
  return textFromReal(number, 16);
}

std::string textFromFloat(float number) { return textFromReal(number, 7); }

}  // namespace JNFoundation
