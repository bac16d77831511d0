#include "../text/Randomness.h"
#include "tests/platform/store/NaiveContexts.h"
#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>

namespace JNFoundation {
namespace {

using naive::nobody;
using naive::Pair;
using naive::Record;
using naive::State;
using naive::Store;
using naive::Uid;
using naive::View;
using testing::Randomness;
using testing::rounds;

/// Item (uid, value, tag; parent ⇄ children, friends ⇄ friends) in one store, Note (uid, value,
/// tag) in another.
Ref<NSManagedObjectModel> itemModel() {
  const auto number = [](const char* name) {
    return Value(attributeNamed(name, NSInteger64AttributeType));
  };
  auto item = entityNamed("Item", {});
  auto note = entityNamed("Note", {number("uid"), number("value"), number("tag")});
  auto parent = relationshipNamed("parent", item);
  auto children = relationshipNamed("children", item, {.toMany = true});
  auto friends = relationshipNamed("friends", item, {.toMany = true});
  pairUp(parent, children);
  friends->setInverseRelationship(friends);
  item->setProperties(NSArray::arrayWithObjects(number("uid"), number("value"), number("tag"),
                                                Value(parent), Value(children), Value(friends)));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(item, note));
  model->setEntitiesForConfiguration(NSArray::arrayWithObject(Value(item)), "Items");
  model->setEntitiesForConfiguration(NSArray::arrayWithObject(Value(note)), "Notes");
  return model;
}

/// A context and what it ought to have.
struct Bench {
  Ref<NSManagedObjectContext> context;
  View view;
  std::map<Uid, Ref<NSManagedObject>> objects;
  /// Saves of others that it has yet to merge.
  std::vector<Ref<NSNotification>> pending;
};

class ContextRandomTest : public ::testing::TestWithParam<const char*> {
 protected:
  void run(int steps);

