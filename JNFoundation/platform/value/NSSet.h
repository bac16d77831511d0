#pragma once

#include <initializer_list>
#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/OrderedHashTable.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSArray;

/// Values of which no two are equal, none of them null (see NSNull). Enumerates in the order in
/// which they were first put in.
///
///     Ref<NSSet> tags = NSSet::setWithObjects("new", "open");
///     for (const Value& tag : *tags) print(tag);
///
/// A member's equality and hash must not change while it is in a set. A subclass may bring another
/// representation (a live view of a relationship) by answering `foreignContents`.
/// Threads: an immutable set may be read on any thread; a mutable one belongs to one at a time.
class NSSet : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// The empty set.
  static Ref<NSSet> set();
  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<NSSet> setWithObject(const Value& object);
  /// The list ends at the first null.
  template <class... Objects>
  static Ref<NSSet> setWithObjects(const Objects&... objects) {
    return setWithObjectsBeforeNull({Value(objects)...});
  }
  // Null gives an empty set.
  static Ref<NSSet> setWithArray(const Ref<NSArray>& array);
  static Ref<NSSet> setWithSet(const Ref<NSSet>& other);
  /// Of equal values the first stays. Fails: raises NSInvalidArgumentException for a null among
  /// them.
  static Ref<NSSet> setWithValues(std::vector<Value> values);

  /// How many members there are.
  NSUInteger count() const { return _foreign ? foreignContents()->count() : _table.count(); }
  /// Whether a member equals the object; none equals null.
  bool containsObject(const Value& object) const { return !member(object).isNull(); }
  /// The member that equals the object. Returns: null if there is none.
  Value member(const Value& object) const;
  /// The first one. Returns: null for an empty set.
  Value anyObject() const;
  /// In the order of enumeration.
  Ref<NSArray> allObjects() const;

  // Null counts as an empty set.
  bool isEqualToSet(const Ref<NSSet>& other) const;
  bool isSubsetOfSet(const Ref<NSSet>& other) const;
  bool intersectsSet(const Ref<NSSet>& other) const;

  /// The members and the object. Fails: raises NSInvalidArgumentException for null.
  Ref<NSSet> setByAddingObject(const Value& object) const;
  // The members and those of the other collection; null counts as an empty one.
  Ref<NSSet> setByAddingObjectsFromSet(const Ref<NSSet>& other) const;
  Ref<NSSet> setByAddingObjectsFromArray(const Ref<NSArray>& other) const;
  /// Calls: the block with each member in order, until it sets stop.
  /// Fails: raises NSGenericException when the set is changed meanwhile.
  void enumerateObjectsUsingBlock(const Block<void(const Value& object, bool& stop)>& block) const;
  /// Those for which the block answers true.
  Ref<NSSet> objectsPassingTest(const Block<bool(const Value& object, bool& stop)>& test) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;
  /// The set of the members' values for the key; null is left out. A key that starts with "@" is
  /// the set's own property of that name.
  Value valueForKey(const Ref<NSString>& key) const override;
  /// Sends the value to every member.
  void setValueForKey(const Value& value, const Ref<NSString>& key) override;

  /// A member as the table holds it.
  struct Entry {
    Value key;           ///< the member, never null
    std::uint64_t hash;  ///< of the member
  };

  /// Walks the set; raises NSGenericException if it was changed since the walk began.
  class Iterator {
   public:
    Iterator() noexcept = default;
    explicit Iterator(const NSSet& set) : _set(&set) {
      if (set._foreign) {
        _contents = set.foreignContents();
        _set = _contents.get();
      }
      _mutations = _set->_mutations;
      _position = _set->_table.begin();
    }
    const Value& operator*() const {
      const Value& object = _set->_table.at(_position).key;
      return _set->_mutable ? _current = object : object;
    }
    const Value* operator->() const { return &**this; }
    Iterator& operator++() {
      ++_position;
      return *this;
    }
    bool operator!=(const Iterator&) {
      if (_set->_mutations != _mutations) _set->raiseMutatedDuringWalk();
      const auto& table = _set->_table;
      while (_position < table.end() && table.isHole(_position)) ++_position;
      return _position < table.end();
    }

   private:
    const NSSet* _set = nullptr;
    Ref<NSSet> _contents;
    std::size_t _position = 0;
    std::uint64_t _mutations = 0;
    /// A copy, so that the body may change a mutable set and then leave the walk.
    mutable Value _current;
  };
  Iterator begin() const { return Iterator(*this); }
  Iterator end() const noexcept { return Iterator(); }

 protected:
  /// Whether the members stand in the set, or a descendant answers for them.
  enum class Representation {
    Plain,   ///< here
    Foreign  ///< in a descendant
  };

  NSSet() = default;
  explicit NSSet(OrderedHashTable<Entry> table) : _table(std::move(table)) {}
  explicit NSSet(Representation representation)
      : _foreign(representation == Representation::Foreign) {}
  ~NSSet() override;

  /// What a set of another representation holds now, as a plain set; every reader asks for it.
  virtual Ref<NSSet> foreignContents() const;

  /// Fails: raises NSGenericException.
  [[noreturn]] void raiseMutatedDuringWalk() const;
  /// Fails: raises NSInvalidArgumentException for null.
  static OrderedHashTable<Entry> tableOf(std::vector<Value> values);
  /// The members without the holes that removals left, whatever the representation.
  OrderedHashTable<Entry> tableOfContents() const;

  OrderedHashTable<Entry> _table;  ///< of a plain set
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;
  bool _foreign = false;  ///< whether the representation is another one
  bool _mutable = false;  ///< whether the set is an NSMutableSet

 private:
  static Ref<NSSet> setWithObjectsBeforeNull(std::initializer_list<Value> objects);
};

