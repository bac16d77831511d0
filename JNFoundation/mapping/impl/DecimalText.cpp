#include "JNFoundation/mapping/impl/DecimalText.h"

#include <cstddef>

namespace JNFoundation::inline v0_1::impl {
namespace {

void takeSign(std::string_view& text) {
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
}

/// Takes decimal digits from the front. Returns: how many there were.
std::size_t takeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && text[count] >= '0' && text[count] <= '9') ++count;
  text.remove_prefix(count);
  return count;
}

}  // namespace

bool isDecimalText(std::string_view text) noexcept {
  takeSign(text);
  std::size_t digits = takeDigits(text);
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    digits += takeDigits(text);
  }
  if (digits == 0) return false;
  if (!text.empty() && (text.front() == 'e' || text.front() == 'E')) {
    text.remove_prefix(1);
    takeSign(text);
    if (takeDigits(text) == 0) return false;
  }
  return text.empty();
}

}  // namespace JNFoundation::impl
