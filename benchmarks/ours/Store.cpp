// The whole way in, from JSON text through data map and context to committed rows, and the whole
// way out, from rows to objects of which every attribute is read.

#include <benchmark/benchmark.h>

#include "Figures.h"
#include "feed/BenchTable.h"
#include "feed/RecordFeed.h"

#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace bench {
namespace {

using namespace JNFoundation;

class FeedRecord : public Subclass<FeedRecord, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context) {
    return NSEntityDescription::entityForNameInManagedObjectContext("FeedRecord", context);
  }

  Ref<PLVDictionaryDataMap> entityDataMap() const override { return map; }

  static inline Ref<PLVDictionaryDataMap> map;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<FeedRecord> declaration = ClassDeclaration<FeedRecord>().factory();

Ref<NSManagedObjectModel> makeModel() {
  Ref<NSMutableArray> attributes = NSMutableArray::array();
  const auto add = [&](const char* name, NSAttributeType type) {
    attributes->addObject(NSAttributeDescription::attributeWithNameType(name, type));
  };
  add("identifier", NSInteger64AttributeType);
  add("quantity", NSInteger64AttributeType);
  add("price", NSDoubleAttributeType);
  add("weight", NSDoubleAttributeType);
  add("name", NSStringAttributeType);
  add("category", NSStringAttributeType);
  add("barcode", NSStringAttributeType);
  add("note", NSStringAttributeType);
  add("available", NSBooleanAttributeType);
  add("updated", NSDateAttributeType);
  auto entity = NSEntityDescription::init();
  entity->setName("FeedRecord");
  entity->setManagedObjectClassName("FeedRecord");
  entity->setProperties(attributes);
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(entity));
  FeedRecord::map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity));
  return model;
}

/// A context over a store in that file, which is made if it is not there.
Ref<NSManagedObjectContext> openStore(const Ref<NSManagedObjectModel>& model,
                                      const std::string& path) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  Ref<NSError> error;
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error)) {
    return nullptr;
  }
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

bool importFeed(const std::string& json, const Ref<NSManagedObjectContext>& context) {
  const Ref<NSEntityDescription> entity = FeedRecord::entityInManagedObjectContext(context);
  const bool isRead = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
      json, NSJSONReadingPlain, nullptr, [&](const Value& record, NSUInteger, bool&) {
        const auto object =
            NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, context);
        static_cast<FeedRecord&>(*object).mergeDictionary(as<NSDictionary>(Value(record)));
      });
  return isRead && context->save(nullptr);
}

/// What reading every attribute of every object adds up to.
Tally tallyOf(const NSArray& objects) {
  static const Ref<NSString> keys[] = {"identifier"_s, "quantity"_s, "price"_s,   "weight"_s,
                                       "name"_s,       "category"_s, "barcode"_s, "note"_s,
                                       "available"_s,  "updated"_s};
  Tally tally;
  for (const Value& value : objects) {
    const auto* object = static_cast<const NSManagedObject*>(value.object());
    std::size_t bytes = 0;
    for (int text = 4; text < 8; ++text) {
      bytes += as<NSString>(object->valueForKey(keys[text]))->utf8().size();
    }
    tally.add(
        object->valueForKey(keys[0]).integerValue(), object->valueForKey(keys[1]).integerValue(),
        object->valueForKey(keys[2]).doubleValue(), object->valueForKey(keys[3]).doubleValue(),
        bytes, object->valueForKey(keys[8]).boolValue(),
        object->valueForKey(keys[9]).timeIntervalSince1970());
  }
  return tally;
}

Tally tallyOfStore(const Ref<NSManagedObjectContext>& context) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("FeedRecord");
  const Ref<NSArray> objects = context->executeFetchRequestError(request);
  return objects ? tallyOf(*objects) : Tally();
}

void import(benchmark::State& state) {
  const std::string json = recordFeed();
  const Tally expected = expectedTally();
  const Ref<NSManagedObjectModel> model = makeModel();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("ours-import");
    {
      const Ref<NSManagedObjectContext> context = openStore(model, path);
      require(state, context && true, "the store cannot be opened");
      if (!context) break;
      state.ResumeTiming();
      const bool isImported = importFeed(json, context);
      state.PauseTiming();
      require(state, isImported, "the feed was not imported");
    }
    require(state, tallyOfStore(openStore(model, path)) == expected,
            "the store's values differ from the feed's");
    removeFile(path);
    state.ResumeTiming();
  }
  reportItems(state, kRecords);
}
BENCHMARK(import)->Name("import/ours")->UseRealTime()->Iterations(3);

void objects(benchmark::State& state) {
  const std::string path = freshFile("ours-objects");
  const Tally expected = expectedTally();
  const Ref<NSManagedObjectModel> model = makeModel();
  require(state, importFeed(recordFeed(), openStore(model, path)), "the feed was not imported");
  {
    const Ref<NSManagedObjectContext> context = openStore(model, path);
    for (auto _ : state) {
      require(state, tallyOfStore(context) == expected, "the objects differ from the feed's");
    }
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/ours")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
