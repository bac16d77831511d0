#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <platform/query/Family.h>
#include <platform/query/NaiveText.h>
#include <platform/text/Randomness.h>

#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {
namespace {

using namespace testing;

/// What sorts as a unit: a character, or a run of digits by its value.
using Unit = std::pair<char32_t, unsigned long>;

std::vector<Unit> unitsOf(const naive::Text& text, bool digitsByValue) {
  std::vector<Unit> units;
  bool inRun = false;
  for (const char32_t c : text) {
    const bool isDigit = digitsByValue && c >= '0' && c <= '9';
    if (isDigit && inRun) {
      units.back().second = units.back().second * 10 + (c - '0');
    } else {
      units.emplace_back(isDigit ? U'0' : c, isDigit ? c - '0' : 0);
    }
    inRun = isDigit;
  }
  return units;
}

template <class T>
int orderOf(const T& left, const T& right) {
  return left < right ? -1 : right < left ? 1 : 0;
}

/// The five orders of text from their definitions.
int orderOfTexts(const std::string& selector, const std::string& left, const std::string& right) {
  const naive::Text l = naive::codePoints(left), r = naive::codePoints(right);
  const auto folded = [&](bool anyMarks) {
    return orderOf(naive::folded(l, true, anyMarks), naive::folded(r, true, anyMarks));
  };
  if (selector == "compare:") return orderOf(l, r);
  if (selector == "caseInsensitiveCompare:") return folded(false);
  const bool isStandard = selector == "localizedStandardCompare:";
  const int byLetters = orderOf(unitsOf(naive::folded(l, true, true), isStandard),
                                unitsOf(naive::folded(r, true, true), isStandard));
  if (byLetters != 0) return byLetters;
  return selector == "localizedCaseInsensitiveCompare:" ? folded(false) : orderOf(l, r);
}

struct Column {
  std::string key;
  std::string selector;
  bool ascending;
};

int orderOfKeys(const Column& column, const Value& left, const Value& right) {
  const bool hasLeft = !left.isNull() && !left.isNSNull();
  const bool hasRight = !right.isNull() && !right.isNSNull();
  if (!hasLeft || !hasRight) return orderOf(hasLeft, hasRight);
  if (left.isString()) {
    return orderOfTexts(column.selector, left.stringValue()->toStdString(),
                        right.stringValue()->toStdString());
  }
  if (left.isDate()) return orderOf(left.timeIntervalSince1970(), right.timeIntervalSince1970());
  return orderOf(left.doubleValue(), right.doubleValue());
}

class RandomRecords {
 public:
  explicit RandomRecords(Randomness& random) : _random(random) {}

  /// Few different keys, so that there are ties; "place" tells the records apart.
  std::vector<Value> records(std::size_t count) {
    static constexpr const char* texts[] = {"",   "a",  "A",  "b",  "B",   "é",  "e",      "É",
                                            "ab", "aB", "Ä",  "ä1", "a10", "a9", "a09",    "A9",
                                            "10", "9",  "09", "a ", "ö",   "öe", "e\u0301"};
    std::vector<Value> records;
    for (std::size_t i = 0; i < count; ++i) {
      Entries entries{{"place", i}};
      const auto maybe = [&](const char* key, const Value& value) {
        if (_random.below(6) > 0) entries.push_back({key, _random.below(6) ? value : Value()});
      };
      maybe("text", texts[_random.below(std::size(texts))]);
      maybe("number", _random.below(2) ? Value(_random.between(-2, 2))
                                       : Value(static_cast<double>(_random.between(-4, 4)) / 2));
      maybe("date",
            NSDate::dateWithTimeIntervalSince1970(static_cast<double>(_random.between(-2, 2)) / 2));
      records.push_back(record(std::move(entries)));
    }
    return records;
  }

  std::vector<Column> columns() {
    static constexpr const char* selectors[] = {
        "compare:", "caseInsensitiveCompare:", "localizedCompare:",
        "localizedCaseInsensitiveCompare:", "localizedStandardCompare:"};
    static constexpr const char* keys[] = {"text", "text", "number", "date"};
    std::vector<Column> columns;
    for (std::uint64_t i = 1 + _random.below(3); i > 0; --i) {
      const std::string key = keys[_random.below(4)];
      columns.push_back(
          {key, key == "text" ? selectors[_random.below(5)] : "compare:", _random.below(2) == 0});
    }
    return columns;
  }

 private:
  Randomness& _random;
};

TEST(SortingDifferential, OrdersAsANaiveStableSortDoes) {
  Randomness random;
  JN_TRACE_SEED(random);
  RandomRecords source(random);
  for (int round = ::JNFoundation::testing::rounds(300, 20'000); round > 0; --round) {
    std::vector<Value> expected = source.records(random.below(60));
    const Ref<NSArray> given = list(expected);
    std::vector<Value> descriptors;
    std::string told;
    const std::vector<Column> columns = source.columns();
    for (const Column& column : columns) {
      descriptors.emplace_back(NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
          column.key, column.ascending, SEL(column.selector)));
      told += descriptors.back().description()->toStdString() + " ";
    }
    const auto comesBefore = [&](const Value& left, const Value& right) {
      for (const Column& column : columns) {
        const int order =
            orderOfKeys(column, valueForKey(left, column.key), valueForKey(right, column.key));
        if (order != 0) return column.ascending ? order < 0 : order > 0;
      }
      return false;
    };
    std::stable_sort(expected.begin(), expected.end(), comesBefore);
    EXPECT_EQ(Value(sortedArrayUsingDescriptors(given, list(std::move(descriptors)))),
              Value(list(std::move(expected))))
        << told;
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace JNFoundation
