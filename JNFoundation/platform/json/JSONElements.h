#pragma once

#include <memory>
#include <string_view>

#include <JNFoundation/platform/json/NSJSONSerialization.h>

namespace JNFoundation::inline v0_1 {

/// Reads a text that is one JSON array, one element after the other, at the pace of whoever asks;
/// see NSJSONSerialization for what the elements become and what is an error.
///
///     JSONElements elements(text, NSJSONReadingPlain);
///     while (const Value element = elements.next(); !element.isNull()) use(element);
///     if (elements.failed(&error)) …
///
/// Threads: one at a time.
class JSONElements {
 public:
  /// Takes: the text, which is borrowed.
  JSONElements(std::string_view text, NSJSONReadingOptions options);
  ~JSONElements();
  JSONElements(const JSONElements&) = delete;
  JSONElements& operator=(const JSONElements&) = delete;

  /// Returns: null behind the last element, and where the text is no JSON; from then on always. An
  /// element that is null is NSNull.
  Value next();
  /// Whether the end came because the text is no JSON array; sets the error then, which may be
  /// null. False as long as there may be more.
  bool failed(Ref<NSError>* error) const;
  /// How many bytes of the text are read, to within an element.
  std::size_t offset() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> _state;
};

}  // namespace JNFoundation
