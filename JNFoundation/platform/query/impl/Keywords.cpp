#include "JNFoundation/platform/query/impl/Keywords.h"

#include <array>
#include <utility>

namespace JNFoundation::inline v0_1::impl {
namespace {

constexpr char upper(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

using NamedKeyword = std::pair<std::string_view, Keyword>;

constexpr std::array<NamedKeyword, 39> keywords{{
    {"AND", Keyword::And},
    {"OR", Keyword::Or},
    {"IN", Keyword::In},
    {"NOT", Keyword::Not},
    {"ALL", Keyword::All},
    {"ANY", Keyword::Any},
    {"SOME", Keyword::Some},
    {"NONE", Keyword::None_},
    {"LIKE", Keyword::Like},
    {"CASEINSENSITIVE", Keyword::CaseInsensitive},
    {"CI", Keyword::CI},
    {"MATCHES", Keyword::Matches},
    {"CONTAINS", Keyword::Contains},
    {"BEGINSWITH", Keyword::BeginsWith},
    {"ENDSWITH", Keyword::EndsWith},
    {"BETWEEN", Keyword::Between},
    {"NULL", Keyword::Null},
    {"NIL", Keyword::Nil},
    {"SELF", Keyword::Self},
    {"TRUE", Keyword::True},
    {"YES", Keyword::Yes},
    {"FALSE", Keyword::False},
    {"NO", Keyword::No},
    {"FIRST", Keyword::First},
    {"LAST", Keyword::Last},
    {"SIZE", Keyword::Size},
    {"ANYKEY", Keyword::AnyKey},
    {"SUBQUERY", Keyword::Subquery},
    {"FETCH", Keyword::Fetch},
    {"CAST", Keyword::Cast},
    {"TRUEPREDICATE", Keyword::TruePredicate},
    {"FALSEPREDICATE", Keyword::FalsePredicate},
    {"UTI-CONFORMS-TO", Keyword::UTIConformsTo},
    {"UTI-EQUALS", Keyword::UTIEquals},
    {"FUNCTION", Keyword::Function},
    {"TERNARY", Keyword::Ternary},
    {"UNION", Keyword::Union},
    {"INTERSECT", Keyword::Intersect},
    {"MINUS", Keyword::Minus},
}};

}  // namespace

bool isSameWord(std::string_view left, std::string_view right) noexcept {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (upper(left[i]) != upper(right[i])) return false;
  }
  return true;
}

Keyword keywordFromWord(std::string_view word) noexcept {
  for (const auto& [spelling, keyword] : keywords) {
    if (isSameWord(spelling, word)) return keyword;
  }
  return Keyword::None;
}

}  // namespace JNFoundation::impl
