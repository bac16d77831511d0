#include <gtest/gtest.h>
#include <set>

#include "tests/platform/store/NaiveGraph.h"
#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation {
namespace {

using testing::NaiveGraph;
using testing::Randomness;
using Numbers = NaiveGraph::Numbers;

const std::vector<testing::NaiveRelationship> relationships = {
    {"Node", "parent", "Node", false, false, NSNullifyDeleteRule, 1},
    {"Node", "children", "Node", true, false, NSCascadeDeleteRule, 0},
    {"Node", "partner", "Node", false, false, NSNullifyDeleteRule, 2},
    {"Node", "peers", "Node", true, false, NSNullifyDeleteRule, 3},
    {"Node", "owner", "Owner", false, false, NSNullifyDeleteRule, 5},
    {"Owner", "nodes", "Node", true, true, NSNullifyDeleteRule, 4},
    {"Node", "tags", "Tag", true, false, NSNullifyDeleteRule, 7},
    {"Tag", "nodes", "Node", true, true, NSNoActionDeleteRule, 6},
    {"Node", "guard", "Guard", false, false, NSNullifyDeleteRule, 9},
    {"Guard", "kept", "Node", true, false, NSDenyDeleteRule, 8},
    {"Node", "box", "Box", false, false, NSNullifyDeleteRule, 11},
    {"Box", "things", "Node", true, false, NSNoActionDeleteRule, 10},
    {"Owner", "chief", "Node", false, false, NSCascadeDeleteRule, 13},
    {"Node", "leads", "Owner", false, false, NSNullifyDeleteRule, 12},
    {"Owner", "order", "Tag", true, true, NSCascadeDeleteRule, 15},
    {"Tag", "group", "Owner", true, true, NSNullifyDeleteRule, 14},
    // Without a way back.
    {"Owner", "guest", "Node", false, false, NSNullifyDeleteRule, -1},
    {"Box", "lent", "Node", true, false, NSNullifyDeleteRule, -1},
    {"Guard", "rounds", "Owner", true, true, NSNullifyDeleteRule, -1},
};

bool hasRelationship(const char* entity, int number) {
  const std::string owner = relationships[static_cast<std::size_t>(number)].entity;
  return owner == entity || (owner == "Node" && std::string(entity) == "SubNode");
}

Ref<NSManagedObjectModel> graphModel() {
  const char* const names[] = {"Node", "SubNode", "Owner", "Tag", "Guard", "Box"};
  std::map<std::string, Ref<NSEntityDescription>> entities;
  std::map<std::string, std::vector<Value>> properties;
  for (const char* name : names) {
    entities[name] = entityNamed(name, {});
    if (std::string(name) == "SubNode") continue;
    for (const char* attribute : {"uid", "value", "code"}) {
      properties[name].push_back(attributeNamed(attribute, NSInteger32AttributeType));
    }
    entities[name]->setUniquenessConstraints(
        NSArray::arrayWithObject(NSArray::arrayWithObjects("code")));
  }
  std::vector<Ref<NSRelationshipDescription>> made;
  for (const auto& each : relationships) {
    made.push_back(
        relationshipNamed(each.name, entities[each.destination],
                          {.toMany = each.toMany, .ordered = each.ordered, .rule = each.rule}));
    properties[each.entity].emplace_back(made.back());
  }
  for (std::size_t i = 0; i < made.size(); ++i) {
    if (relationships[i].inverse < 0) continue;
    made[i]->setInverseRelationship(made[static_cast<std::size_t>(relationships[i].inverse)]);
  }
  std::vector<Value> roots;
  for (const char* name : names) {
    entities[name]->setProperties(NSArray::arrayWithValues(properties[name]));
    if (std::string(name) != "SubNode") roots.emplace_back(entities[name]);
  }
  entities["Node"]->setSubentities(NSArray::arrayWithObject(entities["SubNode"]));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithValues(roots));
  return model;
}

