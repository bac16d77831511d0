#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Numbers to text and back, the same in every locale. All functions are pure and may run on any
/// thread.
///
/// The readers skip leading white space (of all of Unicode), read the longest prefix that is a
/// number, and ignore what follows. They never fail: text that does not start with a number is 0.
/// Digits are the ASCII ones; there are no grouping separators and no hexadecimal form.

/// An optional single sign and decimal digits: "12.9" is 12, "--1" is 0.
/// Returns: the nearest bound of the type for a number out of its range.
std::int64_t integerFromText(std::string_view text);

/// As integerFromText, with the bounds of 32 bits.
std::int32_t intFromText(std::string_view text);

/// As integerFromText, for numbers without a sign; a negative number is 0.
std::uint64_t unsignedFromText(std::string_view text);

/// A decimal number with optional sign, fraction and exponent, correctly rounded: ".2", "12.e4".
/// Returns: ±HUGE_VAL for a number that is too large, 0 for one that is too small, and 0 for "inf"
/// and "nan", which are no numbers here.
double doubleFromText(std::string_view text);

/// As doubleFromText, rounded once, to the nearest float.
float floatFromText(std::string_view text);

/// True for text that starts with Y, y, T, t, or with a digit 1 to 9 after an optional single sign
/// and any number of zeros: "yes", "+0009", "-1". False for everything else, "0.5" and "+t"
/// included.
bool boolFromText(std::string_view text);

/// The decimal digits, with a minus sign where needed.
std::string textFromInteger(std::int64_t number);

/// The decimal digits.
std::string textFromUnsigned(std::uint64_t number);

/// The shortest digits that read back to the same number, whole numbers without a fraction: "1",
/// "9.99", "0.30000000000000004". Numbers below 1e-4 and from 1e16 on have an exponent of at least
/// two digits: "1e-05", "1e+16", "1e+21". Negative zero is "-0"; what is no finite number is "nan",
/// "+infinity" or "-infinity".
std::string textFromDouble(double number);

/// As textFromDouble, with the digits that read back to the same float, and an exponent from 1e7
/// on.
std::string textFromFloat(float number);

}  // namespace JNFoundation
