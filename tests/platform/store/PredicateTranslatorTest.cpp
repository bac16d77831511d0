#include <cstdlib>
#include <random>

#include "StoreFixture.h"
#include "platform/query/NaiveEvaluator.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h>

namespace JNFoundation {
namespace {

/// Random questions about random records: the store's answer must be the one that asking every
/// object gives. JN_SEED repeats a run.
class PredicateTranslatorTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    const char* given = std::getenv("JN_SEED");
    seed = given ? static_cast<unsigned>(std::atoi(given)) : std::random_device()();
    random.seed(seed);
  }

  std::size_t below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
  }
  template <std::size_t count>
  std::string oneOf(const char* const (&texts)[count]) {
    return texts[below(count)];
  }

  std::string textLiteral() {
    static constexpr const char* texts[] = {"''",   "'a'",   "'A'",       "'ab'", "'b'",
                                            "'é'",  "'É'",   "'e'",       "'ß'",  "'ss'",
                                            "'?*'", "'a_b'", "'\\u0000'", "'z'"};
    return oneOf(texts);
  }
  std::string numberLiteral() {
    static constexpr const char* numbers[] = {"0", "1", "-1", "2", "2.5", "1e3", "-0.5", "32767"};
    // Where integers and doubles come apart, and past both.
    static constexpr const char* extremes[] = {"9007199254740993",
                                               "9007199254740992.0",
                                               "-9223372036854775808",
                                               "9223372036854775807",
                                               "1e999",
                                               "18446744073709551615",
                                               "9223372036854775808.0"};
    return below(8) == 0 ? oneOf(extremes) : oneOf(numbers);
  }
  std::string dateLiteral() {
    static constexpr const char* dates[] = {"CAST(0, 'NSDate')", "CAST(0.5, 'NSDate')",
                                            "CAST(-1, 'NSDate')", "nil", "0"};
    return oneOf(dates);
  }
  std::string anyLiteral() {
    switch (below(6)) {
      case 0:
        return "nil";
      case 1:
        return "YES";
      case 2:
      case 3:
        return textLiteral();
      default:
        return numberLiteral();
    }
  }
  std::string key() {
    static constexpr const char* keys[] = {"title", "isbn", "year", "rating", "available", "pages"};
    return oneOf(keys);
  }
  std::string textKey() {
    static constexpr const char* keys[] = {"title", "isbn"};
    return oneOf(keys);
  }

  std::string comparison() {
    static constexpr const char* orders[] = {"==", "!=", "<", "<=", ">", ">="};
    static constexpr const char* texts[] = {"BEGINSWITH", "ENDSWITH", "CONTAINS", "LIKE",
                                            "MATCHES"};
    static constexpr const char* options[] = {"", "[c]", "[d]", "[cd]"};
    switch (below(17)) {
      case 9:
        return "added " + oneOf(orders) + " " + dateLiteral();
      case 10:
        return textKey() + " IN" + oneOf(options) + " {" + textLiteral() + ", " + textLiteral() +
               (below(2) == 0 ? ", nil}" : "}");
      case 11:
        return below(2) == 0 ? textKey() + " IN" + oneOf(options) + " 'aébss'"
                             : "'aébss' CONTAINS" + oneOf(options) + " " + textKey();
      case 12:
        return textKey() + " " + texts[below(4)] + oneOf(options) + " " + textKey();
      case 13:
        return below(2) == 0 ? textKey() + " BETWEEN {" + textLiteral() + ", " + textLiteral() + "}"
                             : key() + " BETWEEN {" + anyLiteral() + ", " + anyLiteral() + "}";
      case 14:
        return "added BETWEEN {" + dateLiteral() + ", " + dateLiteral() + "}";
      case 15: {
        static constexpr const char* quantifiers[] = {"ANY", "ALL", "NONE"};
        return oneOf(quantifiers) + " {" + anyLiteral() + ", " + key() + "} " + oneOf(orders) +
               " " + key();
      }
      case 16: {
        static constexpr const char* numbers[] = {"year * 3 - pages", "abs(rating)", "year / pages",
                                                  "pages ** year",    "year / 0",    "-year"};
        return oneOf(numbers) + " " + oneOf(orders) + " " + numberLiteral();
      }
      case 0:
      case 1:
        return key() + " " + oneOf(orders) + " " + anyLiteral();
      case 2:
        return anyLiteral() + " " + oneOf(orders) + " " + key();
      case 3:
        return key() + " " + oneOf(orders) + " " + key();
      case 4: {
        std::string sides = oneOf(texts);
        // Of the literals only these are regular expressions.
        const std::string right = sides == "MATCHES" ? "'[aé]b?'" : textLiteral();
        return textKey() + " " + sides + oneOf(options) + " " + right;
      }
      case 5:
        return textKey() + " " + oneOf(orders) + oneOf(options) + " " + textLiteral();
      case 6:
        return key() + " IN {" + anyLiteral() + ", " + anyLiteral() + ", " + anyLiteral() + "}";
      case 7:
        return key() + " BETWEEN {" + numberLiteral() + ", " + numberLiteral() + "}";
      default:
        return "year + " + numberLiteral() + " " + oneOf(orders) + " rating";
    }
  }

  std::string condition(unsigned depth) {
    if (depth == 0 || below(3) == 0) return comparison();
    switch (below(3)) {
      case 0:
        return "NOT (" + condition(depth - 1) + ")";
      case 1:
        return "(" + condition(depth - 1) + " AND " + condition(depth - 1) + ")";
      default:
        return "(" + condition(depth - 1) + " OR " + condition(depth - 1) + ")";
    }
  }

  Value randomText() {
    static constexpr const char* texts[] = {"",    "a",   "A",  "ab",    "AB",     "b",
                                            "é",   "É",   "e",  "ß",     "ss",     "SS",
                                            "a_b", "a%b", "?*", "zebra", "e\u0301"};
    return below(5) == 0 ? Value() : Value(oneOf(texts));
  }

  void addRecords(int count) {
    for (int i = 0; i < count; ++i) {
      auto book = insert(below(3) == 0 ? "AudioBook" : "Book");
      book->setValueForKey(randomText(), "title");
      book->setValueForKey(randomText(), "isbn");
      if (below(4) > 0) book->setValueForKey(static_cast<int>(below(5)) - 2, "year");
      if (below(4) > 0) book->setValueForKey((static_cast<int>(below(9)) - 4) / 2.0, "rating");
      if (below(9) == 0) book->setValueForKey(9007199254740992.0, "rating");
      if (below(4) > 0) {
        book->setValueForKey(
            NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<int>(below(4)) / 2.0 - 1),
            "added");
      }
      if (below(3) > 0) book->setValueForKey(below(2) == 0, "available");
      if (below(3) > 0) book->setValueForKey(below(2) == 0 ? 32767 : 1, "pages");
    }
    save();
  }

  unsigned seed = 0;
  std::mt19937 random;
};