  void open(const char* type) {
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(itemModel());
    for (const char* name : {"Items", "Notes"}) {
      Ref<NSError> error;
      ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          type, name, NSURL::fileURLWithPath(directory.file(name)), nullptr, &error))
          << error->description()->utf8();
    }
  }

  Ref<NSManagedObjectContext> newContext() const {
    auto made = NSManagedObjectContext::init();
    made->setPersistentStoreCoordinator(coordinator);
    return made;
  }

  static std::int64_t number(const Ref<NSManagedObject>& object, const char* key) {
    return object->valueForKey(key).longLongValue();
  }
  static Uid uidOf(const Value& object) {
    return object.isNull() ? nobody
                           : as<NSManagedObject>(object)->valueForKey("uid").longLongValue();
  }
  static std::vector<Uid> uidsOf(const Value& set) {
    std::vector<Uid> uids;
    for (const Value& object : *as<NSSet>(set)) uids.push_back(uidOf(object));
    std::sort(uids.begin(), uids.end());
    return uids;
  }

  /// Has what the object leads to read, so that it does not change any more by itself.
  static void lookAt(const Ref<NSManagedObject>& object) {
    if (object->entity()->name()->utf8() != "Item") return;
    object->valueForKey("children");
    object->valueForKey("friends");
  }
  /// Every object of a context with everything that it leads to, read now.
  static std::map<Uid, Ref<NSManagedObject>> readAll(const Ref<NSManagedObjectContext>& context) {
    std::map<Uid, Ref<NSManagedObject>> objects;
    for (const char* entity : {"Item", "Note"}) {
      const Ref<NSArray> found =
          context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName(entity));
      for (const Value& value : *found) {
        Ref<NSManagedObject> object(as<NSManagedObject>(value));
        objects.emplace(uidOf(value), object);
        lookAt(object);
      }
    }
    return objects;
  }

  static void expectAlike(const std::map<Uid, Ref<NSManagedObject>>& objects, const State& state,
                          const char* where) {
    SCOPED_TRACE(where);
    ASSERT_EQ(objects.size(), state.records.size());
    for (const auto& [uid, record] : state.records) {
      const auto found = objects.find(uid);
      ASSERT_NE(found, objects.end()) << uid;
      const Ref<NSManagedObject>& object = found->second;
      ASSERT_EQ(number(object, "value"), record.value) << uid;
      ASSERT_EQ(number(object, "tag"), record.tag) << uid;
      if (record.isNote) continue;
      ASSERT_EQ(uidOf(object->valueForKey("parent")), record.parent) << uid;
      ASSERT_EQ(uidsOf(object->valueForKey("children")), state.childrenOf(uid)) << uid;
      ASSERT_EQ(uidsOf(object->valueForKey("friends")), state.friendsOf(uid)) << uid;
    }
  }

  /// A fetch with predicate, sort and limit beside the same over the naive state.
  void expectFetched(const Ref<NSManagedObjectContext>& context, const State& state) {
    const std::int64_t least = random.between(0, 9);
    const NSUInteger limit = random.below(4), offset = random.below(3);
    auto request = NSFetchRequest::fetchRequestWithEntityName("Item");
    request->setPredicate(NSPredicate::predicateWithFormat(
        "value >= %@ AND (parent == nil OR parent.value < 7)", least));
    request->setSortDescriptors(
        NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("value", false),
                                  NSSortDescriptor::sortDescriptorWithKeyAscending("uid", true)));
    request->setFetchLimit(limit);
    request->setFetchOffset(offset);
    std::vector<Uid> expected;
    for (const auto& [uid, record] : state.records) {
      if (record.isNote || record.value < least) continue;
      if (record.parent != nobody && state.records.at(record.parent).value >= 7) continue;
      expected.push_back(uid);
    }
    std::sort(expected.begin(), expected.end(), [&](Uid left, Uid right) {
      const std::int64_t one = state.records.at(left).value, other = state.records.at(right).value;
      return one != other ? one > other : left < right;
    });
    expected.erase(expected.begin(),
                   expected.begin() +
                       static_cast<std::ptrdiff_t>(std::min<std::size_t>(offset, expected.size())));
    if (limit > 0 && expected.size() > limit) expected.resize(limit);
    Ref<NSError> error;
    const Ref<NSArray> found = context->executeFetchRequestError(request, &error);
    ASSERT_TRUE(found) << error->description()->utf8();
    std::vector<Uid> uids;
    for (const Value& object : *found) uids.push_back(uidOf(object));
    ASSERT_EQ(uids, expected);
  }

  std::optional<Uid> anyOf(const State& state, bool mayBeNote) {
    std::vector<Uid> uids;
    for (const auto& [uid, record] : state.records) {
      if (mayBeNote || !record.isNote) uids.push_back(uid);
    }
    if (uids.empty()) return std::nullopt;
    return uids[random.below(uids.size())];
  }

  // ---- One change, in a context and in a naive state --------------------------------------------

  void insert(const Ref<NSManagedObjectContext>& context,
              std::map<Uid, Ref<NSManagedObject>>& objects, State& state) {
    if (state.records.size() >= 24) return;
    const Uid uid = ++lastUid;
    Record record;
    record.isNote = random.below(5) == 0;
    record.value = random.between(0, 9);
    auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        record.isNote ? "Note" : "Item", context);
    object->setValueForKey(uid, "uid");
    object->setValueForKey(record.value, "value");
    object->setValueForKey(0, "tag");
    lookAt(object);
    objects.emplace(uid, object);
    state.records.emplace(uid, record);
  }

  void edit(std::map<Uid, Ref<NSManagedObject>>& objects, State& state) {
    const auto uid = anyOf(state, true);
    if (!uid) return;
    const std::int64_t value = random.between(0, 9);
    const bool isTag = random.below(2) == 0;
    objects.at(*uid)->setValueForKey(value, isTag ? "tag" : "value");
    (isTag ? state.records.at(*uid).tag : state.records.at(*uid).value) = value;
  }

  void relate(std::map<Uid, Ref<NSManagedObject>>& objects, State& state) {
    const auto one = anyOf(state, false), other = anyOf(state, false);
    if (!one) return;
    const Ref<NSManagedObject>&a = objects.at(*one), &b = objects.at(*other);
    switch (random.below(5)) {
      case 0:
        a->setValueForKey(b, "parent");
        state.records.at(*one).parent = *other;
        break;
      case 1:
        a->setValueForKey(nullptr, "parent");
        state.records.at(*one).parent = nobody;
        break;
      case 2:
        a->mutableSetValueForKey("children")->addObject(Value(b));
        state.records.at(*other).parent = *one;
        break;
      case 3:
        a->mutableSetValueForKey("friends")->addObject(Value(b));
        state.friends.insert(naive::pairOf(*one, *other));
        break;
      default:
        a->mutableSetValueForKey("friends")->removeObject(Value(b));
        state.friends.erase(naive::pairOf(*one, *other));
        break;
    }
  }

  void remove(const Ref<NSManagedObjectContext>& context,
              std::map<Uid, Ref<NSManagedObject>>& objects, State& state) {
    const auto uid = anyOf(state, true);
    if (!uid) return;
    context->deleteObject(objects.at(*uid));
    context->processPendingChanges();
    objects.erase(*uid);
    state.remove(*uid);
  }

  void change(const Ref<NSManagedObjectContext>& context,
              std::map<Uid, Ref<NSManagedObject>>& objects, State& state) {
    switch (random.below(8)) {
      case 0:
      case 1:
        insert(context, objects, state);
        break;
      case 2:
        remove(context, objects, state);
        break;
      case 3:
      case 4:
        edit(objects, state);
        break;
      default:
        relate(objects, state);
        break;
    }
  }

  // ---- What contexts do with their changes ------------------------------------------------------

  void merge(Bench& bench) {
    for (const Ref<NSNotification>& notification : std::exchange(bench.pending, {})) {
      bench.context->mergeChangesFromContextDidSaveNotification(notification);
    }
    bench.view.merge(store);
    bench.objects = readAll(bench.context);
    expectAlike(bench.objects, bench.view.now, "after a merge");
  }

  void save(Bench& bench) {
    const bool isToFail = bench.view.hasChanges() && bench.view.conflictsWith(store);
    Ref<NSError> error;
    saver = &bench;
    const bool isSaved = bench.context->save(&error);
    saver = nullptr;
    ASSERT_EQ(isSaved, !isToFail) << (error ? error->description()->utf8() : "no error");
    if (!isSaved) {
      ASSERT_TRUE(error->code() == NSManagedObjectMergeError ||
                  error->code() == NSManagedObjectReferentialIntegrityError)
          << error->description()->utf8();
      // Nothing was lost: what was changed is there still, and goes on top of what others saved.
      expectAlike(bench.objects, bench.view.now, "after a failed save");
      merge(bench);
      return;
    }
    bench.view.save(store);
    const Ref<NSManagedObjectContext> fresh = newContext();
    expectAlike(readAll(fresh), store.state, "in the store");
  }

  void rollback(Bench& bench) {
    bench.context->rollback();
    bench.view.now = bench.view.base;
    // What is met again has been read before; what was deleted is the same object.
    bench.objects = readAll(bench.context);
    if (bench.pending.empty())
      expectAlike(bench.objects, bench.view.now, "after a rollback");
    else
      merge(bench);
  }

  void reset(Bench& bench) {
    bench.objects.clear();
    bench.context->reset();
    bench.pending.clear();
    bench.view.read(store);
    bench.objects = readAll(bench.context);
    expectAlike(bench.objects, bench.view.now, "after a reset");
  }

  /// Some changes in a child, which the parent gets or not, while it goes on itself.
  void useChild(Bench& bench) {
    if (!bench.pending.empty()) merge(bench);
    auto child = NSManagedObjectContext::init();
    child->setParentContext(bench.context);
    std::map<Uid, Ref<NSManagedObject>> objects = readAll(child);
    State state = bench.view.now;
    expectAlike(objects, state, "in a child");
    const State before = state;
    const std::uint64_t count = random.below(6);
    for (std::uint64_t i = 0; i < count; ++i) change(child, objects, state);
    expectAlike(objects, state, "in a changed child");
    expectFetched(child, state);
    if (random.below(4) == 0) return;
    // A property that the child has not touched may be changed above meanwhile.
    std::optional<Uid> edited;
    if (random.below(2) == 0) edited = anyOf(bench.view.now, true);
    if (edited && state.has(*edited)) {
      const std::int64_t tag = random.between(0, 9);
      bench.objects.at(*edited)->setValueForKey(tag, "tag");
      bench.view.now.records.at(*edited).tag = tag;
      if (state.records.at(*edited).tag == before.records.at(*edited).tag) {
        state.records.at(*edited).tag = tag;
      }
    }
    Ref<NSError> error;
    ASSERT_TRUE(child->save(&error)) << error->description()->utf8();
    bench.view.now = state;
    bench.objects = readAll(bench.context);
    expectAlike(bench.objects, bench.view.now, "in the parent of a child that was saved");
  }

  void step(Bench& bench) {
    switch (random.below(24)) {
      case 0:
      case 1:
        save(bench);
        break;
      case 2:
        rollback(bench);
        break;
      case 3:
        if (random.below(3) == 0) reset(bench);
        break;
      case 4:
      case 5:
        merge(bench);
        break;
      case 6:
        useChild(bench);
        break;
      case 7:
        if (bench.pending.empty()) expectFetched(bench.context, bench.view.now);
        break;
      default:
        change(bench.context, bench.objects, bench.view.now);
        break;
    }
  }

  Randomness random;
  TemporaryDirectory directory;
  MainQueueScope queue;
  Ref<NSPersistentStoreCoordinator> coordinator;
  Store store;
  Uid lastUid = 0;
  std::vector<Bench> benches;
  Bench* saver = nullptr;
};

void ContextRandomTest::run(int steps) {
  JN_TRACE_SEED(random);
  open(GetParam());
  benches.resize(3);
  std::vector<Ref<NSObject>> observers;
  for (Bench& bench : benches) {
    bench.context = newContext();
    observers.push_back(NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
        NSManagedObjectContextDidSaveNotification, Value(bench.context),
        [this](const Ref<NSNotification>& notification) {
          for (Bench& other : benches) {
            if (&other != saver) other.pending.push_back(notification);
          }
        }));
  }
  for (int i = 0; i < steps && !HasFatalFailure(); ++i) {
    SCOPED_TRACE("step " + std::to_string(i));
    step(benches[random.below(benches.size())]);
    if (i % 8 == 0)
      NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }
  for (const Ref<NSObject>& observer : observers) {
    NSNotificationCenter::defaultCenter()->removeObserver(observer);
  }
  benches.clear();
}

TEST_P(ContextRandomTest, ContextsDoWhatPlainOnesWouldDo) { run(rounds(10000, 500000)); }

INSTANTIATE_TEST_SUITE_P(Stores, ContextRandomTest,
                         ::testing::Values(NSSQLiteStoreType, NSInMemoryStoreType), nameOfStore);

}  // namespace
}  // namespace JNFoundation
