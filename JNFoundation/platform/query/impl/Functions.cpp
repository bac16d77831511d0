#include "JNFoundation/platform/query/impl/Functions.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <unordered_map>

#include <JNFoundation/platform/query/impl/Arithmetic.h>
#include <JNFoundation/platform/query/impl/Keywords.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/query/impl/Summary.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Arguments = std::span<const Value>;
using Form = Function::Form;

template <Value (*function)(const Value&)>
Value unary(Arguments arguments) {
  return function(arguments[0]);
}
template <Value (*function)(const Value&, const Value&)>
Value binary(Arguments arguments) {
  return function(arguments[0], arguments[1]);
}

Value average(Arguments values) { return averageOf(values); }
Value count(Arguments values) { return values.size(); }

Value median(Arguments values) {
  if (values.empty()) return nullptr;
  std::vector<Value> sorted(values.begin(), values.end());
  std::stable_sort(sorted.begin(), sorted.end(), [](const Value& left, const Value& right) {
    return left.compare(right) == NSOrderedAscending;
  });
  const std::size_t middle = sorted.size() / 2;
  if (sorted.size() % 2 == 1) return sorted[middle];
  return (sorted[middle - 1].doubleValue() + sorted[middle].doubleValue()) / 2;
}

/// The most frequent values, in the order in which they came first.
Value mode(Arguments values) {
  std::unordered_map<Value, std::size_t> counts;
  std::size_t highest = 0;
  for (const Value& value : values) highest = std::max(highest, ++counts[value]);
  std::vector<Value> modes;
  for (const Value& value : values) {
    std::size_t& count = counts[value];
    if (count == highest) modes.push_back(value);
    count = 0;
  }
  return NSArray::arrayWithValues(std::move(modes));
}

