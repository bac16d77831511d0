#include <algorithm>
#include <map>

#include "ImportFixture.h"
#include "platform/text/Randomness.h"

namespace JNFoundation {
namespace {

using testing::Randomness;

/// What an import comes to, told as plainly as can be.
class NaiveImport {
 public:
  struct Land {
    std::string name;
    std::int64_t population = 0;
    bool operator==(const Land&) const = default;
  };
  struct Record {
    bool isRecord = true;
    std::string code;              ///< empty for none
    bool hasName = true;           ///< whether the name is a key of the record
    std::string name;              ///< empty for null, which the model forbids
    std::int64_t population = -1;  ///< -1 for no key
    bool explodes = false;
  };
  using Lands = std::map<std::string, Land>;

  NaiveImport(Lands before, const std::vector<Record>& feed, const ImportOptions& options)
      : lands(std::move(before)) {
    const Lands untouched = lands;
    for (NSUInteger begin = options.firstRecord; begin < feed.size(); begin += options.chunkSize) {
      const NSUInteger end = std::min<NSUInteger>(begin + options.chunkSize, feed.size());
      takeChunk(feed, begin, end, options);
      if (fails) break;
    }
    if (options.commit == ImportCommit::AllOrNothing) {
      // What it comes to in the end is what has to be valid.
      for (const auto& [code, land] : lands) fails |= land.name.empty();
      if (fails) lands = untouched;
    }
    if (!fails && options.absent == ImportAbsent::Delete) deleteAbsent(feed);
  }

  Lands lands;
  std::vector<NSUInteger> refused;
  std::vector<NSUInteger> duplicates;
  bool fails = false;

 private:
  void takeChunk(const std::vector<Record>& feed, NSUInteger begin, NSUInteger end,
                 const ImportOptions& options) {
    const Lands before = lands;
    std::vector<NSUInteger> refusedHere;
    std::map<std::string, NSUInteger> touched;
    const bool stops =
        options.refusal == ImportRefusal::Stop || options.commit == ImportCommit::AllOrNothing;
    // First all records are told apart, then mapped, then what is not valid is undone.
    std::vector<NSUInteger> mapped;
    for (NSUInteger i = begin; i < end; ++i) {
      const Record& record = feed[i];
      if (!record.isRecord || record.code.empty()) {
        refused.push_back(i);
        if (stops) return fail(before);
        continue;
      }
      bool isDuplicate = false;
      for (NSUInteger j = 0; j < i; ++j) {
        isDuplicate |= feed[j].isRecord && feed[j].code == record.code;
      }
      if (isDuplicate) {
        duplicates.push_back(i);
        if (options.duplicate == ImportDuplicate::Skip) continue;
      }
      mapped.push_back(i);
    }
    for (const NSUInteger i : mapped) {
      const Record& record = feed[i];
      if (record.explodes) {
        // Everything that this chunk has done to the object goes.
        undo(record.code, before);
        touched.erase(record.code);
        refused.push_back(i);
        if (stops) return fail(before);
        continue;
      }
      Land& land = lands[record.code];
      if (record.hasName) land.name = record.name;
      if (record.population >= 0) land.population = record.population;
      touched[record.code] = i;
    }
    if (options.commit == ImportCommit::AllOrNothing) return;
    for (const auto& [code, index] : touched) {
      if (!lands[code].name.empty()) continue;
      refusedHere.push_back(index);
    }
    std::sort(refusedHere.begin(), refusedHere.end());
    for (const NSUInteger i : refusedHere) {
      undo(feed[i].code, before);
      refused.push_back(i);
      if (stops) return fail(before);
    }
  }

  void undo(const std::string& code, const Lands& before) {
    const auto place = before.find(code);
    if (place == before.end()) {
      lands.erase(code);
    } else {
      lands[code] = place->second;
    }
  }

  void fail(const Lands& before) {
    fails = true;
    lands = before;
  }

  void deleteAbsent(const std::vector<Record>& feed) {
    for (const Record& record : feed) {
      if (!record.isRecord || record.code.empty()) return;
    }
    std::erase_if(lands, [&feed](const auto& land) {
      for (const Record& record : feed) {
        if (record.code == land.first) return false;
      }
      return true;
    });
  }
};

class ImportAgainstModel : public ImportTest {
 protected:
  explicit ImportAgainstModel(const char* storeType = NSInMemoryStoreType)
      : ImportTest(storeType) {}

  void importRandomFeeds();

