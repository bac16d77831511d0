#include <gtest/gtest.h>
#include <map>
#include <optional>

#include "tests/platform/store/MergeFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/platform/store/NSMergePolicy.h>

namespace JNFoundation {
namespace {

using testing::Randomness;

/// An item's values; 0 stands for null.
struct Plain {
  int code = 0;
  int a = 0;
  int b = 0;
  int n = 7;
  int box = 0;

  friend bool operator==(const Plain&, const Plain&) = default;
  static constexpr int Plain::*const all[] = {&Plain::code, &Plain::a, &Plain::b, &Plain::n,
                                              &Plain::box};
};

/// What the two contexts share.
struct NaiveStore {
  struct Record {
    Plain values;
    long version = 1;
  };
  std::map<int, Record> records;

  int holderOf(int code) const {
    for (const auto& [number, record] : records) {
      if (record.values.code == code) return number;
    }
    return 0;
  }
};

/// A context and its saves, word by word as the rules have it.
class NaiveContext {
 public:
  struct Object {
    Plain base, now;
    long version = 0;
    bool isInserted = false, isUpdated = false, isDeleted = false;
    /// Its record is gone and is to be written again.
    bool comesBack = false;
    /// Both sides have deleted it.
    bool isGone = false;
    /// When it was changed or inserted first, among all.
    long turn = 0;
  };

  std::map<int, Object> objects;
  long turns = 0;

  void touch(Object& object) {
    if (object.isInserted || object.isUpdated) return;
    object.isUpdated = true;
    object.turn = ++turns;
  }

  bool hasChanges() const {
    for (const auto& [number, object] : objects) {
      if (object.isInserted || object.isUpdated || object.isDeleted) return true;
    }
    return false;
  }

  /// Returns: 0, or the code of the error, with nothing changed.
  int save(NaiveStore& store, int policy) {
    if (!hasChanges()) return 0;
    for (int round = 0; round < 1000; ++round) {
      if (hasVersionConflicts(store)) {
        if (policy == 0) return 133020;
        mergeVersions(store, policy);
      } else if (const auto clashes = findClashes(store); !clashes.empty()) {
        if (policy == 0) return 133021;
        for (const Clash& clash : clashes) solve(store, clash, policy);
      } else {
        write(store);
        return 0;
      }
    }
    return -1;
  }

 private:
  struct Clash {
    int code;
    int holder;
    std::vector<int> numbers;
  };

  static bool isRow(const Object& object) {
    return !object.isDeleted && (object.isInserted || object.comesBack ||
                                 (object.isUpdated && !(object.base == object.now)));
  }
  static bool keepsOurs(int policy) { return policy == 2 || policy == 3; }

  bool isConflict(const NaiveStore& store, int number, const Object& object) const {
    const auto found = store.records.find(number);
    const bool isThere = found != store.records.end();
    if (object.isInserted || object.isGone) return false;
    if (object.comesBack && !object.isDeleted) return isThere;
    if (!object.isDeleted && !isRow(object)) return false;
    return !isThere || found->second.version != object.version;
  }

  bool hasVersionConflicts(const NaiveStore& store) const {
    for (const auto& [number, object] : objects) {
      if (isConflict(store, number, object)) return true;
    }
    return false;
  }

  void mergeVersions(const NaiveStore& store, int policy) {
    std::vector<int> forgotten;
    for (auto& [number, object] : objects) {
      if (!isConflict(store, number, object)) continue;
      const auto found = store.records.find(number);
      const bool isThere = found != store.records.end();
      if (!isThere) {
        if (object.isDeleted) {
          object.isGone = true;
        } else if (keepsOurs(policy)) {
          object.comesBack = true;
        } else {
          forgotten.push_back(number);
        }
        continue;
      }
      const Plain& theirs = found->second.values;
      object.comesBack = false;
      if (object.isDeleted && !keepsOurs(policy)) {
        object.isDeleted = object.isUpdated = false;
        object.now = theirs;
      } else if (!object.isDeleted) {
        for (const auto member : Plain::all) {
          const bool here = object.now.*member != object.base.*member;
          const bool there = theirs.*member != object.base.*member;
          const bool takesTheirs = policy == 1 ? there || !here : policy == 2 ? !here : policy == 4;
          if (takesTheirs) object.now.*member = theirs.*member;
        }
        if (policy == 4) object.isUpdated = false;
      }
      object.base = theirs;
      object.version = found->second.version;
    }
    for (const int number : forgotten) objects.erase(number);
  }

