#pragma once

#include <memory>
#include <string_view>

#include <JNFoundation/platform/json/NSJSONSerialization.h>

namespace JNFoundation::inline v0_1::impl {

/// The fast reading of JSON text. It knows whether a text is JSON, not where it goes wrong.
///
/// One reader reads any number of texts and keeps what they share: memory, and the keys it has
/// seen. Threads: belongs to one at a time.
class JSONReader {
 public:
  /// Whether memory behind the text may be read, as far as `paddingSize`.
  enum class Padding { Missing, Present };
  static const std::size_t paddingSize;

  explicit JSONReader(NSJSONReadingOptions options);
  ~JSONReader();

  /// Returns: null for what is no JSON, and for whole numbers that no 64-bit integer holds.
  Value read(std::string_view text, Padding padding, std::size_t maximumDepth);

  /// Why the last text was refused, in the words of the library below.
  std::string_view refusal() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> _state;
};

}  // namespace JNFoundation::impl
