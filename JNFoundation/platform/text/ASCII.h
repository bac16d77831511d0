#pragma once

/// What the grammars of formats, numbers and addresses call digits, letters and blanks: characters
/// of ASCII alone, whatever the user's language. All functions are pure and may run on any thread.
namespace JNFoundation::inline v0_1::impl {

constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

constexpr bool isLetter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// A blank, a tabulator or an end of a line.
constexpr bool isSpace(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Returns: -1 for what is no hexadecimal digit.
constexpr int hexadecimalValue(char c) noexcept {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace JNFoundation::impl
