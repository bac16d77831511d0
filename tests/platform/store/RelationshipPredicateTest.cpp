#include <optional>

#include "CompanyPredicates.h"
#include "platform/query/NaiveEvaluator.h"

#include <JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h>

namespace JNFoundation {
namespace {

constexpr const char* entities[] = {"Person", "Manager", "Department", "Desk",
                                    "Skill",  "Task",    "Badge"};

std::string reasonOf(const Ref<NSError>& error) {
  return error ? error->description()->toStdString() : "no error";
}

/// The same company in one store of each kind.
struct World {
  Ref<NSManagedObjectModel> model;
  Ref<NSPersistentStoreCoordinator> coordinator;
  Ref<NSPersistentStore> store;
  Ref<NSManagedObjectContext> context;
  std::vector<Ref<NSManagedObject>> objects;
  /// What `$o0` and so on stand for.
  Ref<NSMutableDictionary> named;

  World(const char* type, const std::string& path) : model(askedCompanyModel()) {
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    Ref<NSError> error;
    store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        type, nullptr, NSURL::fileURLWithPath(path), nullptr, &error);
    EXPECT_TRUE(store) << reasonOf(error);
    context = NSManagedObjectContext::init();
    context->setPersistentStoreCoordinator(coordinator);
    named = NSMutableDictionary::dictionary();
  }

  Ref<NSPredicate> predicate(const std::string& format) const {
    return NSPredicate::predicateWithFormat(format)->predicateWithSubstitutionVariables(named);
  }
  StoreQuery query(const char* entity, const Ref<NSPredicate>& predicate,
                   const Ref<NSArray>& order = nullptr) const {
    StoreQuery query;
    query.entity = model->entityWithName(entity).get();
    query.predicate = predicate;
    query.sortDescriptors = order;
    return query;
  }
  Ref<NSArray> fetch(const char* entity, const Ref<NSPredicate>& predicate,
                     const Ref<NSArray>& order = nullptr) const {
    auto request = NSFetchRequest::fetchRequestWithEntityName(entity);
    request->setPredicate(predicate);
    request->setSortDescriptors(order);
    Ref<NSError> error;
    Ref<NSArray> found = context->executeFetchRequestError(request, &error);
    EXPECT_TRUE(found) << reasonOf(error);
    return found ? found : NSArray::array();
  }
  void save() {
    Ref<NSError> error;
    ASSERT_TRUE(context->save(&error)) << reasonOf(error);
  }
};

std::string serials(const Ref<NSArray>& objects) {
  std::string serials;
  for (const Value& object : *objects) {
    serials += as<NSManagedObject>(object)->valueForKey("serial").description()->toStdString();
    serials += ' ';
  }
  return serials;
}

class RelationshipPredicateTest : public ::testing::Test {
 protected:
  void SetUp() override { makeWorlds(); }

  /// Empty stores in place of those before.
  void makeWorlds() {
    strangers.clear();
    strangerContexts.clear();
    worlds.clear();
    const std::string name = "company" + std::to_string(++_companies);
    worlds.emplace_back(NSSQLiteStoreType, directory.file(name + ".sqlite"));
    worlds.emplace_back(NSInMemoryStoreType, directory.file(name));
    for (World& world : worlds) {
      auto other = NSManagedObjectContext::init();
      other->setPersistentStoreCoordinator(world.coordinator);
      strangers.push_back(
          NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person",
                                                                                     other));
      strangerContexts.push_back(other);
    }
  }

  std::size_t below(std::size_t bound) { return predicates.below(bound); }

  /// Does the same in both worlds.
  template <class Change>
  void inBoth(Change&& change) {
    for (World& world : worlds) change(world);
  }

