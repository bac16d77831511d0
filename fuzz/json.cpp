#include <cstdint>
#include <cstdlib>
#include <vector>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

// Whatever is read is written and read again; an array read whole is the array of its elements.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Ref<NSError> error;
  const Value value =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, &error);
  if (value.isNull() == (error == nullptr)) std::abort();
  std::vector<Value> elements;
  const bool isArray = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
      text, NSJSONReadingPlain, nullptr,
      [&elements](const Value& element, NSUInteger, bool&) { elements.push_back(element); });
  if (isArray != isKindOf<NSArray>(value)) std::abort();
  if (isArray && Value(NSArray::arrayWithValues(elements)) != value) std::abort();
  if (value.isNull()) return 0;
  const Ref<NSString> written = NSJSONSerialization::stringWithJSONObjectOptionsError(
      value, NSJSONWritingPrettyPrinted, nullptr);
  const Value again =
      NSJSONSerialization::JSONObjectWithTextOptionsError(*written, NSJSONReadingPlain, nullptr);
  if (again != value) std::abort();
  return 0;
}