StoreQuery queryOf(const Ref<NSEntityDescription>& entity, const Ref<NSPredicate>& predicate,
                   const Ref<NSArray>& sortDescriptors = nullptr) {
  StoreQuery query;
  query.entity = entity.get();
  query.predicate = predicate;
  query.sortDescriptors = sortDescriptors;
  return query;
}

std::string numberOf(const Value& object) {
  return std::to_string(as<NSManagedObject>(object)->objectID()->number());
}

std::string numbersOf(const Ref<NSArray>& objects) {
  std::string numbers;
  for (const Value& object : *objects) numbers += numberOf(object) + " ";
  return numbers;
}

/// What asking the object itself gives: "yes", "no" or "raises".
std::string answerOf(const Ref<NSPredicate>& predicate, const Value& object) {
  try {
    return predicate->evaluateWithObject(object) ? "yes" : "no";
  } catch (const Raised&) {
    return "raises";
  }
}

TEST_F(PredicateTranslatorTest, TheStoreAnswersAsTheObjectsDo) {
  SCOPED_TRACE("JN_SEED=" + std::to_string(seed));
  addRecords(120);
  auto everything = fetch(request("Book"));
  const ::JNFoundation::testing::naive::Evaluator naive;
  int translated = 0, naiveAnswers = 0;
  const int rounds = ::JNFoundation::testing::rounds(2000, 50'000);
  for (int round = 0; round < rounds; ++round) {
    const std::string format = condition(3);
    Ref<NSPredicate> predicate = NSPredicate::predicateWithFormat(format);
    for (const Value& object : *everything) {
      const std::string answer = naive.answer(*predicate, object);
      if (answer == "unknown") continue;
      EXPECT_EQ(answerOf(predicate, object), answer) << format << " of " << numberOf(object);
      ++naiveAnswers;
    }
    std::string expected;
    try {
      expected = numbersOf(filteredArrayUsingPredicate(everything, predicate));
    } catch (const Raised&) {
      // What raises in memory (LIKE of a number) may do so in the store as well, or meet no record.
      continue;
    }
    EXPECT_EQ(numbersOf(fetch(request("Book", predicate))), expected) << format;
    if (!store->planQuery(queryOf(model->entityWithName("Book"), predicate)).remainingPredicate) {
      ++translated;
      EXPECT_EQ(context->countForFetchRequestError(request("Book", predicate)),
                static_cast<NSUInteger>(std::count(expected.begin(), expected.end(), ' ')))
          << format;
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(translated, rounds / 4) << "most questions have an SQL form";
  EXPECT_GT(naiveAnswers, rounds * 50);
}

TEST_F(PredicateTranslatorTest, TheStoreSortsAsTheObjectsAreSorted) {
  SCOPED_TRACE("JN_SEED=" + std::to_string(seed));
  addRecords(80);
  auto everything = fetch(request("Book"));
  static constexpr const char* selectors[] = {
      "compare:", "caseInsensitiveCompare:", "localizedCompare:",
      "localizedCaseInsensitiveCompare:", "localizedStandardCompare:"};
  for (int round = 0; round < 200; ++round) {
    std::vector<Value> descriptors;
    std::string described;
    for (std::size_t i = 0; i <= below(3); ++i) {
      const std::string sortKey = key();
      const bool isText = sortKey == "title" || sortKey == "isbn";
      descriptors.emplace_back(NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
          sortKey, below(2) == 0, isText ? SEL(selectors[below(5)]) : SEL("compare:")));
      described += descriptors.back().description()->toStdString() + " ";
    }
    auto list = NSArray::arrayWithValues(descriptors);
    ASSERT_TRUE(store->planQuery(queryOf(model->entityWithName("Book"), nullptr, list)).sorts);
    EXPECT_EQ(numbersOf(fetch(request("Book", nullptr, descriptors))),
              numbersOf(sortedArrayUsingDescriptors(everything, list)))
        << described;
    if (HasFailure()) return;
  }
}

/// What a predicate becomes in SQL, with "+" behind it if something remains for memory.
class TranslationTest : public StoreTest {
 protected:
  template <class... Arguments>
  std::string sql(const char* format, const Arguments&... arguments) {
    const StoreQuery wanted = queryOf(model->entityWithName("Book"),
                                      NSPredicate::predicateWithFormat(format, arguments...));
    const StoreQueryPlan plan = store->planQuery(wanted);
    return plan.remainingPredicate ? plan.remainingPredicate->predicateFormat()->toStdString() : "";
  }
};

TEST_F(TranslationTest, SQLTakesWhatItAnswersExactly) {
  for (const char* format :
       {"title == 'a'", "title != nil", "title ==[cd] 'a'", "title BEGINSWITH 'a'",
        "title MATCHES[c] 'a.*'", "year IN {1, 2, nil}", "year BETWEEN {1, 2}", "year == rating",
        "title < isbn", "NOT (year == 1 OR title LIKE '*x*')", "added == nil", "TRUEPREDICATE",
        "year == 'text'", "1 < year", "available == YES"}) {
    EXPECT_EQ(sql(format), "") << format;
  }
}

TEST_F(TranslationTest, WhatRemainsIsOnlyThePartWithoutAnSQLForm) {
  EXPECT_EQ(sql("year == 1 AND year + 1 == 2"), "year + 1 == 2");
  EXPECT_EQ(sql("year + 1 == 2 OR year == 1"), "year + 1 == 2 OR year == 1");
  EXPECT_EQ(sql("NOT (year + 1 == 2)"), "NOT year + 1 == 2");
  EXPECT_EQ(sql("SELF == %@ AND SELF < 5", 5), "SELF < 5");
}

TEST_F(TranslationTest, DeepPredicatesAreAnswered) {
  insert("Book", {{"year", 7}});
  save();
  Ref<NSPredicate> predicate = NSPredicate::predicateWithFormat("year == 7");
  for (int i = 0; i < 400; ++i) {
    predicate = NSCompoundPredicate::notPredicateWithSubpredicate(predicate);
  }
  EXPECT_EQ(fetch(request("Book", predicate))->count(), 1u);
  std::string wide = "year == 0";
  for (int i = 1; i <= 3000; ++i) wide += " OR year == " + std::to_string(i);
  EXPECT_EQ(fetch(request("Book", NSPredicate::predicateWithFormat(wide)))->count(), 1u);
  std::string nested = "year == 7";
  for (int i = 0; i < 60; ++i) {
    std::string level = "(";
    for (int k = 0; k < 60; ++k) level += "year == " + std::to_string(k + 100) + " OR ";
    nested = level + nested + ")";
  }
  EXPECT_EQ(fetch(request("Book", NSPredicate::predicateWithFormat(nested)))->count(), 1u);
  std::vector<Value> thousands(9'000, Value(7));
  auto list = NSArray::arrayWithValues(thousands);
  EXPECT_EQ(fetch(request("Book", NSPredicate::predicateWithFormat(
                                      "year IN %@ AND year IN %@ AND year IN %@ AND year IN %@",
                                      list, list, list, list)))
                ->count(),
            1u)
      << "more parameters than SQLite takes";
  std::vector<Value> many;
  for (int i = 0; i < 30'000; ++i) many.emplace_back(i);
  EXPECT_EQ(fetch(request("Book", NSPredicate::predicateWithFormat("year IN %@",
                                                                   NSArray::arrayWithValues(many))))
                ->count(),
            1u);
}

}  // namespace
}  // namespace JNFoundation
