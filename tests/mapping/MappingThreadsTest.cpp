#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "MappingFixture.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>

/// A map never changes, so threads share it; each maps onto objects of its own.
namespace JNFoundation {
namespace {

constexpr int threadCount = 8;
constexpr int rounds = 200;

class MappingThreads : public MappingTest {
 protected:
  MappingThreads() {
    setUserInfo({{"$name", "shout|string"},
                 {"%meta.$born", "date"},
                 {"%meta.%more.$score", "double"},
                 {"$bad", "missing"},
                 {"$payload", "applyPayload:"}});
    // From here on the model does not change any more.
    context();
    log.clear();
  }

  Ref<PLVDictionaryDataMap> newMap() {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
  }
  Value newPerson() {
    return NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr);
  }

  template <class Action>
  static void onAllThreads(Action action) {
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
      threads.emplace_back([number, &action] { action(number); });
    }
    for (std::thread& thread : threads) thread.join();
  }

  static bool isMapped(const Value& person, int number) {
    const auto* object = as<Person>(person);
    return object->valueForKey("integer64") == Value(number) &&
           object->valueForKey("string") == "ANN" &&
           object->valueForKey("date") == NSDate::dateWithTimeIntervalSince1970(641520000) &&
           object->valueForKey("double") == Value(number * 0.5) && object->received.size() == 1;
  }

  static Ref<NSDictionary> recordOf(int number) {
    const auto more = NSDictionary::dictionaryWithEntries({{"score", number * 0.5}});
    const auto meta =
        NSDictionary::dictionaryWithEntries({{"born", "1990-05-01T00:00:00.000Z"}, {"more", more}});
    return NSDictionary::dictionaryWithEntries({{"integer64", number},
                                                {"name", "Ann"},
                                                {"meta", meta},
                                                {"payload", NSArray::arrayWithObject(number)},
                                                {"boolean", NSNull::null()},
                                                {"integer16", NSArray::array()},
                                                {"extra", 1}});
  }
};

TEST_F(MappingThreads, OneMapServesAllThreadsAtOnce) {
  const auto map = newMap();
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("shout:", "shout");
  log.clear();
  std::atomic<int> wrong{0};
  onAllThreads([&](int number) {
    for (int round = 0; round < rounds; ++round) {
      const Value person = newPerson();
      map->mapDictionaryToObjectFilter(recordOf(number),
                                       Ref<NSManagedObject>(as<NSManagedObject>(person)), filter);
      if (!isMapped(person, number)) ++wrong;
      if (map->filterNames()->count() != 1) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(log.size(), static_cast<std::size_t>(threadCount * rounds))
      << "one refused value in each record";
}

TEST_F(MappingThreads, OneRecordIsMappedOnAllThreadsAtOnce) {
  const auto map = newMap();
  const auto record = recordOf(7);
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("shout:", "shout");
  std::atomic<int> wrong{0};
  onAllThreads([&](int) {
    for (int round = 0; round < rounds; ++round) {
      const Value person = newPerson();
      map->mapDictionaryToObjectFilter(record, Ref<NSManagedObject>(as<NSManagedObject>(person)),
                                       filter);
      if (!isMapped(person, 7)) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

TEST_F(MappingThreads, MapsOfOneEntityAreBuiltOnAllThreadsAtOnce) {
  std::atomic<int> wrong{0};
  onAllThreads([&](int) {
    for (int round = 0; round < 20; ++round) {
      const auto map = newMap();
      if (map->scalarMaps()->count() != 10 || map->dictionaryMaps()->count() != 1) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(log.size(), static_cast<std::size_t>(threadCount * 20)) << "one bad rule in each map";
}

}  // namespace
}  // namespace JNFoundation
