#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <JNFoundation/platform/text/Folding.h>

namespace JNFoundation::inline v0_1::impl {

/// A text as a LikePattern reads it: folded, well-formed, and walked by letters of the unfolded
/// text.
class LikeSubject {
 public:
  /// Keeps a view of the text where it can read the text as it is.
  LikeSubject(std::string_view text, Fold fold);

  LikeSubject(const LikeSubject&) = delete;
  LikeSubject& operator=(const LikeSubject&) = delete;

  std::string_view text() const { return _text; }

  /// Moves `position` forward by that many letters; false if the text ends before.
  bool skipForward(std::size_t& position, std::size_t letters) const;

  /// Moves `position` back by that many letters; false if the text starts before.
  bool skipBackward(std::size_t& position, std::size_t letters) const;

 private:
  bool startsLetter(std::size_t position) const;

  std::string _storage;
  std::string_view _text;
  /// Where code points start that go on the letter before, see appendFoldedLetters.
  std::vector<std::size_t> _continued;
};

}  // namespace JNFoundation::impl
