#include "Fuzzing.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

using namespace JNFoundation;

namespace {

Value employee(const char* name, const Value& salary, Value tags) {
  auto made = NSMutableDictionary::dictionary();
  made->setObjectForKey(name, "name");
  made->setObjectForKey(orNSNull(salary), "salary");
  made->setObjectForKey(std::move(tags), "tags");
  return made;
}

/// A small graph with each kind of collection and value, made anew since paths are also written.
Value company() {
  const Value first = employee("Ada", 1, NSArray::arrayWithObjects("x", "y"));
  const Value second =
      employee("Bob", NSDecimalNumber::decimalNumberWithString("2.5"), NSArray::array());
  const Value third = employee("Cleo", nullptr, NSSet::setWithArray(NSArray::arrayWithObjects(1)));
  auto made = NSMutableDictionary::dictionary();
  made->setObjectForKey("Analytics", "name");
  made->setObjectForKey(NSArray::arrayWithObjects(first, second, third), "staff");
  made->setObjectForKey(NSSet::setWithArray(NSArray::arrayWithObjects(first, second)), "board");
  made->setObjectForKey(NSOrderedSet::orderedSetWithArray(NSArray::arrayWithObjects(second, third)),
                        "heirs");
  made->setObjectForKey(
      NSArray::arrayWithObjects(NSArray::arrayWithObjects(1, 2.5),
                                NSArray::arrayWithObjects(INT64_MAX, 3), NSArray::array()),
      "grid");
  made->setObjectForKey(NSNull::null(), "none");
  made->setObjectForKey(NSDate::dateWithTimeIntervalSinceReferenceDate(0), "since");
  made->setObjectForKey(first, "head");
  return made;
}

/// What reading the path gives, or the name of what it raises.
std::string reading(const Value& object, const KeyPath& path) {
  Value value;
  const std::string raised = fuzzing::raisedName([&] { value = path.valueInObject(object); });
  return raised.empty() ? "= " + value.description()->toStdString() : raised;
}

bool isOfKeyValueCoding(std::string_view raised) {
  return raised.empty() || raised == NSInvalidArgumentException ||
         raised == NSUndefinedKeyException;
}

}  // namespace

// Any text is a path that can be read and written, or is refused as key-value coding refuses.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> text = NSString::fromText(fuzzing::textOf(data, size));
  KeyPath path;
  std::string raised = fuzzing::raisedName([&] { path = KeyPath(text); });
  fuzzing::require(isOfKeyValueCoding(raised), "parsing raises", raised);
  if (!raised.empty()) return 0;
  fuzzing::require(path.text()->hasContentOf(*text), "the path has another text", *path.text());

  static const Value fixed = company();
  static const Value list = NSArray::arrayWithObjects(fixed, NSNull::null(), fixed);
  for (const Value& object : {fixed, list, Value(), Value("text"), Value(7)}) {
    const std::string first = reading(object, path);
    fuzzing::require(first[0] == '=' || isOfKeyValueCoding(first), "reading raises", first);
    Value value;
    raised = fuzzing::raisedName([&] { value = valueForKeyPath(object, text); });
    fuzzing::require((raised.empty() ? "= " + value.description()->toStdString() : raised) == first,
                     "the same path reads something else", first);
    std::vector<Value> values;
    raised = fuzzing::raisedName([&] { path.appendValuesInObject(object, values); });
    fuzzing::require(isOfKeyValueCoding(raised), "collecting raises", raised);
  }

  const Value written = company();
  raised = fuzzing::raisedName([&] { path.setValueInObject("written", written); });
  fuzzing::require(isOfKeyValueCoding(raised), "writing raises", raised);
  const NSString* key = path.singleKey();
  if (key && raised.empty()) {
    fuzzing::require(reading(written, path) == "= written" || key->utf8().starts_with('@'),
                     "what was written is not read", *text);
  }
  return 0;
}