  static std::vector<NaiveImport::Record> randomFeed(Randomness& randomness, bool isClean) {
    std::vector<NaiveImport::Record> feed(randomness.below(25));
    for (auto& record : feed) {
      record.isRecord = isClean || randomness.below(25) != 0;
      if (isClean || randomness.below(25) != 0) {
        record.code = std::string(1, static_cast<char>('A' + randomness.below(20)));
      }
      record.hasName = randomness.below(4) != 0;
      record.name = randomness.below(12) == 0 ? "" : "n" + std::to_string(randomness.below(3));
      record.population = randomness.between(-1, 3);
      record.explodes = !isClean && randomness.below(20) == 0;
    }
    return feed;
  }

  static Ref<NSArray> listOf(const std::vector<NaiveImport::Record>& feed) {
    std::vector<Value> list;
    for (const auto& record : feed) {
      if (!record.isRecord) {
        list.emplace_back("no record");
        continue;
      }
      std::vector<NSDictionary::Pair> pairs;
      if (!record.code.empty()) pairs.push_back({"code", record.code});
      if (record.hasName) {
        pairs.push_back({"name", record.name.empty() ? Value(NSNull::null()) : record.name});
      }
      if (record.population >= 0) pairs.push_back({"population", record.population});
      if (record.explodes) pairs.push_back({"explode", true});
      list.emplace_back(NSDictionary::dictionaryWithEntries(std::move(pairs)));
    }
    return NSArray::arrayWithValues(std::move(list));
  }
};

class ImportAgainstModelInSQLite : public ImportAgainstModel {
 protected:
  ImportAgainstModelInSQLite() : ImportAgainstModel(NSSQLiteStoreType) {}
};

TEST_F(ImportAgainstModel, RandomFeedsComeToWhatIsPlain) { importRandomFeeds(); }
TEST_F(ImportAgainstModelInSQLite, RandomFeedsComeToWhatIsPlain) { importRandomFeeds(); }

void ImportAgainstModel::importRandomFeeds() {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  NaiveImport::Lands before;
  const int rounds = testing::rounds(300, 30'000);
  const auto background = newPrivateContext();
  std::size_t imported = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto feed = randomFeed(randomness, randomness.below(2) == 0);
    ImportOptions options;
    options.commit =
        randomness.below(3) == 0 ? ImportCommit::AllOrNothing : ImportCommit::EachChunk;
    options.refusal = randomness.below(3) == 0 ? ImportRefusal::Stop : ImportRefusal::Skip;
    options.duplicate = randomness.below(2) == 0 ? ImportDuplicate::Skip : ImportDuplicate::Map;
    options.absent = randomness.below(4) == 0 ? ImportAbsent::Delete : ImportAbsent::Keep;
    options.chunkSize = 1 + randomness.below(8);
    options.slice = randomness.below(2) == 0 ? 0 : 1;
    if (!feed.empty() && randomness.below(4) == 0) {
      options.firstRecord = randomness.below(feed.size());
    }
    const NaiveImport expected(before, feed, options);
    const auto target = randomness.below(2) == 0 ? context : background;
    const Ref<NSArray> list = listOf(feed);
    const auto report = randomness.below(2) == 0
                            ? importInto(target, list, options)
                            : importJSON(target,
                                         NSJSONSerialization::stringWithJSONObjectOptionsError(
                                             Value(list), NSJSONWritingCompact, nullptr)
                                             ->toStdString(),
                                         options);
    ASSERT_EQ(static_cast<bool>(report), !expected.fails) << "round " << round;
    std::vector<std::string> lines;
    for (const auto& [code, land] : expected.lands) {
      lines.push_back(code + ":" + land.name + ":" + std::to_string(land.population));
    }
    std::vector<std::string> found = lands();
    for (std::string& line : found) {
      if (line.ends_with(":-")) line.replace(line.size() - 1, 1, "0");
    }
    ASSERT_EQ(found, lines) << "round " << round << " " << text(list);
    if (report) {
      std::vector<NSUInteger> refused;
      for (const auto& refusal : report->refusals()) refused.push_back(refusal.index);
      ASSERT_EQ(refused, expected.refused) << "round " << round;
      std::vector<NSUInteger> duplicates;
      for (const auto& duplicate : report->duplicates()) duplicates.push_back(duplicate.index);
      ASSERT_EQ(duplicates, expected.duplicates) << "round " << round;
      imported += report->inserted() + report->updated();
    }
    bool hasChanges = true;
    target->performBlockAndWait([&] { hasChanges = target->hasChanges(); });
    ASSERT_FALSE(hasChanges);
    before = expected.lands;
    if (target == context) background->performBlockAndWait([&] { background->reset(); });
    if (target == background) context->reset();
  }
  EXPECT_GT(imported, static_cast<std::size_t>(rounds));
}

}  // namespace
}  // namespace JNFoundation