  /// The rows of the save in its order: changed ones, those that come back, new ones.
  std::vector<int> rows() const {
    std::vector<int> numbers;
    for (const auto& [number, object] : objects) {
      if (isRow(object)) numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end(), [&](int left, int right) {
      const auto rank = [&](int number) {
        const Object& object = objects.at(number);
        return std::pair(object.isInserted ? 2 : object.comesBack ? 1 : 0, object.turn);
      };
      return rank(left) < rank(right);
    });
    return numbers;
  }

  std::vector<Clash> findClashes(const NaiveStore& store) const {
    std::vector<Clash> clashes;
    std::vector<std::pair<int, std::vector<int>>> claims;
    for (const int number : rows()) {
      const int code = objects.at(number).now.code;
      if (code == 0) continue;
      const auto known = std::find_if(claims.begin(), claims.end(),
                                      [&](const auto& claim) { return claim.first == code; });
      if (known == claims.end()) {
        claims.push_back({code, {number}});
      } else {
        known->second.push_back(number);
      }
    }
    for (auto& [code, numbers] : claims) {
      bool isNew = false;
      for (const int number : numbers) {
        const Object& object = objects.at(number);
        isNew |= object.isInserted || object.comesBack || object.base.code != code;
      }
      if (!isNew) continue;
      int holder = store.holderOf(code);
      const auto own = objects.find(holder);
      if (holder != 0 && own != objects.end()) {
        const Object& object = own->second;
        const auto place = std::find(numbers.begin(), numbers.end(), holder);
        if (object.isDeleted) {
          holder = 0;
        } else if (place != numbers.end()) {
          numbers.erase(place);
        } else if (isRow(object)) {
          holder = 0;
        }
      }
      if (numbers.size() + (holder != 0) >= 2) clashes.push_back({code, holder, numbers});
    }
    return clashes;
  }

  bool has(int number, int code) const {
    const auto found = objects.find(number);
    return found != objects.end() && !found->second.isDeleted && found->second.now.code == code;
  }

  void solve(const NaiveStore& store, const Clash& clash, int policy) {
    int holder = clash.holder;
    if (holder != 0 && keepsOurs(policy)) {
      // Whoever is to survive or to go is read again unless it has changes.
      Object& object = objects[holder];
      if (!object.isUpdated && !object.isDeleted && !object.isInserted) {
        const NaiveStore::Record& record = store.records.at(holder);
        object.base = object.now = record.values;
        object.version = record.version;
      }
    }
    if (const auto known = objects.find(holder); known != objects.end()) {
      const Object& object = known->second;
      const bool hasChanged = object.base.code == clash.code && object.now.code != clash.code;
      if (object.isDeleted || hasChanged) holder = 0;
    }
    for (const int number : clash.numbers) {
      if (number == holder || !has(number, clash.code)) continue;
      if (holder == 0) {
        holder = number;
        continue;
      }
      Object& object = objects.at(number);
      if (!object.isInserted) {
        if (keepsOurs(policy)) {
          Object& other = objects.at(holder);
          other.isDeleted = true;
          holder = number;
        } else {
          object.now.code = object.base.code;
        }
        continue;
      }
      if (keepsOurs(policy)) {
        Object& survivor = objects.at(holder);
        touch(survivor);
        const Plain initial;
        for (const auto member : Plain::all) {
          if (policy == 3 || object.now.*member != initial.*member) {
            survivor.now.*member = object.now.*member;
          }
        }
      }
      objects.erase(number);
    }
  }

  void write(NaiveStore& store) {
    std::vector<int> ended;
    for (auto& [number, object] : objects) {
      if (object.isDeleted) {
        store.records.erase(number);
        ended.push_back(number);
        continue;
      }
      if (isRow(object)) {
        const long step = object.comesBack ? 65536 : 0;
        object.version = object.isInserted ? 1 : object.version + step + 1;
        store.records[number] = {object.now, object.version};
      }
      object.base = object.now;
      object.isInserted = object.isUpdated = object.comesBack = false;
    }
    for (const int number : ended) objects.erase(number);
  }
};

/// Two contexts do at random what they like, and save under any policy.
class MergeRandom : public MergeTest {
 protected:
  struct Side {
    Ref<NSManagedObjectContext> context;
    NaiveContext naive;
    /// What the naive one knows, kept alive.
    std::map<int, Ref<NSManagedObject>> held;
    std::vector<Ref<NSManagedObject>> boxes;
  };

