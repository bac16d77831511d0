#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// The name of an operation, keywords and colons included, e.g. "mapValue:toObject:filter:".
/// Equal names are one selector, so comparing and hashing cost nothing. A null selector names none.
/// Threads: any.
class SEL {
 public:
  constexpr SEL() noexcept = default;
  constexpr SEL(std::nullptr_t) noexcept {}

  /// The selector of that name; an empty name gives the null selector.
  SEL(std::string_view name);
  SEL(const std::string& name) : SEL(std::string_view(name)) {}
  SEL(const char* name) : SEL(name ? std::string_view(name) : std::string_view()) {}

  /// The selector of that name if the program has named it before, the null selector otherwise. For
  /// names that come from data: a selector is never forgotten again.
  static SEL ifKnown(std::string_view name) noexcept;

  /// Returns: empty text for the null selector. Lives as long as the process.
  std::string_view name() const noexcept;

  /// How many arguments the name announces: its colons.
  std::size_t argumentCount() const noexcept;

  /// Whether the selector names an operation.
  explicit operator bool() const noexcept { return _name != nullptr; }
  friend bool operator==(SEL, SEL) noexcept = default;

 private:
  friend struct std::hash<SEL>;
  const void* _name = nullptr;
};

/// The selector of that name; an empty name gives the null selector.
SEL NSSelectorFromString(std::string_view name);
/// The name of the selector; empty for the null selector. Lives as long as the process.
std::string_view NSStringFromSelector(SEL selector) noexcept;

}  // namespace JNFoundation

template <>
struct std::hash<JNFoundation::SEL> {
  std::size_t operator()(JNFoundation::SEL selector) const noexcept {
    return std::hash<const void*>()(selector._name);
  }
};
