#pragma once

#include <initializer_list>
#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/OrderedHashTable.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSArray;
class NSIndexSet;
class NSSet;

/// Values in order, of which no two are equal, none of them null (see NSNull).
///
///     Ref<NSMutableOrderedSet> queue = NSMutableOrderedSet::orderedSet();
///     queue->addObject(job);                       // once, however often it is added
///     Value next = queue->takeFirstObject();       // constant time
///
/// Finding an object, its index, adding at the end and removing from the front take constant time;
/// removing elsewhere does too, until the next access by index puts the rest in a row again. A
/// member's equality and hash must not change while it is in the set. A subclass may bring another
/// representation (a live view of a relationship) by answering `foreignContents`.
/// Threads: an immutable set may be read on any thread; a mutable one belongs to one at a time.
class NSOrderedSet : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// The empty set.
  static Ref<NSOrderedSet> orderedSet();
  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<NSOrderedSet> orderedSetWithObject(const Value& object);
  /// The list ends at the first null.
  template <class... Objects>
  static Ref<NSOrderedSet> orderedSetWithObjects(const Objects&... objects) {
    return orderedSetWithObjectsBeforeNull({Value(objects)...});
  }
  // Null gives an empty set.
  static Ref<NSOrderedSet> orderedSetWithArray(const Ref<NSArray>& array);
  static Ref<NSOrderedSet> orderedSetWithSet(const Ref<NSSet>& set);
  static Ref<NSOrderedSet> orderedSetWithOrderedSet(const Ref<NSOrderedSet>& other);
  /// Of equal values the first stays. Fails: raises NSInvalidArgumentException for a null among
  /// them.
  static Ref<NSOrderedSet> orderedSetWithValues(std::vector<Value> values);

  /// How many members there are.
  NSUInteger count() const { return _foreign ? foreignContents()->count() : _table.count(); }
  /// Fails: raises NSRangeException outside 0 to count-1.
  Value objectAtIndex(NSUInteger index) const;
  Value operator[](NSUInteger index) const { return objectAtIndex(index); }
  // Null for an empty set.
  Value firstObject() const;
  Value lastObject() const;

  /// Whether a member equals the object; none equals null.
  bool containsObject(const Value& object) const;
  /// The index of the equal member; NSNotFound if there is none.
  NSUInteger indexOfObject(const Value& object) const;

  // What the set holds now; later changes do not show in it.
  Ref<NSArray> array() const;
  Ref<NSSet> set() const;
  /// The members from the last to the first.
  Ref<NSOrderedSet> reversedOrderedSet() const;
  /// The members at those indexes, ascending; none for null. Fails: raises NSRangeException when an
  /// index reaches past the end.
  Ref<NSArray> objectsAtIndexes(const Ref<NSIndexSet>& indexes) const;

  /// The same members in the same order. Null counts as an empty set here and below.
  bool isEqualToOrderedSet(const Ref<NSOrderedSet>& other) const;
  // Whether every member is one of the other collection, in whatever order.
  bool isSubsetOfSet(const Ref<NSSet>& other) const;
  bool isSubsetOfOrderedSet(const Ref<NSOrderedSet>& other) const;
  // Whether any member is one of the other collection.
  bool intersectsSet(const Ref<NSSet>& other) const;
  bool intersectsOrderedSet(const Ref<NSOrderedSet>& other) const;

  /// Stable: members that compare as the same keep their order.
  Ref<NSArray> sortedArrayUsingComparator(
      const Block<NSComparisonResult(const Value&, const Value&)>& comparator) const;
  /// Calls: the block with each member in order, until it sets stop.
  /// Fails: raises NSGenericException when the set is changed meanwhile.
  void enumerateObjectsUsingBlock(
      const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const;

  /// Never equal to an array or to a set without order.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;
  /// The ordered set of the members' values for the key; null is left out. A key that starts with
  /// "@" is the set's own property of that name.
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
    explicit Iterator(const NSOrderedSet& set) : _set(&set) {
      if (set._foreign) {
        _contents = set.foreignContents();
        _set = _contents.get();
      }
      _set->_table.closeHoles();
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
    bool operator!=(const Iterator&) const {
      if (_set->_mutations != _mutations) _set->raiseMutatedDuringWalk();
      return _position < _set->_table.end();
    }

   private:
    const NSOrderedSet* _set = nullptr;
    Ref<NSOrderedSet> _contents;
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

  NSOrderedSet() = default;
  explicit NSOrderedSet(OrderedHashTable<Entry> table) : _table(std::move(table)) {}
  explicit NSOrderedSet(Representation representation)
      : _foreign(representation == Representation::Foreign) {}
  ~NSOrderedSet() override;

  /// What a set of another representation holds now, as a plain one; every reader asks for it.
  virtual Ref<NSOrderedSet> foreignContents() const;

  /// The position in the table of the member at that index. Requires: index < count().
  std::size_t positionOfIndex(NSUInteger index) const {
    if (index != 0) _table.closeHoles();
    return _table.begin() + index;
  }
  /// Fails: raises NSGenericException.
  [[noreturn]] void raiseMutatedDuringWalk() const;
  /// Fails: raises NSRangeException with the operation, the index and the count.
  [[noreturn]] void raiseBeyondBounds(const char* operation, NSUInteger index) const;
  /// Fails: raises NSInvalidArgumentException for null.
  static OrderedHashTable<Entry> tableOf(std::vector<Value> values);
  /// The members without the holes that removals left, whatever the representation.
  OrderedHashTable<Entry> tableOfContents() const;

  /// The holes that removals leave are closed by readers, which nobody can notice: only a mutable
  /// set has holes, and it belongs to one thread.
  mutable OrderedHashTable<Entry> _table;
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;
  bool _foreign = false;  ///< whether the representation is another one
  bool _mutable = false;  ///< whether the set is an NSMutableOrderedSet

 private:
  static Ref<NSOrderedSet> orderedSetWithObjectsBeforeNull(std::initializer_list<Value> objects);
};

/// An ordered set that can be changed. Putting null into it raises NSInvalidArgumentException, an
/// index past the end raises NSRangeException; a refused change changes nothing. Null in place of a
/// collection counts as empty.
class NSMutableOrderedSet : public NSOrderedSet {
 public:
  using Superclass = NSOrderedSet;
  static const Class classObject;
  const Class& class_() const noexcept override;

  // The factories of NSOrderedSet, for sets that can be changed. A capacity is room for so many
  // members in an empty set.
  static Ref<NSMutableOrderedSet> orderedSet();
  static Ref<NSMutableOrderedSet> init() { return orderedSet(); }
  static Ref<NSMutableOrderedSet> orderedSetWithCapacity(NSUInteger capacity);
  static Ref<NSMutableOrderedSet> orderedSetWithObject(const Value& object);
  static Ref<NSMutableOrderedSet> orderedSetWithArray(const Ref<NSArray>& array);
  static Ref<NSMutableOrderedSet> orderedSetWithSet(const Ref<NSSet>& set);
  static Ref<NSMutableOrderedSet> orderedSetWithOrderedSet(const Ref<NSOrderedSet>& other);
  static Ref<NSMutableOrderedSet> orderedSetWithValues(std::vector<Value> values);

  // A member that is equal stays where it is, wherever it is to be added or inserted.
  void addObject(const Value& object);
  void addObjectsFromArray(const Ref<NSArray>& array);
  /// `index` may equal the count.
  void insertObjectAtIndex(const Value& object, NSUInteger index);
  /// Puts the objects so that they end at the indexes, lowest first.
  void insertObjectsAtIndexes(const Ref<NSArray>& objects, const Ref<NSIndexSet>& indexes);
  /// Nothing where the object is a member at another index.
  void replaceObjectAtIndexWithObject(NSUInteger index, const Value& object);
  /// The two members change places.
  void exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first, NSUInteger second);
  /// `index` is where the first of them stands afterwards; their order stays.
  void moveObjectsAtIndexesToIndex(const Ref<NSIndexSet>& indexes, NSUInteger index);

  /// What is no member is ignored.
  void removeObject(const Value& object);
  /// The members behind it move up.
  void removeObjectAtIndex(NSUInteger index);
  /// The members behind the range move up.
  void removeObjectsInRange(NSRange range);
  /// The members that stay move together; null removes nothing.
  void removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes);
  /// Removes those of its elements that are members.
  void removeObjectsInArray(const Ref<NSArray>& array);
  /// Leaves the set empty.
  void removeAllObjects();
  /// Removes the first member. Returns: it, or null for an empty set.
  Value takeFirstObject();

  // Adds the members of the other set behind the last one, in their order; those that are members
  // already stay.
  void unionSet(const Ref<NSSet>& other);
  void unionOrderedSet(const Ref<NSOrderedSet>& other);
  // Removes the members that the other set has as well.
  void minusSet(const Ref<NSSet>& other);
  void minusOrderedSet(const Ref<NSOrderedSet>& other);
  // Removes the members that the other set has not.
  void intersectSet(const Ref<NSSet>& other);
  void intersectOrderedSet(const Ref<NSOrderedSet>& other);

  /// Stable.
  void sortUsingComparator(const Block<NSComparisonResult(const Value&, const Value&)>& comparator);

  Value copy() const override;

 protected:
  NSMutableOrderedSet() { _mutable = true; }
  explicit NSMutableOrderedSet(OrderedHashTable<Entry> table) : NSOrderedSet(std::move(table)) {
    _mutable = true;
  }
  explicit NSMutableOrderedSet(Representation representation) : NSOrderedSet(representation) {
    _mutable = true;
  }

  // Every change of a set of another representation arrives here, never with null.
  /// Requires: index <= count(), and no member equals the object.
  virtual void foreignInsertObjectAtIndex(const Value& object, NSUInteger index);
  /// Requires: index < count().
  virtual void foreignRemoveObjectAtIndex(NSUInteger index);

 private:
  /// Puts the members into another order: first the one at the first of the positions.
  void reorder(const std::vector<std::size_t>& order);
};

}  // namespace JNFoundation