  void SetUp() override {
    MergeTest::SetUp();
    std::vector<Ref<NSManagedObject>> boxes;
    for (const char* name : {"1", "2", "3"}) boxes.push_back(insert("Box", {{"name", name}}));
    save();
    sides[0].context = context;
    sides[1].context = other;
    for (Side& side : sides) {
      for (const auto& box : boxes) side.boxes.push_back(same(box, side.context));
    }
  }

  static Value textOf(int value) {
    return value == 0 ? Value() : Value(NSString::stringWithFormat("%d", value));
  }
  static int numberOf(const Value& text) {
    return text.isNull() ? 0 : static_cast<int>(text.longLongValue());
  }

  void set(Side& side, int number, int Plain::*member, int value) {
    NaiveContext::Object& naive = side.naive.objects.at(number);
    side.naive.touch(naive);
    naive.now.*member = value;
    NSManagedObject& object = *side.held.at(number);
    if (member == &Plain::code) object.setValueForKey(textOf(value), "code");
    if (member == &Plain::a) object.setValueForKey(textOf(value), "a");
    if (member == &Plain::b) object.setValueForKey(textOf(value), "b");
    if (member == &Plain::n) object.setValueForKey(value, "n");
    if (member == &Plain::box) {
      object.setValueForKey(value == 0 ? Value() : Value(side.boxes[value - 1]), "box");
    }
  }

  void setAny(Side& side, int number) {
    const int Plain::*member = Plain::all[random.below(5)];
    const auto place = const_cast<int Plain::*>(member);
    const int value = static_cast<int>(place == &Plain::code  ? random.below(8)
                                       : place == &Plain::box ? random.below(4)
                                                              : random.below(5));
    set(side, number, place, value);
  }

  Plain read(Side& side, const NSManagedObject& object) {
    Plain found;
    found.code = numberOf(object.valueForKey("code"));
    found.a = numberOf(object.valueForKey("a"));
    found.b = numberOf(object.valueForKey("b"));
    found.n = static_cast<int>(object.valueForKey("n").longLongValue());
    const Value box = object.valueForKey("box");
    for (std::size_t i = 0; i < side.boxes.size(); ++i) {
      if (box == Value(side.boxes[i])) found.box = static_cast<int>(i) + 1;
    }
    return found;
  }

  /// A record of the store, read by the side if it does not have it yet.
  int anyRecord(Side& side) {
    std::vector<int> numbers;
    for (const auto& [number, record] : store_.records) numbers.push_back(number);
    for (const auto& [number, object] : side.naive.objects) {
      if (store_.records.count(number) == 0) numbers.push_back(number);
    }
    if (numbers.empty()) return 0;
    const int number = numbers[random.below(numbers.size())];
    if (side.naive.objects.count(number) == 0) {
      Ref<NSError> error;
      auto object = side.context->existingObjectWithIDError(identifiers.at(number), &error);
      EXPECT_TRUE(object) << text(error);
      if (!object) return 0;
      side.held[number] = object;
      const NaiveStore::Record& record = store_.records.at(number);
      NaiveContext::Object known;
      known.base = known.now = record.values;
      known.version = record.version;
      side.naive.objects[number] = known;
    }
    return side.naive.objects.at(number).isDeleted ? 0 : number;
  }

  void insertOne(Side& side) {
    const int number = ++lastNumber;
    side.held[number] = insertIn(side.context, "Item");
    NaiveContext::Object fresh;
    fresh.isInserted = true;
    fresh.turn = ++side.naive.turns;
    side.naive.objects[number] = fresh;
    for (std::uint64_t i = random.below(4); i > 0; --i) setAny(side, number);
    if (random.below(3) > 0) set(side, number, &Plain::code, 1 + random.below(7));
  }

  void removeOne(Side& side) {
    const int number = anyRecord(side);
    if (number == 0) return;
    side.context->deleteObject(side.held.at(number));
    NaiveContext::Object& object = side.naive.objects.at(number);
    if (object.isInserted) {
      side.naive.objects.erase(number);
      side.held.erase(number);
    } else {
      object.isDeleted = true;
    }
  }

  void rollback(Side& side) {
    side.context->rollback();
    for (auto object = side.naive.objects.begin(); object != side.naive.objects.end();) {
      NaiveContext::Object& known = object->second;
      if (known.isInserted) {
        side.held.erase(object->first);
        object = side.naive.objects.erase(object);
        continue;
      }
      known.now = known.base;
      known.isUpdated = known.isDeleted = false;
      ++object;
    }
  }

