#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <platform/query/NaiveComparison.h>
#include <string>

/// The functions of formats, for the naive evaluator.
namespace JNFoundation::testing::naive {

inline double doubleOf(const Value& value) {
  const Sort sort = sortOf(value);
  if (sort != Sort::Number && sort != Sort::Text && sort != Sort::Null) throw Refusal();
  if (sort == Sort::Null) return 0;
  if (sort == Sort::Number) numberOf(value);
  return value.doubleValue();
}
inline std::optional<std::int64_t> fitting(long double number) {
  if (number < -0x1p63L || number >= 0x1p63L) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

inline Value sumOf(const Values& values) {
  Value sum = 0;
  for (const Value& value : values) {
    if (isNothing(value)) continue;
    std::int64_t whole;
    if (isInteger(sum) && isInteger(value) &&
        !__builtin_add_overflow(sum.longLongValue(), value.longLongValue(), &whole)) {
      sum = whole;
    } else {
      sum = sum.doubleValue() + doubleOf(value);
    }
  }
  return sum;
}
inline double averageOf(const Values& values) {
  return values.empty() ? 0 : sumOf(values).doubleValue() / static_cast<double>(values.size());
}
inline Value extremeOf(const Values& values, int wanted) {
  std::optional<Value> found;
  for (const Value& value : values) {
    if (isNothing(value)) continue;
    if (!found || orderOrRefusal(value, *found) == wanted) found = value;
  }
  return found.value_or(Value());
}
inline Value medianOf(Values values) {
  if (values.empty()) return nullptr;
  for (std::size_t i = 1; i < values.size(); ++i) {
    for (std::size_t k = i; k > 0 && orderOrRefusal(values[k], values[k - 1]) < 0; --k) {
      std::swap(values[k], values[k - 1]);
    }
  }
  const std::size_t middle = values.size() / 2;
  if (values.size() % 2 == 1) return values[middle];
  return (doubleOf(values[middle - 1]) + doubleOf(values[middle])) / 2;
}
inline Value modeOf(const Values& values) {
  const auto count = [&](const Value& wanted) {
    return std::count_if(values.begin(), values.end(),
                         [&](const Value& value) { return areEqual(value, wanted, {}); });
  };
  std::ptrdiff_t highest = 0;
  for (const Value& value : values) highest = std::max(highest, count(value));
  Values modes = distinct(values);
  std::erase_if(modes, [&](const Value& value) { return count(value) != highest; });
  return arrayOf(std::move(modes));
}

inline void requireNumber(const Value& value) {
  if (sortOf(value) != Sort::Number) throw Refusal();
  numberOf(value);
}
inline Value orNothing(double number) { return std::isnan(number) ? Value() : Value(number); }

inline Value ofOne(const std::string& name, const Value& value) {
  if (name == "noindex:") return value;
  if (isNothing(value) && name != "random:" && name != "randomn:") return nullptr;
  if (name == "uppercase:" || name == "lowercase:") {
    if (sortOf(value) != Sort::Text) throw Refusal();
    const Text text = textOf(value);
    return utf8Of(name == "uppercase:" ? upperCased(text) : lowerCased(text));
  }
  if (name == "random:" || name == "randomn:") throw Unknown();
  requireNumber(value);
  const double number = value.doubleValue();
  const bool isWhole = isInteger(value) || value.kind() == Value::Kind::Unsigned;
  if (name == "sqrt:") return orNothing(std::sqrt(number));
  if (name == "ln:") return number > 0 ? Value(std::log(number)) : Value();
  if (name == "log:") return number > 0 ? Value(std::log10(number)) : Value();
  if (name == "exp:") return std::exp(number);
  if (name == "onesComplement:") return ~value.longLongValue();
  if (name == "abs:") {
    if (!isWhole) return std::abs(number);
    if (numberOf(value) >= 0) return value;
    const std::optional<std::int64_t> whole = fitting(-numberOf(value));
    return whole ? Value(*whole) : Value(-number);
  }
  if (name != "floor:" && name != "ceiling:" && name != "trunc:") throw Unknown();
  if (isWhole) return value;
  return name == "floor:"     ? std::floor(number)
         : name == "ceiling:" ? std::ceil(number)
                              : std::trunc(number);
}

/// Nothing where the result has more than 64 bits.
inline std::optional<std::int64_t> ofIntegers(const std::string& name, std::int64_t l,
                                              std::int64_t r) {
  __extension__ using Wide = __int128;
  const auto narrow = [](Wide wide) -> std::optional<std::int64_t> {
    const auto result = static_cast<std::int64_t>(wide);
    return result == wide ? std::optional(result) : std::nullopt;
  };
  if (name == "add:to:") return narrow(Wide{l} + r);
  if (name == "from:subtract:") return narrow(Wide{l} - r);
  if (name == "multiply:by:") return narrow(Wide{l} * r);
  if (name == "divide:by:") return narrow(Wide{l} / r);
  if (name == "modulus:by:") return narrow(Wide{l} % r);
  if (name != "raise:toPower:" || r < 0) return std::nullopt;
  if (l == 0) return r == 0;
  if (l == 1 || l == -1) return r % 2 == 0 ? 1 : l;
  Wide power = 1;
  for (std::int64_t i = 0; i < r && narrow(power); ++i) power *= l;
  return narrow(power);
}

inline Value ofBits(const std::string& name, std::int64_t l, std::int64_t r) {
  if (name == "bitwiseAnd:with:") return l & r;
  if (name == "bitwiseOr:with:") return l | r;
  if (name == "bitwiseXor:with:") return l ^ r;
  if (r < 0) return nullptr;
  if (name == "rightshift:by:") {
    for (; r > 0 && l != 0 && l != -1; --r) l = (l - (l & 1)) / 2;
    return l;
  }
  auto bits = static_cast<std::uint64_t>(l);
  for (; r > 0 && bits != 0; --r) bits *= 2;
  return static_cast<std::int64_t>(bits);
}

inline Value cast(const Value& value, const Value& type) {
  if (sortOf(type) != Sort::Text) throw Refusal();
  if (isNothing(value)) return nullptr;
  const std::string_view name = as<NSString>(type)->utf8();
  const Sort sort = sortOf(value);
  constexpr double epoch = 978'307'200;
  if (name == "NSDate") {
    if (sort == Sort::Number) {
      numberOf(value);
      return NSDate::dateWithTimeIntervalSinceReferenceDate(value.doubleValue());
    }
    return sort == Sort::Date ? value : Value();
  }
  if (name == "NSNumber") {
    if (sort == Sort::Date) return value.timeIntervalSince1970() - epoch;
    if (sort == Sort::Text) return value.doubleValue();
    return sort == Sort::Number ? value : Value();
  }
  if (name == "NSString") return value.description();
  throw Unknown();
}

inline Value element(const Value& container, const Value& index) {
  if (isNothing(container)) return nullptr;
  const std::string word = index.isObject() && sortOf(index) == Sort::Other
                               ? index.description()->toStdString()
                               : std::string();
  const Sort sort = sortOf(container);
  if (sort == Sort::Dictionary) {
    const auto* dictionary = as<NSDictionary>(container);
    return word == "SIZE" ? Value(dictionary->count()) : dictionary->objectForKey(index);
  }
  if (!isCollection(container)) throw Refusal();
  const Values members = membersOf(container);
  if (word == "SIZE") return members.size();
  if (members.empty() || isNothing(index)) return nullptr;
  // The order of a set is its own.
  if (sort == Sort::Set && members.size() > 1 && (!word.empty() || index.isNumber())) {
    throw Unknown();
  }
  if (word == "FIRST") return members.front();
  if (word == "LAST") return members.back();
  if (sortOf(index) != Sort::Number) throw Refusal();
  const long double position = std::trunc(numberOf(index));
  if (position < 0 || position >= static_cast<long double>(members.size())) return nullptr;
  return members[static_cast<std::size_t>(position)];
}

inline Value ofTwo(const std::string& name, const Value& left, const Value& right) {
  if (name == "objectFrom:withIndex:") return element(left, right);
  if (name == "castObject:toType:") return cast(left, right);
  const bool divides = name == "divide:by:" || name == "modulus:by:";
  if (divides && sortOf(right) == Sort::Number && numberOf(right) == 0) return nullptr;
  if (isNothing(left) || isNothing(right)) return nullptr;
  requireNumber(left);
  requireNumber(right);
  if (name.find("bitwise") == 0 || name.find("shift:by:") != std::string::npos) {
    return ofBits(name, left.longLongValue(), right.longLongValue());
  }
  if (isInteger(left) && isInteger(right)) {
    const std::optional<std::int64_t> whole =
        ofIntegers(name, left.longLongValue(), right.longLongValue());
    if (whole) return *whole;
  }
  const double l = left.doubleValue(), r = right.doubleValue();
  if (name == "add:to:") return orNothing(l + r);
  if (name == "from:subtract:") return orNothing(l - r);
  if (name == "multiply:by:") return orNothing(l * r);
  if (name == "divide:by:") return orNothing(l / r);
  if (name == "modulus:by:") return orNothing(std::fmod(l, r));
  if (name == "raise:toPower:") return orNothing(std::pow(l, r));
  throw Unknown();
}

}  // namespace JNFoundation::testing::naive
