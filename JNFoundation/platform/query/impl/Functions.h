#pragma once

#include <span>
#include <string_view>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1::impl {

/// A function of the predicate language.
struct Function {
  enum class Form : unsigned char {
    Call,       ///< name(a, b)
    Operator,   ///< a + b
    Index,      ///< a[b]
    Cast,       ///< CAST(a, "Class")
    Aggregate,  ///< name(a, b), of the members of one collection or of its arguments
  };

  /// As expressions name it, "from:subtract:".
  std::string_view selector;
  /// As formats name it, "floor", or the sign of an operator.
  std::string_view word;
  Form form;
  unsigned char minimumArguments;
  unsigned char maximumArguments;
  /// Takes: the values of the arguments; of an aggregate the members, without nulls.
  Value (*apply)(std::span<const Value> arguments);
};

/// No bound on the number of arguments.
inline constexpr unsigned char anyNumberOfArguments = 255;

/// Returns: null if there is none of that selector.
const Function* functionForSelector(std::string_view selector) noexcept;

/// The function that formats call by this word or selector, in any case of letters, with that many
/// arguments. Returns: null if there is none.
const Function* functionForCall(std::string_view name, std::size_t argumentCount) noexcept;

/// Whether there is a function of this word or selector, with whatever arguments.
bool isNameOfFunction(std::string_view name) noexcept;

/// What stands between the brackets of `list[FIRST]`: the constant values of these three words.
enum class IndexWord { First, Last, Size };
const Value& valueOfIndexWord(IndexWord word);

}  // namespace JNFoundation::impl
