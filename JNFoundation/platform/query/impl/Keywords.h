#pragma once

#include <string_view>

namespace JNFoundation::inline v0_1::impl {

/// The words of predicate formats. Those up to `lastReserved` cannot stand for a key without "#";
/// the others mean something only where the grammar expects them.
enum class Keyword : unsigned char {
  None,
  And,
  Or,
  In,
  Not,
  All,
  Any,
  Some,
  None_,
  Like,
  CaseInsensitive,
  CI,
  Matches,
  Contains,
  BeginsWith,
  EndsWith,
  Between,
  Null,
  Nil,
  Self,
  True,
  Yes,
  False,
  No,
  First,
  Last,
  Size,
  AnyKey,
  Subquery,
  Fetch,
  Cast,
  TruePredicate,
  FalsePredicate,
  UTIConformsTo,
  UTIEquals,
  lastReserved = UTIEquals,
  Function,
  Ternary,
  Union,
  Intersect,
  Minus,
};

/// The keyword spelled like this, in any case of letters; `Keyword::None` if there is none.
Keyword keywordFromWord(std::string_view word) noexcept;

inline bool isReserved(Keyword keyword) noexcept {
  return keyword != Keyword::None && keyword <= Keyword::lastReserved;
}
inline bool isReservedWord(std::string_view word) noexcept {
  return isReserved(keywordFromWord(word));
}

/// ASCII letters compare in any case.
bool isSameWord(std::string_view left, std::string_view right) noexcept;

}  // namespace JNFoundation::impl
