#pragma once

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSConstraintConflict.h>
#include <JNFoundation/platform/store/NSMergeConflict.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>

namespace JNFoundation {

/// Item (code, unique; a, b; n, 7 by default, at most a million; memo, transient; below it Special:
/// serial, unique): box ⇄ Box.items, desk ⇄ Desk.item (one to one), tags ⇄ Tag.items. Box (name):
/// parts (cascade) ⇄ Part.box. Reader (name): item, list (Item, many), both without a way back.
inline Ref<NSManagedObjectModel> itemModel() {
  auto number = attributeNamed("n", NSInteger64AttributeType);
  number->setDefaultValue(7);
  number->setMaximumValue(1000000);
  auto memo = attributeNamed("memo", NSStringAttributeType);
  memo->setTransient(true);
  const auto named = [](const char* name) {
    return entityNamed(name, {attributeNamed("name", NSStringAttributeType)});
  };
  auto item = entityNamed("Item", {attributeNamed("code", NSStringAttributeType),
                                   attributeNamed("a", NSStringAttributeType),
                                   attributeNamed("b", NSStringAttributeType), number, memo});
  auto special = entityNamed("Special", {attributeNamed("serial", NSInteger32AttributeType)});
  item->setSubentities(NSArray::arrayWithObjects(special));
  const auto unique = [](const char* name) {
    return NSArray::arrayWithObjects(NSArray::arrayWithObjects(Value(name)));
  };
  item->setUniquenessConstraints(unique("code"));
  special->setUniquenessConstraints(unique("serial"));
  auto box = named("Box"), desk = named("Desk"), tag = named("Tag"), part = named("Part"),
       reader = named("Reader");
  const RelationshipOptions many{.toMany = true};
  auto itemBox = relationshipNamed("box", box), boxItems = relationshipNamed("items", item, many);
  pairUp(itemBox, boxItems);
  auto itemDesk = relationshipNamed("desk", desk), deskItem = relationshipNamed("item", item);
  pairUp(itemDesk, deskItem);
  auto itemTags = relationshipNamed("tags", tag, many),
       tagItems = relationshipNamed("items", item, many);
  pairUp(itemTags, tagItems);
  auto boxParts = relationshipNamed("parts", part, {.toMany = true, .rule = NSCascadeDeleteRule});
  auto partBox = relationshipNamed("box", box);
  pairUp(boxParts, partBox);
  const auto add = [](const Ref<NSEntityDescription>& entity, std::vector<Value> more) {
    std::vector<Value> all;
    for (const auto& property : entity->ownProperties()) all.emplace_back(property);
    all.insert(all.end(), more.begin(), more.end());
    entity->setProperties(NSArray::arrayWithValues(std::move(all)));
  };
  add(item, {itemBox, itemDesk, itemTags});
  add(box, {boxItems, boxParts});
  add(desk, {deskItem});
  add(tag, {tagItems});
  add(part, {partBox});
  add(reader, {relationshipNamed("item", item), relationshipNamed("list", item, many)});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(item, box, desk, tag, part, reader));
  return model;
}

