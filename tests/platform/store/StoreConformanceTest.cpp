#include <cstdlib>
#include <map>
#include <optional>
#include <platform/store/StoreFixture.h>
#include <random>

#include "platform/text/Randomness.h"

namespace JNFoundation {
namespace {

/// What a record of the walk below holds; its number is the attribute `pages`.
struct PlainRecord {
  std::string entity;
  std::optional<std::string> title;
  std::optional<int> year;

  std::string text() const {
    return entity + " " + title.value_or("-") + " " + (year ? std::to_string(*year) : "-");
  }
};
using PlainTable = std::map<int, PlainRecord>;

std::string text(const PlainTable& table) {
  std::string joined;
  for (const auto& [number, record] : table) {
    joined += std::to_string(number) + ": " + record.text() + "\n";
  }
  return joined;
}

std::string writtenOut(const Value& value) {
  return value.isNull() ? "-" : value.stringValue()->toStdString();
}

/// A store and its contexts beside two maps: what is saved, and what a context has pending.
class StoreConformance : public EveryStoreTest {
 protected:
  /// Every book in that context.
  static std::string contents(const Ref<NSManagedObjectContext>& context) {
    Ref<NSError> error;
    const Ref<NSArray> found =
        context->executeFetchRequestError(request("Book", nullptr, {by("pages")}), &error);
    EXPECT_TRUE(found) << StoreTest::text(error);
    std::string joined;
    if (!found) return joined;
    for (const Value& value : *found) {
      const auto* book = as<NSManagedObject>(value);
      joined += writtenOut(book->valueForKey("pages")) + ": " +
                book->entity()->name()->toStdString() + " " +
                writtenOut(book->valueForKey("title")) + " " +
                writtenOut(book->valueForKey("year")) + "\n";
    }
    return joined;
  }

  Ref<NSManagedObject> numbered(int number) const {
    const Ref<NSArray> found =
        fetch(request("Book", NSPredicate::predicateWithFormat("pages == %d", number)));
    EXPECT_EQ(found->count(), 1u) << number;
    return Ref<NSManagedObject>(as<NSManagedObject>(found->firstObject()));
  }

