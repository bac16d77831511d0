#pragma once

#include <charconv>
#include <concepts>
#include <version>

#if !defined(__cpp_lib_to_chars)
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#endif

namespace JNFoundation::inline v0_1::impl {

/// As std::from_chars does, also where the standard library reads integers only.
template <std::floating_point Number>
std::from_chars_result realFromChars(const char* first, const char* last, Number& number) {
#if defined(__cpp_lib_to_chars)
  return std::from_chars(first, last, number);
#else
  // Not the C function's white space, plus sign and hexadecimal digits, nor the user's locale.
  if (first == last || !(*first == '-' || *first == '.' || (*first >= '0' && *first <= '9') ||
                         *first == 'i' || *first == 'I' || *first == 'n' || *first == 'N')) {
    return {first, std::errc::invalid_argument};
  }
  const char* end = std::find_if(first, last, [](char c) { return c == 'x' || c == 'X'; });
  const std::string text(first, end);
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  char* stop = nullptr;
  errno = 0;
  Number read;
  if constexpr (std::same_as<Number, float>) {
    read = strtof_l(text.c_str(), &stop, plain);
  } else {
    read = strtod_l(text.c_str(), &stop, plain);
  }
  if (stop == text.c_str()) return {first, std::errc::invalid_argument};
  const char* reached = first + (stop - text.c_str());
  const bool isOut = errno == ERANGE && (std::isinf(read) || read == 0);
  if (isOut) return {reached, std::errc::result_out_of_range};
  number = read;
  return {reached, std::errc()};
#endif
}

}  // namespace JNFoundation::impl
