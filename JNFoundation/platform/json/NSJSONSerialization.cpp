#include "JNFoundation/platform/json/NSJSONSerialization.h"

#include <algorithm>

#include <JNFoundation/platform/json/impl/JSONReader.h>
#include <JNFoundation/platform/json/impl/JSONScanner.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

namespace {

using impl::JSONProblem;
using impl::JSONReader;

void setProblem(std::string_view text, const JSONProblem& problem, Ref<NSError>* error) {
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

/// Says why the fast reader refused the text, after a slow look at it.
void setRefusal(std::string_view text, const JSONReader& reader, Ref<NSError>* error) {
  const auto problem = impl::findJSONProblem(text, NSJSONMaximumDepth, nullptr);
  // JSON that is refused all the same: there is no memory for it, or it has 4 GiB or more.
  setProblem(text, problem ? *problem : JSONProblem{0, std::string(reader.refusal())}, error);
}

/// Reads what the fast reader refused for nothing but its large whole numbers: with an exponent of
/// 0 behind each of them it takes them for doubles. Returns: null for what is no JSON.
Value readLargeIntegers(JSONReader& reader, std::string_view text, std::size_t maximumDepth) {
  std::vector<std::size_t> ends;
  if (impl::findJSONProblem(text, maximumDepth, &ends) || ends.empty()) return Value();
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

/// Returns: null for what is no JSON.
Value readValue(JSONReader& reader, std::string_view text, JSONReader::Padding padding,
                std::size_t maximumDepth) {
  Value value = reader.read(text, padding, maximumDepth);
  return value.isNull() ? readLargeIntegers(reader, text, maximumDepth) : value;
}

/// Walks the elements of an array without reading them.
class ElementWalk {
 public:
  explicit ElementWalk(std::string_view text) : _text(text) {}

  /// The next element's text. Returns: false behind the last and where the array goes wrong.
  bool next(std::string_view& element) {
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    const bool isFirst = !std::exchange(_started, true);
    if (isFirst && !take('[')) return false;
    if (take(']')) {
      _isComplete = impl::skipJSONWhiteSpace(_text, _offset) == _text.size();
      return false;
    }
    if (!isFirst && !take(',')) return false;
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    const std::size_t end = impl::endOfJSONValue(_text, _offset);
    element = _text.substr(_offset, end - _offset);
    _offset = end;
    return !element.empty();
  }

  /// Whether the array was walked to its end and nothing stands behind it.
  bool isComplete() const { return _isComplete; }

 private:
  bool take(char character) {
    if (_offset == _text.size() || _text[_offset] != character) return false;
    _offset = impl::skipJSONWhiteSpace(_text, _offset + 1);
    return true;
  }

  std::string_view _text;
  std::size_t _offset = 0;
  bool _started = false;
  bool _isComplete = false;
};

}  // namespace

Value NSJSONSerialization::JSONObjectWithDataOptionsError(const Ref<NSData>& data,
                                                          NSJSONReadingOptions options,
                                                          Ref<NSError>* error) {
  if (!data) {
    raise(NSInvalidArgumentException,
          "+[NSJSONSerialization JSONObjectWithData:options:error:]: the data is null");
  }
  return JSONObjectWithTextOptionsError(data->view(), options, error);
}

Value NSJSONSerialization::JSONObjectWithDataOptionsMaximumLengthError(const Ref<NSData>& data,
                                                                       NSJSONReadingOptions options,
                                                                       NSUInteger maximumLength,
                                                                       Ref<NSError>* error) {
  if (!data) {
    raise(NSInvalidArgumentException,
          "+[NSJSONSerialization JSONObjectWithData:options:maximumLength:error:]: the data is "
          "null");
  }
  return JSONObjectWithTextOptionsMaximumLengthError(data->view(), options, maximumLength, error);
}

Value NSJSONSerialization::JSONObjectWithTextOptionsMaximumLengthError(std::string_view text,
                                                                       NSJSONReadingOptions options,
                                                                       NSUInteger maximumLength,
                                                                       Ref<NSError>* error) {
  if (text.size() <= maximumLength) return JSONObjectWithTextOptionsError(text, options, error);
  setProblem(text,
             {static_cast<std::size_t>(maximumLength),
              "the text has " + textFromUnsigned(text.size()) + " bytes, more than the limit of " +
                  textFromUnsigned(maximumLength)},
             error);
  return Value();
}

Value NSJSONSerialization::JSONObjectWithTextOptionsError(std::string_view text,
                                                          NSJSONReadingOptions options,
                                                          Ref<NSError>* error) {
  // A large array is read element by element: what the fast reader needs beside the text stays
  // small that way, and it is quicker than a text that does not fit the processor's caches.
  constexpr std::size_t large = 64 * 1024;
  const std::size_t start = impl::skipJSONWhiteSpace(text, 0);
  if (text.size() >= large && start < text.size() && text[start] == '[') {
    std::vector<Value> elements;
    const bool succeeded = enumerateElementsOfTextOptionsErrorUsingBlock(
        text, options, error,
        [&elements](const Value& element, NSUInteger, bool&) { elements.push_back(element); });
    if (!succeeded) return Value();
    if (options & NSJSONReadingMutableContainers) {
      return NSMutableArray::arrayWithValues(std::move(elements));
    }
    return NSArray::arrayWithValues(std::move(elements));
  }
  JSONReader reader(options);
  Value value = readValue(reader, text, JSONReader::Padding::Missing, NSJSONMaximumDepth);
  if (value.isNull()) setRefusal(text, reader, error);
  return value;
}

bool NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
    std::string_view text, NSJSONReadingOptions options, Ref<NSError>* error,
    const Block<void(const Value& element, NSUInteger index, bool& stop)>& block) {
  if (!block) fatalError("+[NSJSONSerialization enumerateElementsOfText…]: the block is null");
  JSONReader reader(options);
  ElementWalk walk(text);
  std::string_view elementText;
  bool stop = false;
  for (NSUInteger index = 0; walk.next(elementText); ++index) {
    const char* elementEnd = elementText.data() + elementText.size();
    const auto behind = static_cast<std::size_t>(text.data() + text.size() - elementEnd);
    const auto padding = behind >= JSONReader::paddingSize ? JSONReader::Padding::Present
                                                           : JSONReader::Padding::Missing;
    const Value element = readValue(reader, elementText, padding, NSJSONMaximumDepth - 1);
    if (element.isNull()) break;
    block(element, index, stop);
    if (stop) return true;
  }
  if (walk.isComplete()) return true;
  const auto problem = impl::findJSONProblem(text, NSJSONMaximumDepth, nullptr);
  if (!problem && text[impl::skipJSONWhiteSpace(text, 0)] != '[') {
    setProblem(text, {impl::skipJSONWhiteSpace(text, 0), "expected '[' at the start of an array"},
               error);
  } else {
    setRefusal(text, reader, error);
  }
  return false;
}

}  // namespace JNFoundation