  /// The store again, as another start of the program finds it. One in memory ends with its
  /// coordinator, so that only its context is made anew.
  void reopen() {
    context = nullptr;
    if (std::string(GetParam()) != NSSQLiteStoreType) {
      context = newContext();
      return;
    }
    store = nullptr;
    coordinator = nullptr;
    open(GetParam(), libraryModel());
  }
};

TEST_P(StoreConformance, ALongWalkEndsWhereAPlainTableEnds) {
  const char* given = std::getenv("JN_SEED");
  const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : 20240229;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto below = [&](unsigned bound) { return static_cast<int>(random() % bound); };
  PlainTable saved, pending;
  std::vector<Ref<NSManagedObject>> held;
  int next = 0, saves = 0, reopenings = 0;

  const auto anyNumber = [&] {
    auto place = pending.begin();
    std::advance(place, below(static_cast<unsigned>(pending.size())));
    return place->first;
  };
  const auto randomTitle = [&]() -> std::optional<std::string> {
    if (below(4) == 0) return std::nullopt;
    return "title " + std::to_string(below(50));
  };
  const auto put = [&](NSManagedObject& book, const PlainRecord& record) {
    book.setValueForKey(record.title ? Value(*record.title) : Value(), "title");
    book.setValueForKey(record.year ? Value(*record.year) : Value(), "year");
  };

  const int steps = ::JNFoundation::testing::rounds(1500, 10'000);
  for (int step = 0; step < steps; ++step) {
    const int choice = below(100);
    if (choice < 35 || pending.empty()) {
      PlainRecord record{below(3) == 0 ? "AudioBook" : "Book", randomTitle(), std::nullopt};
      if (below(2) == 0) record.year = below(4000) - 2000;
      auto book = insert(record.entity.c_str(), {{"pages", next}});
      put(*book, record);
      pending[next++] = record;
      // Some objects are held on to, the others live as the context lets them.
      if (below(3) == 0) held.push_back(book);
    } else if (choice < 60) {
      const int number = anyNumber();
      PlainRecord& record = pending[number];
      record.title = randomTitle();
      record.year = below(2) == 0 ? std::optional<int>(below(10'000)) : std::nullopt;
      put(*numbered(number), record);
    } else if (choice < 72) {
      const int number = anyNumber();
      context->deleteObject(numbered(number));
      pending.erase(number);
    } else if (choice < 82) {
      save();
      saved = pending;
      ++saves;
    } else if (choice < 86) {
      context->rollback();
      pending = saved;
    } else if (choice < 88) {
      held.clear();
      context->reset();
      pending = saved;
    } else if (choice < 90) {
      held.clear();
      reopen();
      pending = saved;
      ++reopenings;
    } else {
      const int year = below(4000) - 2000;
      NSUInteger expected = 0;
      for (const auto& [number, record] : pending) expected += record.year && *record.year > year;
      const auto later = request("Book", NSPredicate::predicateWithFormat("year > %d", year));
      ASSERT_EQ(context->countForFetchRequestError(later), expected) << "step " << step;
      ASSERT_EQ(contents(context), JNFoundation::text(pending)) << "step " << step;
      ASSERT_EQ(contents(newContext()), JNFoundation::text(saved)) << "step " << step;
    }
  }
  save();
  reopen();
  EXPECT_EQ(contents(context), JNFoundation::text(pending));
  // A walk that hardly went anywhere would prove nothing.
  EXPECT_GT(saves, steps / 30);
  EXPECT_GT(reopenings, steps / 300);
  EXPECT_GT(pending.size(), 30u);
}

TEST_P(StoreConformance, TextWithEveryCharacterIsFoundByItsContent) {
  using namespace std::string_literals;
  const std::vector<std::string> texts = {
      ""s,        "a"s,        "a\0b"s,       "a\0c"s, "\0"s,         "🦊"s,
      "e\u0301"s, "%_*?[]\\"s, "' OR 1=1--"s, "\"\""s, "\n\r\t\x01"s, std::string(100'000, 'z'),
  };
  for (std::size_t i = 0; i < texts.size(); ++i) {
    insert("Book", {{"title", texts[i]}, {"pages", static_cast<int>(i)}});
  }
  insert("Book", {{"pages", 99}});
  save();
  context->reset();
  const auto found = [&](const char* format, const std::string& text) {
    return fetched(
        request("Book", NSPredicate::predicateWithFormat(format, Value(text)), {by("pages")}),
        "pages");
  };
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(found("title == %@", texts[i]), std::to_string(i));
    EXPECT_EQ(found("title IN {%@}", texts[i]), std::to_string(i));
  }
  EXPECT_EQ(found("title BEGINSWITH %@", "a\0"s), "2 3");
  EXPECT_EQ(found("title CONTAINS %@", "\0"s), "2 3 4");
  EXPECT_EQ(found("title ENDSWITH %@", "\0c"s), "3");
  EXPECT_EQ(found("title CONTAINS %@", "' OR 1"), "8");
  EXPECT_EQ(found("title != %@", "a").substr(0, 8), "0 2 3 4 ");
}

TEST_P(StoreConformance, NumbersAtTheirEndsCompareAsNumbers) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double ratings[] = {-infinity, std::numeric_limits<double>::lowest(), -0.0, 5e-324,
                            infinity};
  for (int i = 0; i < 5; ++i) insert("Book", {{"pages", i}, {"rating", ratings[i]}});
  insert("Book", {{"pages", 5}});
  save();
  context->reset();
  const auto found = [&](const char* format, const Value& number) {
    return fetched(request("Book", NSPredicate::predicateWithFormat(format, number), {by("pages")}),
                   "pages");
  };
  EXPECT_EQ(found("rating == %@", 0), "2");
  EXPECT_EQ(found("rating == %@", -0.0), "2");
  EXPECT_EQ(found("rating > %@", 0), "3 4");
  EXPECT_EQ(found("rating >= %@", infinity), "4");
  EXPECT_EQ(found("rating < %@", std::numeric_limits<double>::lowest()), "0");
  EXPECT_EQ(found("rating < %@", std::numeric_limits<std::int64_t>::min()), "0 1");
  EXPECT_EQ(found("rating == %@", std::numeric_limits<double>::quiet_NaN()), "");
  EXPECT_EQ(found("rating == %@", Value()), "5");
  EXPECT_EQ(fetched(request("Book", nullptr, {by("rating", false)}), "pages"), "4 3 2 1 0 5");
}

TEST_P(StoreConformance, OrdersAndLimitsAnswerForEveryCut) {
  const char* titles[] = {"b", nullptr, "a", nullptr, "c", "a"};
  for (int i = 0; i < 6; ++i) {
    insert("Book", {{"pages", i}, {"title", titles[i] ? Value(titles[i]) : Value()}});
  }
  save();
  const std::vector<int> order = {1, 3, 2, 5, 0, 4};
  for (NSUInteger offset = 0; offset <= 7; ++offset) {
    for (NSUInteger limit = 0; limit <= 7; ++limit) {
      auto wanted = request("Book", nullptr, {by("title"), by("pages")});
      wanted->setFetchOffset(offset);
      wanted->setFetchLimit(limit);
      std::string expected;
      NSUInteger count = 0;
      for (NSUInteger i = offset; i < 6 && (limit == 0 || i < offset + limit); ++i, ++count) {
        expected += (count ? " " : "") + std::to_string(order[i]);
      }
      EXPECT_EQ(fetched(wanted, "pages"), expected) << offset << ", " << limit;
      EXPECT_EQ(context->countForFetchRequestError(wanted), count) << offset << ", " << limit;
      wanted->setResultType(NSManagedObjectIDResultType);
      EXPECT_EQ(fetch(wanted)->count(), count) << offset << ", " << limit;
    }
  }
}

TEST_P(StoreConformance, WhatNamesNothingRaisesAndReachesNoStore) {
  insert("Book", {{"title", "kept"}});
  save();
  using namespace std::string_literals;
  const std::vector<std::string> hostile = {"x\"; DROP TABLE object_Work; --"s,
                                            "Book'"s,
                                            "_pk"s,
                                            "_version"s,
                                            "rowid"s,
                                            "title) OR (1=1"s,
                                            "title\0hidden"s};
  const auto raises = [this](const Ref<NSFetchRequest>& wanted) {
    try {
      context->executeFetchRequestError(wanted);
      return false;
    } catch (const Raised&) {
      return true;
    }
  };
  for (const std::string& name : hostile) {
    EXPECT_TRUE(raises(NSFetchRequest::fetchRequestWithEntityName(name))) << name;
    auto sorted = request("Book");
    sorted->setSortDescriptors(
        NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending(name, true)));
    EXPECT_TRUE(raises(sorted)) << name;
    const auto keyed = NSPredicate::predicateWithFormat("%K == 1", Ref<NSString>(name));
    EXPECT_TRUE(raises(request("Book", keyed))) << name;
    auto dictionaries = request("Book");
    dictionaries->setResultType(NSDictionaryResultType);
    dictionaries->setPropertiesToFetch(NSArray::arrayWithObjects(Value(name)));
    EXPECT_TRUE(raises(dictionaries)) << name;
  }
  EXPECT_EQ(fetched(request("Work")), "kept");
}

TEST_P(StoreConformance, AMegabyteOfAnythingComesBack) {
  std::string large(1 << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>('a' + i % 23);
  auto book = insert("Book", {{"title", large}});
  save();
  context->reset();
  auto again = fetch(request("Book"));
  ASSERT_EQ(again->count(), 1u);
  const Value title = as<NSManagedObject>(again->firstObject())->valueForKey("title");
  EXPECT_TRUE(as<NSString>(title)->utf8() == large);
}

FOR_EVERY_STORE(StoreConformance);

}  // namespace
}  // namespace JNFoundation