/// A set that can be changed. Adding null raises NSInvalidArgumentException; a refused change
/// changes nothing. Null in place of a set or an array counts as empty.
class NSMutableSet : public NSSet {
 public:
  using Superclass = NSSet;
  static const Class classObject;
  const Class& class_() const noexcept override;

  // The factories of NSSet, for sets that can be changed. A capacity is room for so many members in
  // an empty set.
  static Ref<NSMutableSet> set();
  static Ref<NSMutableSet> init() { return set(); }
  static Ref<NSMutableSet> setWithCapacity(NSUInteger capacity);
  static Ref<NSMutableSet> setWithObject(const Value& object);
  template <class... Objects>
  static Ref<NSMutableSet> setWithObjects(const Objects&... objects) {
    return setWithSet(NSSet::setWithObjects(objects...));
  }
  static Ref<NSMutableSet> setWithArray(const Ref<NSArray>& array);
  static Ref<NSMutableSet> setWithSet(const Ref<NSSet>& other);
  static Ref<NSMutableSet> setWithValues(std::vector<Value> values);

  // A member that is equal stays.
  void addObject(const Value& object);
  void addObjectsFromArray(const Ref<NSArray>& array);
  void addObjectsFromSet(const Ref<NSSet>& other) { unionSet(other); }
  /// What is no member is ignored.
  void removeObject(const Value& object);
  /// Leaves the set empty.
  void removeAllObjects();
  /// Adds the members of the other set; those that are members already stay.
  void unionSet(const Ref<NSSet>& other);
  /// Removes the members that the other set has as well.
  void minusSet(const Ref<NSSet>& other);
  /// Removes the members that the other set has not.
  void intersectSet(const Ref<NSSet>& other);
  /// Replaces all members by those of the other set.
  void setSet(const Ref<NSSet>& other);

  Value copy() const override;

 protected:
  NSMutableSet() { _mutable = true; }
  explicit NSMutableSet(OrderedHashTable<Entry> table) : NSSet(std::move(table)) {
    _mutable = true;
  }
  explicit NSMutableSet(Representation representation) : NSSet(representation) { _mutable = true; }

  // Every change of a set of another representation arrives here, never with null.
  virtual void foreignAddObject(const Value& object);
  virtual void foreignRemoveObject(const Value& object);

 private:
  void removeObjects(const std::vector<Value>& objects);
};

}  // namespace JNFoundation