  void saveSide(Side& side) {
    const int policy = static_cast<int>(random.below(6)) % 5;
    side.context->setMergePolicy(MergeTest::policy(static_cast<NSMergePolicyType>(policy)));
    NaiveContext attempt = side.naive;
    NaiveStore after = store_;
    const int expected = attempt.save(after, policy);
    Ref<NSError> error;
    const bool isSaved = side.context->save(&error);
    ASSERT_EQ(isSaved ? 0 : error->code(), expected) << text(error) << " under " << policy;
    if (isSaved) {
      side.naive = attempt;
      store_ = after;
      std::map<int, Ref<NSManagedObject>> before = std::exchange(side.held, {});
      for (const auto& [number, object] : before) {
        const bool isKnown = side.naive.objects.count(number) > 0;
        ASSERT_EQ(object->managedObjectContext() == side.context, isKnown) << number;
        if (!isKnown) continue;
        side.held[number] = object;
        identifiers[number] = object->objectID();
      }
      for (auto& [number, object] : side.naive.objects) {
        if (side.held.count(number) > 0) continue;
        // It stood in the way, and has been read for that.
        side.held[number] = side.context->existingObjectWithIDError(identifiers.at(number));
        ASSERT_TRUE(side.held[number]);
      }
      ASSERT_FALSE(side.context->hasChanges());
    }
    ASSERT_NO_FATAL_FAILURE(expectAlike(side)) << "under " << policy;
    if (!isSaved) return;
    ASSERT_NO_FATAL_FAILURE(expectStoreAlike());
  }

  void expectAlike(Side& side) {
    for (const auto& [number, naive] : side.naive.objects) {
      const Ref<NSManagedObject>& object = side.held.at(number);
      ASSERT_EQ(object->isInserted(), naive.isInserted) << number;
      ASSERT_EQ(object->isDeleted(), naive.isDeleted) << number;
      if (naive.isDeleted) continue;
      ASSERT_EQ(object->isUpdated(), naive.isUpdated) << number;
      const Plain found = read(side, *object);
      for (const auto member : Plain::all) {
        ASSERT_EQ(found.*member, naive.now.*member)
            << number << ", property " << (&member - Plain::all);
      }
    }
  }

  void expectStoreAlike() {
    Side fresh;
    fresh.context = newContext();
    for (const auto& box : sides[0].boxes) fresh.boxes.push_back(same(box, fresh.context));
    const Ref<NSArray> found = fresh.context->executeFetchRequestError(request("Item"));
    ASSERT_EQ(found->count(), store_.records.size());
    for (const auto& [number, record] : store_.records) {
      auto object = fresh.context->existingObjectWithIDError(identifiers.at(number));
      ASSERT_TRUE(object) << number;
      const Plain stored = read(fresh, *object);
      for (const auto member : Plain::all) {
        ASSERT_EQ(stored.*member, record.values.*member) << number;
      }
      const Value box = object->valueForKey("box");
      if (const auto* end = as<NSManagedObject>(box)) {
        const Value members = end->valueForKey("items");
        ASSERT_TRUE(as<NSSet>(members)->containsObject(Value(object)));
      }
    }
  }

  void forget(Side& side) {
    side.context->reset();
    side.naive.objects.clear();
    side.held.clear();
    for (Ref<NSManagedObject>& box : side.boxes) {
      box = side.context->existingObjectWithIDError(box->objectID());
    }
  }

  void step() {
    Side& side = sides[random.below(2)];
    const std::uint64_t choice = random.below(100);
    if (choice < 18) {
      if (store_.records.size() < 12) insertOne(side);
    } else if (choice < 70) {
      if (const int number = anyRecord(side); number != 0) setAny(side, number);
    } else if (choice < 80) {
      removeOne(side);
    } else if (choice < 83) {
      rollback(side);
    } else if (choice < 85) {
      forget(side);
    } else {
      saveSide(side);
    }
  }

  Randomness random;
  NaiveStore store_;
  Side sides[2];
  std::map<int, Ref<NSManagedObjectID>> identifiers;
  int lastNumber = 0;
};
FOR_EVERY_PAIR_OF_CONTEXTS(MergeRandom);

TEST_P(MergeRandom, TwoContextsAndANaiveModelOfTheRulesAgree) {
  JN_TRACE_SEED(random);
  for (int i = testing::rounds(6000, 600'000); i > 0; --i) {
    ASSERT_NO_FATAL_FAILURE(step()) << i << " steps before the end";
  }
}

}  // namespace
}  // namespace JNFoundation
