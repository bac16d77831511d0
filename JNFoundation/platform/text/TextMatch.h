#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JNFoundation/platform/text/Folding.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class LikeSubject;
struct CompiledExpression;
}  // namespace impl

/// A wildcard pattern, compiled once, that whole texts are held against: `?` stands for exactly one
/// code point, `*` for any number, a backslash takes the meaning from the character after it (one
/// at the end stands for itself).
///
/// Under folding a letter that folds to several counts as one for `?`, and a composed and a
/// decomposed letter are the same.
///
/// Matching takes no stack, and at worst time proportional to the product of both lengths, whatever
/// the pattern. Ill-formed sequences count as U+FFFD.
/// Threads: a pattern may be used by several threads at once.
class LikePattern {
 public:
  /// Every text is a pattern. It is copied.
  LikePattern(std::string_view pattern, Fold fold);

  /// Whether the whole text fits the pattern.
  bool matches(std::string_view text) const;

 private:
  /// Skips `skip` code points, then wants `literal`.
  struct Step {
    std::size_t skip = 0;
    std::string literal;
  };
  /// What stands between two stars: fixed text with holes.
  using Segment = std::vector<Step>;

  bool matchesSubject(const impl::LikeSubject& subject) const;

  static std::optional<std::size_t> endOfMatch(const Segment& segment,
                                               const impl::LikeSubject& subject,
                                               std::size_t position);
  static std::optional<std::size_t> startOfMatch(const Segment& segment,
                                                 const impl::LikeSubject& subject,
                                                 std::size_t position);
  static std::optional<std::size_t> endOfFirstMatch(const Segment& segment,
                                                    const impl::LikeSubject& subject,
                                                    std::size_t position);

  Fold _fold;
  /// One more than there are stars; the first is bound to the start of the text, the last to its
  /// end.
  std::vector<Segment> _segments;
};

/// A regular expression that whole texts are held against. Classes such as `\w` and `\d` and the
/// boundary `\b` know all of Unicode, every line end of Unicode is one for `.`, and `\uhhhh` and
/// `\Uhhhhhhhh` name a code point. With `Fold::Case` letters match in either case; with
/// `Fold::Diacritics` the marks of the text and of the literal letters of the pattern are ignored.
///
/// Matching takes memory on the heap and stops at a limit of work, so that no pattern hangs.
/// Threads: an expression may be used by several threads at once. It can be moved, not copied; one
/// that was moved from can only be destroyed or assigned to.
class RegularExpression {
 public:
  /// Returns: nothing for a malformed pattern; `error`, if not null, then says what is wrong and,
  /// if it is known, at which byte of the pattern.
  static std::optional<RegularExpression> compile(std::string_view pattern, Fold fold,
                                                  std::string* error = nullptr);

  RegularExpression(RegularExpression&& other) noexcept;
  RegularExpression& operator=(RegularExpression&& other) noexcept;
  ~RegularExpression();

  /// Whether the whole text fits the expression.
  /// Returns: nothing when the limit was reached before that was known.
  std::optional<bool> match(std::string_view text) const;

  /// As match; a text for which the limit was reached does not match.
  bool matches(std::string_view text) const { return match(text).value_or(false); }

 private:
  explicit RegularExpression(std::unique_ptr<impl::CompiledExpression> compiled);

  std::unique_ptr<impl::CompiledExpression> _compiled;
};

}  // namespace JNFoundation
