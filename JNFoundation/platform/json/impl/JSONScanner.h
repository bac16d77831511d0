#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A slow, careful reading of JSON text, for what the fast one cannot say: where the text goes
/// wrong and why. Neither of the functions recurses.
namespace JNFoundation::inline v0_1::impl {

struct JSONProblem {
  /// In bytes.
  std::size_t offset;
  /// A clause without an end: "expected ':', found '}'".
  std::string message;
};

/// The first place where the text is no JSON, is nested deeper than `maximumDepth`, or holds a
/// number beyond the doubles. Returns: nothing for JSON. Takes: where the ends of the whole numbers
/// go that no 64-bit integer holds; may be null.
std::optional<JSONProblem> findJSONProblem(std::string_view text, std::size_t maximumDepth,
                                           std::vector<std::size_t>* endsOfLargeIntegers);

/// The first offset that is no white space.
std::size_t skipJSONWhiteSpace(std::string_view text, std::size_t offset) noexcept;

/// The offset behind the value that starts at `start`, found by its brackets and quotation marks
/// alone, so that what is between them may be anything. Returns: the size of a text that is cut
/// off.
std::size_t endOfJSONValue(std::string_view text, std::size_t start) noexcept;

}  // namespace JNFoundation::impl