/// Two contexts that get in each other's way: over one coordinator, in either kind of store, or
/// over one file with a coordinator each.
class MergeTest : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  static constexpr const char* twoCoordinators = "TwoCoordinators";

  void SetUp() override {
    const bool isShared = GetParam() == std::string(twoCoordinators);
    open(isShared ? NSSQLiteStoreType : GetParam(), itemModel());
    if (!isShared) {
      other = newContext();
      return;
    }
    second = NSPersistentStoreCoordinator::initWithManagedObjectModel(itemModel());
    ASSERT_TRUE(second->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, store->URL(), nullptr, nullptr));
    other = NSManagedObjectContext::init();
    other->setPersistentStoreCoordinator(second);
  }

  static Ref<NSMergePolicy> policy(NSMergePolicyType type) {
    return NSMergePolicy::initWithMergeType(type);
  }

  Ref<NSManagedObject> saved(const char* entity, std::vector<NSDictionary::Pair> values = {}) {
    auto object = insert(entity, std::move(values));
    save();
    return object;
  }

  static Ref<NSManagedObject> insertIn(const Ref<NSManagedObjectContext>& where, const char* entity,
                                       std::vector<NSDictionary::Pair> values = {}) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, where);
    for (const auto& pair : values) object->setValueForKey(pair.value, pair.key.stringValue());
    return object;
  }

  /// The same record in another context.
  static Ref<NSManagedObject> same(const Ref<NSManagedObject>& object,
                                   const Ref<NSManagedObjectContext>& where) {
    Ref<NSError> error;
    auto found = where->existingObjectWithIDError(object->objectID(), &error);
    EXPECT_TRUE(found) << text(error);
    return found;
  }
  Ref<NSManagedObject> theirs(const Ref<NSManagedObject>& object) { return same(object, other); }
  /// As it is in the store.
  Ref<NSManagedObject> anew(const Ref<NSManagedObject>& object) {
    keptAlive.push_back(newContext());
    return same(object, keptAlive.back());
  }
  bool isInStore(const Ref<NSManagedObjectID>& identifier) {
    return newContext()->existingObjectWithIDError(identifier) != nullptr;
  }

  /// What somebody else does to the record meanwhile.
  void changeOutside(const Ref<NSManagedObject>& object, std::vector<NSDictionary::Pair> values) {
    auto found = theirs(object);
    ASSERT_TRUE(found);
    for (const auto& pair : values) found->setValueForKey(pair.value, pair.key.stringValue());
    saveOther();
  }
  void deleteOutside(const Ref<NSManagedObject>& object) {
    other->deleteObject(theirs(object));
    saveOther();
  }
  void saveOther() {
    Ref<NSError> error;
    ASSERT_TRUE(other->save(&error)) << text(error);
    other->reset();
  }

  static std::string value(const Ref<NSManagedObject>& object, const char* key) {
    const Value found = object->valueForKey(key);
    return found.isNull() ? "-" : found.description()->toStdString();
  }
  /// a, b and n.
  static std::string values(const Ref<NSManagedObject>& object) {
    return value(object, "a") + " " + value(object, "b") + " " + value(object, "n");
  }
  /// The names or codes of what a relationship leads to.
  static std::string ends(const Ref<NSManagedObject>& object, const char* key) {
    const Value found = object->valueForKey(key);
    std::vector<std::string> names;
    const auto add = [&](NSManagedObject& member) {
      const bool isItem = member.entity()->attributesByName()->objectForKey("code").object();
      names.push_back(value(Ref<NSManagedObject>(&member), isItem ? "code" : "name"));
    };
    if (auto* one = as<NSManagedObject>(found)) add(*one);
    if (const auto* set = as<NSSet>(found)) {
      for (const Value& member : *set) add(*as<NSManagedObject>(member));
    }
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : " ") + name;
    return joined;
  }
  /// The codes in the store, in order.
  std::string codes() {
    const Ref<NSArray> found = newContext()->executeFetchRequestError(
        request("Item", NSPredicate::predicateWithFormat("code != nil"), {by("code")}));
    std::string joined;
    for (const Value& each : *found) {
      joined += (joined.empty() ? "" : " ") + value(Ref(as<NSManagedObject>(each)), "code");
    }
    return joined;
  }

  Ref<NSError> failedSave() {
    Ref<NSError> error;
    EXPECT_FALSE(context->save(&error));
    return error;
  }
  NSInteger codeOfSave() {
    Ref<NSError> error;
    return context->save(&error) ? 0 : error->code();
  }
  /// Nothing is left to save, and the versions are the store's.
  void expectSettled(const Ref<NSManagedObject>& object) {
    EXPECT_FALSE(context->hasChanges());
    EXPECT_FALSE(object->hasChanges());
    const auto kept = context->mergePolicy();
    context->setMergePolicy(nullptr);
    object->setValueForKey("settled", "a");
    EXPECT_EQ(codeOfSave(), 0);
    context->setMergePolicy(kept);
  }

  Ref<NSPersistentStoreCoordinator> second;
  Ref<NSManagedObjectContext> other;
  std::vector<Ref<NSManagedObjectContext>> keptAlive;
};

#define FOR_EVERY_PAIR_OF_CONTEXTS(Suite) \
  INSTANTIATE_TEST_SUITE_P(               \
      Contexts, Suite,                    \
      ::testing::Values(NSSQLiteStoreType, NSInMemoryStoreType, "TwoCoordinators"), nameOfStore)

}  // namespace JNFoundation