/// A context is led through random changes, and a naive graph through the same ones.
class RelationshipRandom : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), graphModel()); }

  struct Held {
    /// Null where nobody but the context holds the object.
    Ref<NSManagedObject> object;
    Ref<NSManagedObjectID> identifier;
  };

  Ref<NSManagedObject> object(int number) {
    Held& held = objects[number];
    return held.object ? held.object : context->objectWithID(held.identifier);
  }

  // ---- Looking ----------------------------------------------------------------------------------

  static Numbers numbersOf(const Value& related) {
    Numbers numbers;
    const auto add = [&](const Value& member) {
      numbers.push_back(as<NSManagedObject>(member)->valueForKey("uid").intValue());
    };
    if (const auto* ordered = as<NSOrderedSet>(related)) {
      for (const Value& member : *ordered) add(member);
    } else if (const auto* set = as<NSSet>(related)) {
      for (const Value& member : *set) add(member);
    } else if (isKindOf<NSManagedObject>(related)) {
      add(related);
    }
    return numbers;
  }

  static std::string text(Numbers numbers, int at) {
    const auto& relationship = relationships[static_cast<std::size_t>(at)];
    if (!relationship.ordered) std::sort(numbers.begin(), numbers.end());
    std::string joined;
    for (const int number : numbers) joined += std::to_string(number) + " ";
    return joined;
  }

  void expectAlike(const NaiveGraph& expected, int number, NSManagedObject& found,
                   const char* where) {
    const NaiveGraph::Node& node = expected.nodes.at(number);
    ASSERT_EQ(found.entity()->name()->toStdString(), node.entity) << where << number;
    ASSERT_EQ(found.valueForKey("value").intValue(), node.value) << where << number;
    ASSERT_EQ(found.valueForKey("code").intValue(), node.code) << where << number;
    for (const auto& [at, related] : node.related) {
      const auto& relationship = relationships[static_cast<std::size_t>(at)];
      const Value value = found.valueForKey(relationship.name);
      if (!relationship.toMany && !related.empty() && expected.nodes.count(related.front()) == 0) {
        // What the rule that asks for nothing has left behind.
        ASSERT_TRUE(isKindOf<NSManagedObject>(value)) << where << number << relationship.name;
        continue;
      }
      ASSERT_EQ(text(numbersOf(value), at), text(related, at))
          << where << " object " << number << ", relationship " << relationship.name;
    }
  }

  void expectContextAlike() {
    context->processPendingChanges();
    graph.process();
    for (const auto& [number, node] : graph.nodes) {
      if (node.isDeleted) continue;
      expectAlike(graph, number, *object(number), "in the context: ");
      if (HasFatalFailure()) return;
    }
  }

  void expectStoreAlike() {
    auto fresh = newContext();
    NSUInteger expected = 0, found = 0;
    for (const char* entity : {"Node", "Owner", "Tag", "Guard", "Box"}) {
      const Ref<NSArray> all = fresh->executeFetchRequestError(request(entity));
      ASSERT_TRUE(all);
      found += all->count();
      for (const Value& value : *all) {
        auto& each = *as<NSManagedObject>(value);
        const int number = each.valueForKey("uid").intValue();
        const NaiveGraph& naive = island.nodes.count(number) > 0 ? island : committed;
        ASSERT_EQ(naive.nodes.count(number), 1u) << "no object " << number << " was saved";
        expectAlike(naive, number, each, "in the store: ");
        if (HasFatalFailure()) return;
      }
    }
    expected = committed.nodes.size() + island.nodes.size();
    ASSERT_EQ(found, expected);
  }

  void expectCommittedValues(int number) {
    const auto before = committed.nodes.find(number);
    if (before == committed.nodes.end()) return;
    const auto values = object(number)->committedValuesForKeys(nullptr);
    for (const auto& [at, related] : before->second.related) {
      const auto& relationship = relationships[static_cast<std::size_t>(at)];
      const bool isLeftBehind =
          !relationship.toMany && !related.empty() && committed.nodes.count(related.front()) == 0;
      if (isLeftBehind) continue;
      ASSERT_EQ(text(numbersOf(values->objectForKey(relationship.name)), at), text(related, at))
          << "before the changes: object " << number << ", relationship " << relationship.name;
    }
  }

  // ---- Changing ---------------------------------------------------------------------------------

  int make(NaiveGraph& naive, const Ref<NSManagedObjectContext>& in, const char* entity) {
    const int number = ++lastNumber;
    NaiveGraph::Node node;
    node.entity = entity;
    for (int at = 0; at < static_cast<int>(relationships.size()); ++at) {
      if (hasRelationship(entity, at)) node.related[at];
    }
    naive.nodes[number] = node;
    auto made =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, in);
    made->setValueForKey(number, "uid");
    made->setValueForKey(0, "value");
    objects[number] = {made, nullptr};
    return number;
  }

  /// Any object of an entity that is not deleted, or, rarely, is; 0 if there is none.
  int any(const char* entity) {
    Numbers candidates;
    const bool takesDeleted = random.below(20) == 0;
    for (const auto& [number, node] : graph.nodes) {
      const bool fits = std::string(entity) == "" || std::string(node.entity) == entity ||
                        (std::string(entity) == "Node" && std::string(node.entity) == "SubNode");
      if (fits && (takesDeleted || !node.isDeleted)) candidates.push_back(number);
    }
    return candidates.empty() ? 0 : candidates[random.below(candidates.size())];
  }

  void changeOneRelationship() {
    const int at = static_cast<int>(random.below(relationships.size()));
    const auto& relationship = relationships[static_cast<std::size_t>(at)];
    const int from = any(relationship.entity), to = any(relationship.destination);
    if (from == 0 || to == 0) return;
    if (relationship.toMany) {
      changeMembers(from, at, to);
    } else if (random.below(4) == 0) {
      object(from)->setValueForKey(nullptr, relationship.name);
      const Numbers former = graph.list(from, at);
      for (const int each : former) graph.part(from, at, each);
    } else {
      object(from)->setValueForKey(object(to), relationship.name);
      graph.relate(from, at, to);
    }
  }

  void changeMembers(int from, int at, int to) {
    const auto& relationship = relationships[static_cast<std::size_t>(at)];
    const auto owner = object(from), other = object(to);
    if (random.below(4) == 0) return replaceMembers(from, at);
    if (!relationship.ordered) {
      auto live = owner->mutableSetValueForKey(relationship.name);
      if (random.below(2) == 0) {
        ASSERT_EQ(live->count(), graph.list(from, at).size());
      }
      if (random.below(3) > 0) {
        live->addObject(other);
        graph.relate(from, at, to);
      } else {
        live->removeObject(other);
        graph.part(from, at, to);
      }
      return;
    }
    auto live = owner->mutableOrderedSetValueForKey(relationship.name);
    Numbers& list = graph.list(from, at);
    ASSERT_EQ(live->count(), list.size());
    const auto known = std::find(list.begin(), list.end(), to);
    if (known != list.end() && random.below(2) == 0) {
      live->removeObject(other);
      graph.part(from, at, to);
    } else if (known != list.end()) {
      const auto first = static_cast<NSUInteger>(known - list.begin());
      const auto second = static_cast<NSUInteger>(random.below(list.size()));
      exchange(*live, from, at, first, second);
    } else {
      const auto index = static_cast<NSUInteger>(random.below(list.size() + 1));
      live->insertObjectAtIndex(other, index);
      graph.relate(from, at, to);
      Numbers& now = graph.list(from, at);
      now.pop_back();
      now.insert(now.begin() + static_cast<std::ptrdiff_t>(index), to);
    }
  }

  /// The live set takes both out and puts them in again, so that they join the other ends last.
  void exchange(NSMutableOrderedSet& live, int from, int at, NSUInteger first, NSUInteger second) {
    live.exchangeObjectAtIndexWithObjectAtIndex(first, second);
    if (first == second) return;
    Numbers wanted = graph.list(from, at);
    std::swap(wanted[first], wanted[second]);
    const Numbers moved{wanted[std::min(first, second)], wanted[std::max(first, second)]};
    for (const int each : moved) graph.part(from, at, each);
    for (const int each : moved) graph.relate(from, at, each);
    graph.list(from, at) = wanted;
  }

  void replaceMembers(int from, int at) {
    const auto& relationship = relationships[static_cast<std::size_t>(at)];
    Numbers wanted;
    for (std::uint64_t i = random.below(5); i > 0; --i) {
      const int each = any(relationship.destination);
      if (each != 0 && std::find(wanted.begin(), wanted.end(), each) == wanted.end()) {
        wanted.push_back(each);
      }
    }
    std::vector<Value> members;
    for (const int each : wanted) members.emplace_back(object(each));
    if (relationship.ordered) {
      object(from)->setValueForKey(NSOrderedSet::orderedSetWithValues(members), relationship.name);
    } else {
      object(from)->setValueForKey(NSSet::setWithValues(members), relationship.name);
    }
    graph.replace(from, at, wanted);
  }

  void changeCode() {
    const int one = any("");
    if (one == 0) return;
    const int code = random.below(3) == 0 ? 0 : static_cast<int>(random.between(1, 40));
    int previous = graph.nodes[one].code;
    const auto set = [&](int number, int to) {
      graph.nodes[number].code = to;
      object(number)->setValueForKey(to == 0 ? Value() : Value(to), "code");
    };
    // Mostly the one that has it gets the other's for it.
    for (auto& [number, node] : graph.nodes) {
      const bool isSame = code != 0 && node.code == code && number != one;
      if (isSame && random.below(8) != 0) set(number, std::exchange(previous, 0));
    }
    set(one, code);
  }

  static std::string familyOf(const NaiveGraph::Node& node) {
    return std::string(node.entity) == "SubNode" ? "Node" : node.entity;
  }

  /// The objects whose code another one of their kind has as well.
  Numbers repetitions() {
    Numbers found;
    std::set<std::pair<std::string, int>> codes;
    for (const NaiveGraph* naive : {&island, &graph}) {
      for (const auto& [number, node] : naive->nodes) {
        if (node.isDeleted || node.code == 0) continue;
        if (!codes.emplace(familyOf(node), node.code).second) found.push_back(number);
      }
    }
    return found;
  }

  void remove() {
    const int number = any("");
    if (number == 0) return;
    context->deleteObject(object(number));
    graph.remove(number);
    forgetDropped();
  }

  void takeBackADeletion() {
    Numbers deleted;
    for (const auto& [number, node] : graph.nodes) {
      if (node.isDeleted) deleted.push_back(number);
    }
    if (deleted.empty()) return;
    const int number = deleted[random.below(deleted.size())];
    context->insertObject(object(number));
    graph.nodes[number].isDeleted = false;
  }

  /// Lets go of what the graph has forgotten.
  void forgetDropped() {
    std::erase_if(objects, [&](const auto& entry) {
      return graph.nodes.count(entry.first) == 0 && island.nodes.count(entry.first) == 0;
    });
  }

  void obtainPermanentIDs() {
    std::vector<Value> some;
    for (const auto& [number, node] : graph.nodes) {
      if (!node.isSaved && random.below(2) == 0) some.emplace_back(object(number));
    }
    Ref<NSError> error;
    ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithValues(some), &error));
  }

  // ---- Saving -----------------------------------------------------------------------------------

  void save() {
    context->processPendingChanges();
    graph.process();
    forgetDropped();
    Ref<NSError> error;
    for (int attempt = 0; attempt < 3; ++attempt) {
      graph.letGoOfAdded(committed);
      const bool isDenied = graph.isDenied();
      const Numbers repeated = repetitions();
      const bool isSaved = context->save(&error);
      ASSERT_EQ(isSaved, !isDenied && repeated.empty()) << StoreTest::text(error);
      if (isSaved) break;
      const NSInteger code = error->code();
      ASSERT_TRUE(isDenied ? code == 1600 || code == 1560 : code == 133021)
          << StoreTest::text(error);
      // Everything is as it was, and what stands in the way can be mended.
      ASSERT_NO_FATAL_FAILURE(expectContextAlike());
      if (isDenied) {
        if (random.below(2) == 0) return rollback();
        for (auto& [number, node] : graph.nodes) {
          if (!node.isDeleted || std::string(node.entity) != "Guard") continue;
          context->insertObject(object(number));
          node.isDeleted = false;
        }
        continue;
      }
      for (const int number : repeated) {
        graph.nodes[number].code = 0;
        object(number)->setValueForKey(nullptr, "code");
      }
    }
    ASSERT_FALSE(context->hasChanges());
    graph.settle();
    committed = graph;
    forgetDropped();
    for (auto& [number, held] : objects) {
      if (island.nodes.count(number) > 0) continue;
      if (!held.object) continue;
      held.identifier = held.object->objectID();
      ASSERT_FALSE(held.identifier->isTemporaryID());
      if (random.below(2) == 0) held.object = nullptr;
    }
    ASSERT_NO_FATAL_FAILURE(expectContextAlike());
    ASSERT_NO_FATAL_FAILURE(expectStoreAlike());
  }

  void rollback() {
    context->rollback();
    ASSERT_FALSE(context->hasChanges());
    graph = committed;
    forgetDropped();
    ASSERT_NO_FATAL_FAILURE(expectContextAlike());
  }

  void reset() {
    context->reset();
    graph = committed;
    forgetDropped();
    for (auto& [number, held] : objects) {
      if (graph.nodes.count(number) > 0) held.object = nullptr;
    }
  }

  /// Another context saves objects of its own meanwhile.
  void saveElsewhere() {
    auto other = newContext();
    const int parent = make(island, other, "Node");
    const int child = make(island, other, "SubNode"), owner = make(island, other, "Owner");
    objects[child].object->setValueForKey(objects[parent].object, "parent");
    objects[owner].object->mutableOrderedSetValueForKey("nodes")->addObject(objects[child].object);
    island.relate(child, 0, parent);
    island.relate(owner, 5, child);
    ASSERT_TRUE(other->save());
    for (const int number : {parent, child, owner}) {
      objects.erase(number);
      island.nodes[number].isSaved = true;
    }
  }

  /// Another context saves what this one is about to.
  void saveTheSameElsewhere() {
    const int number = any("");
    if (number == 0 || committed.nodes.count(number) == 0) return;
    const auto ours = object(number);
    ours->valueForKey("value");
    auto other = newContext();
    other->objectWithID(ours->objectID())->setValueForKey(++lastValue, "value");
    ASSERT_TRUE(other->save());
    committed.nodes[number].value = lastValue;
    ours->setValueForKey(++lastValue, "value");
    graph.nodes[number].value = lastValue;
    context->processPendingChanges();
    graph.process();
    graph.letGoOfAdded(committed);
    forgetDropped();
    const bool isInvalid = graph.isDenied();
    Ref<NSError> error;
    ASSERT_FALSE(context->save(&error));
    ASSERT_TRUE(isInvalid || error->code() == 133020 || error->code() == 133021)
        << StoreTest::text(error);
    ASSERT_NO_FATAL_FAILURE(expectContextAlike());
    reset();
  }

  void step() {
    static const char* const entities[] = {"Node", "Node", "SubNode", "Owner",
                                           "Tag",  "Tag",  "Guard",   "Box"};
    const std::uint64_t choice = random.below(100);
    if (choice < 12) {
      if (graph.nodes.size() < 30) make(graph, context, entities[random.below(8)]);
    } else if (choice < 62) {
      changeOneRelationship();
    } else if (choice < 70) {
      changeCode();
    } else if (choice < 76) {
      remove();
    } else if (choice < 79) {
      takeBackADeletion();
    } else if (choice < 82) {
      context->processPendingChanges();
      graph.process();
      forgetDropped();
    } else if (choice < 84) {
      obtainPermanentIDs();
    } else if (choice < 87) {
      expectContextAlike();
    } else if (choice < 90) {
      if (const int number = any(""); number != 0) expectCommittedValues(number);
    } else if (choice < 92) {
      rollback();
    } else if (choice < 93) {
      reset();
    } else if (choice < 94) {
      if (island.nodes.size() < 60) saveElsewhere();
    } else if (choice < 95) {
      saveTheSameElsewhere();
    } else {
      save();
    }
  }

  Randomness random;
  NaiveGraph graph{relationships}, committed{relationships}, island{relationships};
  std::map<int, Held> objects;
  int lastNumber = 0, lastValue = 0;
};
FOR_EVERY_STORE(RelationshipRandom);

TEST_P(RelationshipRandom, TheContextTheStoreAndANaiveGraphAgree) {
  JN_TRACE_SEED(random);
  for (int i = testing::rounds(4000, 1'000'000); i > 0; --i) {
    ASSERT_NO_FATAL_FAILURE(step()) << i << " steps before the end";
    if (i % 2000 != 0) continue;
    const Ref<NSArray> errors = coordinator->integrityErrorsOfPersistentStoreError(store);
    ASSERT_TRUE(errors);
    ASSERT_EQ(errors->count(), 0u) << errors->description()->utf8();
  }
}

}  // namespace
}  // namespace JNFoundation
