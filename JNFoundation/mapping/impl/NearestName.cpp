#include "JNFoundation/mapping/impl/NearestName.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr std::size_t longest = 64;

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

/// How many letters must be added, dropped, changed or swapped, case aside.
std::size_t distance(std::string_view one, std::string_view other) {
  std::array<std::array<std::size_t, longest + 1>, 3> rows{};
  auto *before = rows.data(), *above = before + 1, *row = before + 2;
  for (std::size_t j = 0; j <= other.size(); ++j) (*above)[j] = j;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    (*row)[0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const char a = lower(one[i - 1]), b = lower(other[j - 1]);
      std::size_t least = (*above)[j - 1] + (a == b ? 0 : 1);
      least = std::min({least, (*above)[j] + 1, (*row)[j - 1] + 1});
      if (i > 1 && j > 1 && a == lower(other[j - 2]) && b == lower(one[i - 2])) {
        least = std::min(least, (*before)[j - 2] + 1);
      }
      (*row)[j] = least;
    }
    std::swap(before, above);
    std::swap(above, row);
  }
  return (*above)[other.size()];
}

}  // namespace

Ref<NSString> nearestName(const Ref<NSString>& name, const Ref<NSArray>& names) {
  const std::string_view wanted = name ? name->utf8() : std::string_view();
  if (wanted.empty() || wanted.size() > longest) return nullptr;
  Ref<NSString> nearest;
  std::size_t least = (wanted.size() + 2) / 3;
  for (const Value& candidate : *names) {
    const NSString* text = as<NSString>(candidate);
    const std::string_view letters = text ? text->utf8() : std::string_view();
    if (letters.empty() || letters.size() > longest) continue;
    if (letters.size() >= wanted.size() + least || wanted.size() >= letters.size() + least)
      continue;
    const std::size_t found = distance(wanted, letters);
    if (found >= least) continue;
    nearest = as<NSString>(Value(candidate));
    least = found;
  }
  return nearest;
}

}  // namespace JNFoundation::impl