  void setRandomValues(std::size_t index) {
    static constexpr const char* names[] = {"a", "A", "ab", "b", "é", "E", ""};
    const Value name = below(4) == 0 ? Value() : Value(names[below(std::size(names))]);
    const Value level = below(4) == 0 ? Value() : Value(static_cast<int>(below(4)) - 1);
    const Value weight = below(4) == 0 ? Value() : Value(static_cast<double>(below(5)) / 2 - 0.5);
    const Value born =
        below(3) == 0 ? Value()
                      : NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<int>(below(2)));
    const Value active = below(3) == 0 ? Value() : Value(below(2) == 0);
    inBoth([&](World& world) {
      NSManagedObject& object = *world.objects[index];
      object.setValueForKey(name, "name");
      object.setValueForKey(level, "level");
      object.setValueForKey(weight, "weight");
      object.setValueForKey(born, "born");
      object.setValueForKey(active, "active");
    });
  }

  /// The numbers of the objects of an entity.
  std::vector<std::size_t> objectsOf(const std::string& entity) const {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < worlds[0].objects.size(); ++i) {
      const NSEntityDescription& own = *worlds[0].objects[i]->entity();
      if (own.isKindOfEntity(worlds[0].model->entityWithName(entity))) found.push_back(i);
    }
    return found;
  }

  static bool isOrdered(const std::string& entity, const std::string& name) {
    return (entity == "Task" && name == "followers") || name == "tasks";
  }

  void relateAtRandom(std::size_t index) {
    std::string entity = worlds[0].objects[index]->entity()->name()->toStdString();
    if (entity == "Manager") entity = "Person";
    for (const auto& [name, destination] : CompanyPredicates::toOnes(entity)) {
      const std::vector<std::size_t> choice = objectsOf(destination);
      const std::size_t other = choice[below(choice.size())];
      if (below(3) == 0) continue;
      inBoth([&, name = name](World& world) {
        world.objects[index]->setValueForKey(world.objects[other], name);
      });
    }
    for (const auto& [name, destination] : CompanyPredicates::toManys(entity)) {
      // The other end says who the people and the badges of a department are.
      if (entity == "Department" || below(3) == 0) continue;
      const std::vector<std::size_t> choice = objectsOf(destination);
      for (std::size_t count = below(4); count > 0; --count) {
        const std::size_t other = choice[below(choice.size())];
        inBoth([&, name = name](World& world) {
          NSManagedObject& object = *world.objects[index];
          if (isOrdered(entity, name)) {
            auto members = object.mutableOrderedSetValueForKey(name);
            if (!members->containsObject(world.objects[other])) {
              members->addObject(world.objects[other]);
            }
          } else {
            object.mutableSetValueForKey(name)->addObject(world.objects[other]);
          }
        });
      }
    }
  }

  void found(std::size_t people) {
    std::vector<std::string> all;
    for (std::size_t i = 0; i < people; ++i) all.emplace_back(below(4) == 0 ? "Manager" : "Person");
    for (std::size_t i = 0; i < people / 2; ++i) {
      for (const char* entity : {"Department", "Desk", "Skill", "Task", "Badge"}) {
        if (below(3) > 0 || i == 0) all.emplace_back(entity);
      }
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
      inBoth([&](World& world) {
        world.objects.push_back(
            NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
                all[i], world.context));
        world.objects.back()->setValueForKey(static_cast<int>(i), "serial");
      });
      setRandomValues(i);
    }
    for (std::size_t i = 0; i < all.size(); ++i) relateAtRandom(i);
    inBoth([](World& world) { world.save(); });
    nameObjects();
  }

  /// Objects to ask for: of the company, one that was never saved, and one that stands in the other
  /// world's store under the number that an own one has here.
  void nameObjects() {
    for (unsigned i = 0; i < CompanyPredicates::objects; ++i) {
      const std::size_t index = below(worlds[0].objects.size());
      for (std::size_t w = 0; w < worlds.size(); ++w) {
        Value object = worlds[w].objects[index];
        if (i == 0) object = worlds[1 - w].objects[index];
        if (i == 1) object = strangers[w];
        worlds[w].named->setObjectForKey(object, "o" + std::to_string(i));
        worlds[w].named->setObjectForKey(as<NSManagedObject>(object)->objectID(),
                                         "i" + std::to_string(i));
      }
    }
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  ::JNFoundation::testing::Randomness randomness;
  CompanyPredicates predicates{randomness};
  std::vector<World> worlds;
  std::vector<Ref<NSManagedObject>> strangers;
  std::vector<Ref<NSManagedObjectContext>> strangerContexts;

 private:
  int _companies = 0;
};

/// What asking the objects one by one gives, or nothing where that raises or is not known.
std::optional<std::string> answersOf(const NSPredicate& predicate, const Ref<NSArray>& objects) {
  const ::JNFoundation::testing::naive::Evaluator naive;
  std::string found;
  for (const Value& object : *objects) {
    const std::string answer = naive.answer(predicate, object);
    if (answer == "raises" || answer == "unknown") return std::nullopt;
    if (answer != "yes") continue;
    found += as<NSManagedObject>(object)->valueForKey("serial").description()->toStdString() + " ";
  }
  return found;
}

