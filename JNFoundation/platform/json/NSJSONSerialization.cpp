#include "JNFoundation/platform/json/NSJSONSerialization.h"

#include <JNFoundation/platform/json/JSONElements.h>
#include <JNFoundation/platform/json/impl/JSONReading.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

using impl::JSONReader;
using impl::setJSONProblem;

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
  setJSONProblem(text,
                 {static_cast<std::size_t>(maximumLength),
                  "the text has " + textFromUnsigned(text.size()) +
                      " bytes, more than the limit of " + textFromUnsigned(maximumLength)},
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
  Value value = impl::readJSONValue(reader, text, JSONReader::Padding::Missing, NSJSONMaximumDepth);
  if (value.isNull()) setJSONRefusal(text, reader, error);
  return value;
}

bool NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
    std::string_view text, NSJSONReadingOptions options, Ref<NSError>* error,
    const Block<void(const Value& element, NSUInteger index, bool& stop)>& block) {
  if (!block) fatalError("+[NSJSONSerialization enumerateElementsOfText…]: the block is null");
  JSONElements elements(text, options);
  bool stop = false;
  for (NSUInteger index = 0; !stop; ++index) {
    const Value element = elements.next();
    if (element.isNull()) return !elements.failed(error);
    block(element, index, stop);
  }
  return true;
}

}  // namespace JNFoundation
