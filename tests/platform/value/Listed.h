#pragma once

#include <string>
#include <type_traits>

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::testing {

/// The members of a collection, or of one referred to, as text in the order of the walk, a blank
/// between them: "1 2 3".
template <class Collection>
std::string listed(const Collection& collection) {
  if constexpr (std::is_pointer_v<Collection>) {
    return listed(*collection);
  } else {
    std::string text;
    for (const Value& member : collection) {
      if (!text.empty()) text += ' ';
      text += member.description()->utf8();
    }
    return text;
  }
}

/// The entries of a dictionary in the order of the walk: "a=1 b=2".
template <class Dictionary>
std::string listedEntries(const Dictionary& dictionary) {
  if constexpr (std::is_pointer_v<Dictionary>) {
    return listedEntries(*dictionary);
  } else {
    std::string text;
    for (const auto& [key, value] : dictionary) {
      if (!text.empty()) text += ' ';
      text += key.description()->toStdString() + "=" + value.description()->toStdString();
    }
    return text;
  }
}

}  // namespace JNFoundation::testing