TEST_F(RelationshipPredicateTest, BothStoresAnswerAsTheObjectsDo) {
  JN_TRACE_SEED(randomness);
  int asked = 0, translated = 0;
  const int companies = ::JNFoundation::testing::rounds(6, 40);
  const int rounds = ::JNFoundation::testing::rounds(600, 1500);
  for (int company = 0; company < companies; ++company) {
    found(6 + below(10));
    for (int round = 0; round < rounds; ++round) {
      const char* entity = entities[below(std::size(entities))];
      const bool isManager = std::string(entity) == "Manager";
      const std::string format = predicates.predicate(isManager ? "Person" : entity, 3);
      SCOPED_TRACE(std::string(entity) + ": " + format);
      const Ref<NSPredicate> predicate = worlds[0].predicate(format);
      const auto expected = answersOf(*predicate, worlds[0].fetch(entity, nullptr));
      if (!expected) continue;
      ++asked;
      EXPECT_EQ(serials(worlds[0].fetch(entity, predicate)), *expected);
      EXPECT_EQ(serials(worlds[1].fetch(entity, worlds[1].predicate(format))), *expected);
      EXPECT_EQ(serials(filteredArrayUsingPredicate(worlds[0].fetch(entity, nullptr), predicate)),
                *expected);
      if (!worlds[0].store->planQuery(worlds[0].query(entity, predicate)).remainingPredicate) {
        ++translated;
      }
      if (HasFailure()) return;
      if (round % 50 == 0) nameObjects();
    }
    makeWorlds();
  }
  RecordProperty("asked", asked);
  RecordProperty("translated", translated);
  EXPECT_GT(asked, companies * rounds / 2);
  EXPECT_GT(translated * 10, asked * 9) << "most questions have an SQL form";
}

TEST_F(RelationshipPredicateTest, BothStoresSortAsTheObjectsAreSorted) {
  JN_TRACE_SEED(randomness);
  found(24);
  int sorted = 0;
  const int rounds = ::JNFoundation::testing::rounds(300, 10'000);
  for (int round = 0; round < rounds; ++round) {
    const char* entity = entities[below(std::size(entities))];
    std::string described = entity;
    std::vector<Value> descriptors;
    for (std::size_t i = 0; i <= below(3); ++i) {
      const bool isManager = std::string(entity) == "Manager";
      const std::string key = predicates.sortKey(isManager ? "Person" : entity);
      const bool isText = key.size() > 3 && key.compare(key.size() - 4, 4, "name") == 0;
      descriptors.emplace_back(NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
          key, below(2) == 0,
          isText && below(2) == 0 ? SEL("caseInsensitiveCompare:") : SEL("compare:")));
      described += " " + descriptors.back().description()->toStdString();
    }
    SCOPED_TRACE(described);
    const auto order = NSArray::arrayWithValues(descriptors);
    const std::string expected =
        serials(sortedArrayUsingDescriptors(worlds[0].fetch(entity, nullptr), order));
    EXPECT_EQ(serials(worlds[0].fetch(entity, nullptr, order)), expected);
    EXPECT_EQ(serials(worlds[1].fetch(entity, nullptr, order)), expected);
    if (worlds[0].store->planQuery(worlds[0].query(entity, nullptr, order)).sorts) ++sorted;
    if (HasFailure()) return;
  }
  EXPECT_GT(sorted * 6, rounds * 5) << "paths to one have an SQL form";
}

TEST_F(RelationshipPredicateTest, BothStoresAgreeWhileChangesAreUnsaved) {
  JN_TRACE_SEED(randomness);
  for (int company = 0; company < ::JNFoundation::testing::rounds(8, 80); ++company) {
    found(8);
    const std::size_t saved = worlds[0].objects.size();
    for (int i = 0; i < 3; ++i) {
      inBoth([&](World& world) {
        world.objects.push_back(
            NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
                i == 0   ? "Manager"
                : i == 1 ? "Person"
                         : "Task",
                world.context));
        world.objects.back()->setValueForKey(static_cast<int>(saved) + i, "serial");
      });
    }
    for (std::size_t i = 0; i < worlds[0].objects.size(); ++i) {
      if (i < saved && below(3) > 0) continue;
      setRandomValues(i);
      if (below(2) == 0) relateAtRandom(i);
    }
    nameObjects();
    for (int round = 0; round < ::JNFoundation::testing::rounds(150, 1000); ++round) {
      const char* entity = entities[below(std::size(entities))];
      const bool isManager = std::string(entity) == "Manager";
      const std::string format = predicates.predicate(isManager ? "Person" : entity, 2);
      SCOPED_TRACE(std::string(entity) + ": " + format);
      const auto order = NSArray::arrayWithObjects(
          NSSortDescriptor::sortDescriptorWithKeyAscending("serial", true));
      EXPECT_EQ(serials(worlds[0].fetch(entity, worlds[0].predicate(format), order)),
                serials(worlds[1].fetch(entity, worlds[1].predicate(format), order)));
      if (HasFailure()) return;
    }
    makeWorlds();
  }
}

}  // namespace
}  // namespace JNFoundation
