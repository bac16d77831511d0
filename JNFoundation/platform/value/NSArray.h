#pragma once

#include <initializer_list>
#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSIndexSet;
class NSMutableArray;

/// An ordered list of values, none of them null (see NSNull).
///
///     Ref<NSArray> names = NSArray::arrayWithObjects("Ann", "Ben");
///     for (const Value& name : *names) print(name);
///
/// The plain form keeps its elements side by side. A subclass may bring another representation (a
/// list that loads its elements when they are read) by answering `foreignCount` and
/// `foreignObjectAtIndex`.
/// Threads: an immutable array may be read on any thread; a mutable one belongs to one at a time.
class NSArray : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// The empty array.
  static Ref<NSArray> array();
  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<NSArray> arrayWithObject(const Value& object);
  /// The list ends at the first null.
  template <class... Objects>
  static Ref<NSArray> arrayWithObjects(const Objects&... objects) {
    std::vector<Value> values;
    values.reserve(sizeof...(objects));
    [[maybe_unused]] bool ended = false;
    (void)std::initializer_list<int>{(append(values, Value(objects), ended), 0)...};
    return arrayWithValues(std::move(values));
  }
  /// A copy, which an immutable array is of itself; null gives an empty array.
  static Ref<NSArray> arrayWithArray(const Ref<NSArray>& array);
  /// Takes: the elements. Fails: raises NSInvalidArgumentException for a null among them.
  static Ref<NSArray> arrayWithValues(std::vector<Value> values);

  /// How many elements there are.
  NSUInteger count() const { return _foreign ? foreignCount() : _elements.size(); }
  /// Fails: raises NSRangeException outside 0 to count-1.
  Value objectAtIndex(NSUInteger index) const {
    return !_foreign && index < _elements.size() ? _elements[index] : checkedObjectAtIndex(index);
  }
  Value operator[](NSUInteger index) const { return objectAtIndex(index); }
  // Null for an empty array.
  Value firstObject() const { return count() == 0 ? Value() : objectAtIndex(0); }
  Value lastObject() const { return count() == 0 ? Value() : objectAtIndex(count() - 1); }

  /// Whether an element equals the object; none equals null.
  bool containsObject(const Value& object) const;
  /// The lowest index of an equal element; NSNotFound if there is none.
  NSUInteger indexOfObject(const Value& object) const;
  /// The lowest index of the very object, not of an equal one; NSNotFound if it is not there.
  NSUInteger indexOfObjectIdenticalTo(const Value& object) const;
  /// Whether the other array has equal elements in the same order; null has not.
  bool isEqualToArray(const Ref<NSArray>& other) const;

  /// Fails: raises NSRangeException when the range reaches past the end.
  Ref<NSArray> subarrayWithRange(NSRange range) const;
  /// The elements and the object behind them. Fails: raises NSInvalidArgumentException for null.
  Ref<NSArray> arrayByAddingObject(const Value& object) const;
  /// The elements and those of the other array behind them; null counts as an empty one.
  Ref<NSArray> arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const;
  /// The elements at those indexes, ascending; none for null. Fails: raises NSRangeException when
  /// an index reaches past the end.
  Ref<NSArray> objectsAtIndexes(const Ref<NSIndexSet>& indexes) const;
  /// The elements from the last to the first.
  Ref<NSArray> reversedArray() const;
  /// Stable: equal elements keep their order.
  Ref<NSArray> sortedArrayUsingComparator(
      const Block<NSComparisonResult(const Value&, const Value&)>& comparator) const;
  /// Calls: the block with each element in order, until it sets stop.
  /// Fails: raises NSGenericException when the array is changed meanwhile.
  void enumerateObjectsUsingBlock(
      const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const;
  /// The descriptions of the elements with the separator between them.
  Ref<NSString> componentsJoinedByString(std::string_view separator) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;
  /// The values for the key of every element, NSNull in place of null.
  Value valueForKey(const Ref<NSString>& key) const override;
  /// Sends the value to every element.
  void setValueForKey(const Value& value, const Ref<NSString>& key) override;

  /// The elements side by side, borrowed until the array changes. Returns: null for an array of
  /// another representation.
  const std::vector<Value>* contiguousElements() const noexcept {
    return _foreign ? nullptr : &_elements;
  }

  /// Walks the array; raises NSGenericException if it was changed since the walk began.
  class Iterator {
   public:
    Iterator(const NSArray& array, NSUInteger index) noexcept
        : _array(&array), _index(index), _mutations(array._mutations) {}
    const Value& operator*() const {
      if (!_array->_foreign && !_array->_mutable) return _array->_elements[_index];
      return _current = _array->objectAtIndex(_index);
    }
    const Value* operator->() const { return &**this; }
    Iterator& operator++() {
      ++_index;
      return *this;
    }
    bool operator!=(const Iterator&) const {
      if (_array->_mutations != _mutations) _array->raiseMutatedDuringWalk();
      return _index < _array->count();
    }

   private:
    const NSArray* _array;
    NSUInteger _index;
    std::uint64_t _mutations;
    mutable Value _current;
  };
  Iterator begin() const noexcept { return Iterator(*this, 0); }
  Iterator end() const noexcept { return Iterator(*this, 0); }

 protected:
  /// Whether the elements stand in the array, or a descendant answers for them.
  enum class Representation {
    Plain,   ///< here
    Foreign  ///< in a descendant
  };

  NSArray() = default;
  explicit NSArray(std::vector<Value> elements) : _elements(std::move(elements)) {}
  explicit NSArray(Representation representation)
      : _foreign(representation == Representation::Foreign) {}
  ~NSArray() override;

  /// How many elements an array of another representation has.
  virtual NSUInteger foreignCount() const;
  /// Requires: index < foreignCount().
  virtual Value foreignObjectAtIndex(NSUInteger index) const;

  std::vector<Value> _elements;  ///< of a plain array
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;
  bool _foreign = false;  ///< whether the representation is another one
  bool _mutable = false;  ///< whether the array is an NSMutableArray

  /// Fails: raises NSRangeException with the operation, the index and the count.
  [[noreturn]] void raiseBeyondBounds(const char* operation, NSUInteger index) const;
  /// Fails: raises NSGenericException.
  [[noreturn]] void raiseMutatedDuringWalk() const;

 private:
  static void append(std::vector<Value>& values, Value value, bool& ended) {
    if (value.isNull()) ended = true;
    if (!ended) values.push_back(std::move(value));
  }
  Value checkedObjectAtIndex(NSUInteger index) const;
};

