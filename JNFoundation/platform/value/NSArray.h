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

  static Ref<NSArray> array();
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
  static Ref<NSArray> arrayWithArray(const Ref<NSArray>& array);
  /// Takes: the elements. Fails: raises NSInvalidArgumentException for a null among them.
  static Ref<NSArray> arrayWithValues(std::vector<Value> values);

  NSUInteger count() const { return _foreign ? foreignCount() : _elements.size(); }
  /// Fails: raises NSRangeException outside 0 to count-1.
  Value objectAtIndex(NSUInteger index) const {
    return !_foreign && index < _elements.size() ? _elements[index] : checkedObjectAtIndex(index);
  }
  Value operator[](NSUInteger index) const { return objectAtIndex(index); }
  /// Null for an empty array.
  Value firstObject() const { return count() == 0 ? Value() : objectAtIndex(0); }
  Value lastObject() const { return count() == 0 ? Value() : objectAtIndex(count() - 1); }

  bool containsObject(const Value& object) const;
  /// The lowest index of an equal element; NSNotFound if there is none.
  NSUInteger indexOfObject(const Value& object) const;
  NSUInteger indexOfObjectIdenticalTo(const Value& object) const;
  bool isEqualToArray(const Ref<NSArray>& other) const;

  /// Fails: raises NSRangeException when the range reaches past the end.
  Ref<NSArray> subarrayWithRange(NSRange range) const;
  Ref<NSArray> arrayByAddingObject(const Value& object) const;
  Ref<NSArray> arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const;
  Ref<NSArray> objectsAtIndexes(const Ref<NSIndexSet>& indexes) const;
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
  enum class Representation { Plain, Foreign };

  NSArray() = default;
  explicit NSArray(std::vector<Value> elements) : _elements(std::move(elements)) {}
  explicit NSArray(Representation representation)
      : _foreign(representation == Representation::Foreign) {}
  ~NSArray() override;

  virtual NSUInteger foreignCount() const;
  /// Requires: index < foreignCount().
  virtual Value foreignObjectAtIndex(NSUInteger index) const;

  std::vector<Value> _elements;
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;
  bool _foreign = false;
  bool _mutable = false;

  [[noreturn]] void raiseBeyondBounds(const char* operation, NSUInteger index) const;
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

  static Ref<NSMutableArray> array();
  static Ref<NSMutableArray> init() { return array(); }
  static Ref<NSMutableArray> arrayWithCapacity(NSUInteger capacity);
  static Ref<NSMutableArray> arrayWithArray(const Ref<NSArray>& array);
  static Ref<NSMutableArray> arrayWithValues(std::vector<Value> values);

  void addObject(const Value& object);
  void addObjectsFromArray(const Ref<NSArray>& other);
  /// `index` may equal the count.
  void insertObjectAtIndex(const Value& object, NSUInteger index);
  void replaceObjectAtIndexWithObject(NSUInteger index, const Value& object);
  void exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first, NSUInteger second);
  void removeObjectAtIndex(NSUInteger index);
  void removeObjectsInRange(NSRange range);
  void removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes);
  /// Puts the objects so that they end at the indexes, lowest first.
  void insertObjectsAtIndexes(const Ref<NSArray>& objects, const Ref<NSIndexSet>& indexes);
  /// Nothing for an empty array.
  void removeLastObject();
  /// Removes every equal element.
  void removeObject(const Value& object);
  void removeAllObjects();
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
