#include "JNFoundation/platform/json/impl/JSONReading.h"

#include <algorithm>

#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Reads what the fast reader refused for nothing but its large whole numbers: with an exponent of
/// 0 behind each of them it takes them for doubles. Returns: null for what is no JSON.
Value readLargeIntegers(JSONReader& reader, std::string_view text, std::size_t maximumDepth) {
  std::vector<std::size_t> ends;
  if (findJSONProblem(text, maximumDepth, &ends) || ends.empty()) return Value();
  constexpr std::string_view noExponent = "e0";
  std::string rewritten;
  rewritten.reserve(text.size() + ends.size() * noExponent.size());
  std::size_t copied = 0;
  for (const std::size_t end : ends) {
    rewritten.append(text, copied, end - copied).append(noExponent);
    copied = end;
  }
  rewritten.append(text, copied);
  return reader.read(rewritten, JSONReader::Padding::Missing, maximumDepth);
}

}  // namespace

Value readJSONValue(JSONReader& reader, std::string_view text, JSONReader::Padding padding,
                    std::size_t maximumDepth) {
  Value value = reader.read(text, padding, maximumDepth);
  return value.isNull() ? readLargeIntegers(reader, text, maximumDepth) : value;
}

void setJSONProblem(std::string_view text, const JSONProblem& problem, Ref<NSError>* error) {
  if (!error) return;
  const std::string_view before = text.substr(0, problem.offset);
  const auto line = static_cast<NSUInteger>(std::count(before.begin(), before.end(), '\n')) + 1;
  const std::size_t lineStart = line == 1 ? 0 : before.rfind('\n') + 1;
  const NSUInteger column = codePointCount(before.substr(lineStart)) + 1;
  const Ref<NSString> sentence =
      NSString::stringWithFormat("line %llu, column %llu: %s", line, column, problem.message);
  *error = NSError::errorWithDomainCodeUserInfo(
      NSCocoaErrorDomain, NSPropertyListReadCorruptError,
      NSDictionary::dictionaryWithEntries({{NSLocalizedDescriptionKey, sentence},
                                           {NSJSONSerializationErrorLine, line},
                                           {NSJSONSerializationErrorColumn, column},
                                           {NSJSONSerializationErrorIndex, problem.offset}}));
}

void setJSONRefusal(std::string_view text, const JSONReader& reader, Ref<NSError>* error) {
  const auto problem = findJSONProblem(text, NSJSONMaximumDepth, nullptr);
  // JSON that is refused all the same: there is no memory for it, or it has 4 GiB or more.
  setJSONProblem(text, problem ? *problem : JSONProblem{0, std::string(reader.refusal())}, error);
}

}  // namespace JNFoundation::impl