/// An array that can be changed. Putting null into it raises NSInvalidArgumentException, an index
/// past the end raises NSRangeException; a refused change changes nothing.
class NSMutableArray : public NSArray {
 public:
  using Superclass = NSArray;
  static const Class classObject;
  const Class& class_() const noexcept override;

  // The factories of NSArray, for arrays that can be changed. A capacity is room for so many
  // elements in an empty array.
  static Ref<NSMutableArray> array();
  static Ref<NSMutableArray> init() { return array(); }
  static Ref<NSMutableArray> arrayWithCapacity(NSUInteger capacity);
  static Ref<NSMutableArray> arrayWithArray(const Ref<NSArray>& array);
  static Ref<NSMutableArray> arrayWithValues(std::vector<Value> values);

  /// Puts the object behind the last element.
  void addObject(const Value& object);
  /// Puts the elements of the other array behind the last element; null counts as an empty one.
  void addObjectsFromArray(const Ref<NSArray>& other);
  /// `index` may equal the count.
  void insertObjectAtIndex(const Value& object, NSUInteger index);
  /// The object takes the place of the element at the index.
  void replaceObjectAtIndexWithObject(NSUInteger index, const Value& object);
  /// The two elements change places.
  void exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first, NSUInteger second);
  /// The elements behind it move up.
  void removeObjectAtIndex(NSUInteger index);
  /// The elements behind the range move up.
  void removeObjectsInRange(NSRange range);
  /// The elements that stay move together; null removes nothing.
  void removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes);
  /// Puts the objects so that they end at the indexes, lowest first.
  void insertObjectsAtIndexes(const Ref<NSArray>& objects, const Ref<NSIndexSet>& indexes);
  /// Nothing for an empty array.
  void removeLastObject();
  /// Removes every equal element.
  void removeObject(const Value& object);
  /// Leaves the array empty.
  void removeAllObjects();
  /// Replaces all elements by those of the other array; null counts as an empty one.
  void setArray(const Ref<NSArray>& other);
  /// Stable.
  void sortUsingComparator(const Block<NSComparisonResult(const Value&, const Value&)>& comparator);

  Value copy() const override;

 protected:
  NSMutableArray() { _mutable = true; }
  explicit NSMutableArray(std::vector<Value> elements) : NSArray(std::move(elements)) {
    _mutable = true;
  }
};

}  // namespace JNFoundation
