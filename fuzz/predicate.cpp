#include <algorithm>
#include <cctype>

#include "Fuzzing.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>

using namespace JNFoundation;

namespace {

Value child(const char* name, int age) {
  return NSDictionary::dictionaryWithEntries({{"name", name}, {"age", age}});
}

/// Two objects that have keys in common, with every kind of value below them.
const std::vector<Value>& objects() {
  static const std::vector<Value> all{
      NSDictionary::dictionaryWithEntries(
          {{"name", "Ada \"the first\""},
           {"age", 36},
           {"size", 1.5},
           {"born", NSDate::dateWithTimeIntervalSinceReferenceDate(-5e9)},
           {"price", NSDecimalNumber::decimalNumberWithString("12.50")},
           {"none", NSNull::null()},
           {"flag", true},
           {"tags", NSArray::arrayWithObjects("x", "É", "a.*b")},
           {"numbers", NSSet::setWithArray(NSArray::arrayWithObjects(1, 2.5, 3))},
           {"children", NSArray::arrayWithObjects(child("Byron", 3), child("Anne", 1))},
           {"best", child("Anne", 1)}}),
      NSDictionary::dictionaryWithEntries(
          {{"name", 7}, {"age", "36"}, {"tags", NSArray::array()}, {"children", "none"}}),
  };
  return all;
}

/// "yes", "no", or the name of what is raised.
std::string answer(const Ref<NSPredicate>& predicate, const Value& object) {
  static const Ref<NSDictionary> variables =
      NSDictionary::dictionaryWithEntries({{"x", NSArray::arrayWithObjects(1, 2)}, {"y", 3}});
  bool holds = false;
  const std::string raised = fuzzing::raisedName(
      [&] { holds = predicate->evaluateWithObjectSubstitutionVariables(object, variables); });
  return !raised.empty() ? raised : holds ? "yes" : "no";
}

std::size_t occurrences(std::string_view text, std::string_view word) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string_view::npos; ++at) ++count;
  return count;
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

}  // namespace

// A format is refused with an exception that says where, or it is a predicate whose printed form is
// read back to an equal one that answers alike.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Ref<NSArray> arguments = NSArray::arrayWithObjects("name", 18, "a");
  Ref<NSPredicate> predicate;
  try {
    predicate = NSPredicate::predicateWithFormatArguments(
        NSString::fromText(fuzzing::textOf(data, size)), arguments);
  } catch (const Raised& raised) {
    const NSException& exception = *raised.exception();
    fuzzing::require(exception.name()->utf8() == NSInvalidArgumentException, "raised",
                     exception.name()->utf8());
    return 0;
  }
  const Ref<NSString> printed = predicate->predicateFormat();
  Ref<NSPredicate> again, twin;
  const std::string raised = fuzzing::raisedName([&] {
    again = NSPredicate::predicateWithFormat(printed);
    twin = NSPredicate::predicateWithFormat(printed);
  });
  fuzzing::require(raised.empty(), "the printed form is refused", *printed);
  fuzzing::require(again->predicateFormat()->hasContentOf(*printed), "the printed form changes",
                   *printed);
  fuzzing::require(again->isEqual(Value(twin)) && again->hash() == twin->hash(),
                   "read twice, the predicates differ", *printed);

  // Subqueries multiply the work as they nest, and chance answers differently each time.
  const std::string words = lowered(printed->toStdString());
  if (occurrences(words, "subquery") > 3) return 0;
  const bool varies =
      occurrences(words, "random") + occurrences(words, "now") + occurrences(words, "function") > 0;
  for (const Value& object : objects()) {
    const std::string first = answer(predicate, object);
    fuzzing::require(varies || answer(again, object) == first, "answers differently", *printed);
  }
  return 0;
}