/// Of the whole population.
Value standardDeviation(Arguments values) {
  if (values.empty()) return nullptr;
  const double mean = averageOf(values);
  double squares = 0;
  for (const Value& value : values) {
    const double distance = value.doubleValue() - mean;
    squares += distance * distance;
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

std::mt19937_64& generator() {
  thread_local std::mt19937_64 engine{std::random_device{}()};
  return engine;
}

/// At least 0 and below 1.
Value randomFraction(Arguments) { return static_cast<double>(generator()() >> 11) * 0x1p-53; }

/// An integer of at least 0 and below the argument.
Value randomInteger(Arguments arguments) {
  if (isNullLike(arguments[0])) return nullptr;
  const std::int64_t bound = arguments[0].longLongValue();
  if (bound <= 0) return nullptr;
  return std::uniform_int_distribution<std::int64_t>(0, bound - 1)(generator());
}

Value now(Arguments) { return NSDate::date(); }

const NSString* textOf(const Value& value, const char* function) {
  if (isNullLike(value)) return nullptr;
  if (!value.isString()) {
    raise(NSInvalidArgumentException, "%s takes text, not a %s: %@", function,
          value.class_()->name(), value);
  }
  return as<NSString>(value);
}
Value uppercase(Arguments arguments) {
  const NSString* text = textOf(arguments[0], "uppercase:");
  return text ? Value(text->uppercaseString()) : Value();
}
Value lowercase(Arguments arguments) {
  const NSString* text = textOf(arguments[0], "lowercase:");
  return text ? Value(text->lowercaseString()) : Value();
}

Value itself(Arguments arguments) { return arguments[0]; }

Value castToDate(const Value& value) {
  if (value.isNumber()) {
    return NSDate::dateWithTimeIntervalSinceReferenceDate(value.doubleValue());
  }
  return value.isDate() ? value : Value();
}
Value castToNumber(const Value& value) {
  if (value.isDate()) {
    return value.timeIntervalSince1970() - NSDate::timeIntervalBetween1970AndReferenceDate;
  }
  if (value.isString()) return value.doubleValue();
  return value.isNumber() ? value : Value();
}

/// Null where the value has no form of that class.
Value cast(Arguments arguments) {
  const Value& value = arguments[0];
  const NSString* className = as<NSString>(arguments[1]);
  if (!className) raise(NSInvalidArgumentException, "a CAST needs the name of a class");
  const std::string_view name = className->utf8();
  if (isNullLike(value)) return nullptr;
  if (name == "NSDate") return castToDate(value);
  if (name == "NSNumber") return castToNumber(value);
  if (name == "NSString") return value.description();
  if (name == "NSDecimalNumber") {
    return value.isNumber() || value.isString()
               ? Value(NSDecimalNumber::decimalNumberWithValue(value))
               : Value();
  }
  const Class* cls = NSClassFromString(name);
  if (!cls) raise(NSInvalidArgumentException, "CAST to an unknown class %s", name);
  return value.class_()->isSubclassOf(*cls) ? value : Value();
}

/// Null for a position or a key that is not there.
Value element(Arguments arguments) {
  const Value& container = arguments[0];
  const Value& index = arguments[1];
  if (isNullLike(container)) return nullptr;
  const bool wantsSize = index.isIdentical(valueOfIndexWord(IndexWord::Size));
  if (const NSDictionary* dictionary = as<NSDictionary>(container)) {
    return wantsSize ? Value(dictionary->count()) : dictionary->objectForKey(index);
  }
  std::vector<Value> members;
  if (!appendMembers(container, members)) {
    raise(NSInvalidArgumentException, "a %s has no elements: %@", container.class_()->name(),
          container);
  }
  if (wantsSize) return members.size();
  if (members.empty() || isNullLike(index)) return nullptr;
  if (index.isIdentical(valueOfIndexWord(IndexWord::First))) return members.front();
  if (index.isIdentical(valueOfIndexWord(IndexWord::Last))) return members.back();
  if (!index.isNumber()) {
    raise(NSInvalidArgumentException, "an index must be a number, not a %s: %@",
          index.class_()->name(), index);
  }
  const std::int64_t position = index.longLongValue();
  if (position < 0 || static_cast<std::uint64_t>(position) >= members.size()) return nullptr;
  return members[static_cast<std::size_t>(position)];
}

constexpr unsigned char any = anyNumberOfArguments;

// In rows that can be read across.
// clang-format off
constexpr Function functions[] = {
    {"average:",         "average",  Form::Aggregate, 1, any, average},
    {"sum:",             "sum",      Form::Aggregate, 1, any, sumOf},
    {"count:",           "count",    Form::Aggregate, 1, any, count},
    {"min:",             "min",      Form::Aggregate, 1, any, minimumOf},
    {"max:",             "max",      Form::Aggregate, 1, any, maximumOf},
    {"median:",          "median",   Form::Aggregate, 1, any, median},
    {"mode:",            "mode",     Form::Aggregate, 1, any, mode},
    {"stddev:",          "stddev",   Form::Aggregate, 1, any, standardDeviation},
    {"add:to:",          "+",        Form::Operator,  2, 2,   binary<sum>},
    {"from:subtract:",   "-",        Form::Operator,  2, 2,   binary<difference>},
    {"multiply:by:",     "*",        Form::Operator,  2, 2,   binary<product>},
    {"divide:by:",       "/",        Form::Operator,  2, 2,   binary<quotient>},
    {"raise:toPower:",   "**",       Form::Operator,  2, 2,   binary<power>},
    {"modulus:by:",      "",         Form::Call,      2, 2,   binary<remainder>},
    {"sqrt:",            "sqrt",     Form::Call,      1, 1,   unary<squareRoot>},
    {"log:",             "log",      Form::Call,      1, 1,   unary<commonLogarithm>},
    {"ln:",              "ln",       Form::Call,      1, 1,   unary<naturalLogarithm>},
    {"exp:",             "exp",      Form::Call,      1, 1,   unary<exponential>},
    {"ceiling:",         "ceiling",  Form::Call,      1, 1,   unary<roundedUp>},
    {"floor:",           "floor",    Form::Call,      1, 1,   unary<roundedDown>},
    {"trunc:",           "trunc",    Form::Call,      1, 1,   unary<roundedTowardZero>},
    {"abs:",             "abs",      Form::Call,      1, 1,   unary<magnitude>},
    {"random",           "random",   Form::Call,      0, 0,   randomFraction},
    {"random:",          "random",   Form::Call,      1, 1,   randomInteger},
    {"randomn:",         "randomn",  Form::Call,      1, 1,   randomInteger},
    {"now",              "now",      Form::Call,      0, 0,   now},
    {"uppercase:",       "uppercase", Form::Call,     1, 1,   uppercase},
    {"lowercase:",       "lowercase", Form::Call,     1, 1,   lowercase},
    {"bitwiseAnd:with:", "",         Form::Call,      2, 2,   binary<bitwiseAnd>},
    {"bitwiseOr:with:",  "",         Form::Call,      2, 2,   binary<bitwiseOr>},
    {"bitwiseXor:with:", "",         Form::Call,      2, 2,   binary<bitwiseExclusiveOr>},
    {"leftshift:by:",    "",         Form::Call,      2, 2,   binary<shiftedLeft>},
    {"rightshift:by:",   "",         Form::Call,      2, 2,   binary<shiftedRight>},
    {"onesComplement:",  "onesComplement", Form::Call, 1, 1,  unary<onesComplement>},
    {"noindex:",         "noindex",  Form::Call,      1, 1,   itself},
    {"castObject:toType:", "CAST",   Form::Cast,      2, 2,   cast},
    {"objectFrom:withIndex:", "",    Form::Index,     2, 2,   element},
};
// clang-format on

/// A value that only its identity tells from others.
class IndexWordObject final : public NSObject {
 public:
  explicit IndexWordObject(Ref<NSString> word) : _word(std::move(word)) {}
  Ref<NSString> description() const override { return _word; }

 private:
  Ref<NSString> _word;
};

}  // namespace

const Function* functionForSelector(std::string_view selector) noexcept {
  for (const Function& function : functions) {
    if (function.selector == selector) return &function;
  }
  return nullptr;
}

const Function* functionForCall(std::string_view name, std::size_t argumentCount) noexcept {
  for (const Function& function : functions) {
    if (!isSameWord(function.selector, name) && !isSameWord(function.word, name)) continue;
    if (argumentCount < function.minimumArguments) continue;
    if (function.maximumArguments != any && argumentCount > function.maximumArguments) continue;
    return &function;
  }
  return nullptr;
}

bool isNameOfFunction(std::string_view name) noexcept {
  return std::any_of(std::begin(functions), std::end(functions), [&](const Function& function) {
    return isSameWord(function.selector, name) || isSameWord(function.word, name);
  });
}

const Value& valueOfIndexWord(IndexWord word) {
  static const Value words[] = {makeObject<IndexWordObject>("FIRST"_s),
                                makeObject<IndexWordObject>("LAST"_s),
                                makeObject<IndexWordObject>("SIZE"_s)};
  return words[static_cast<std::size_t>(word)];
}

}  // namespace JNFoundation::impl
