#pragma once

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/OrderedHashTable.h>

namespace JNFoundation::inline v0_1 {

class NSArray;

/// Values by key, neither of them null (see NSNull); keys are compared by equality and copied where
/// they are mutable. Enumerates in the order in which the keys were first put in.
///
///     auto record = NSDictionary::dictionaryWithEntries({{"id", 7}, {"name", "Ann"}});
///     for (const auto& [key, value] : *record) print(key, value);
///
/// Threads: an immutable dictionary may be read on any thread; a mutable one belongs to one at a
/// time.
class NSDictionary : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// A key with its value, for building and for walking.
  struct Pair {
    Value key;    ///< never null
    Value value;  ///< never null
  };

  /// The empty dictionary.
  static Ref<NSDictionary> dictionary();
  /// A dictionary of one entry. Fails: raises NSInvalidArgumentException for null.
  static Ref<NSDictionary> dictionaryWithObjectForKey(const Value& object, const Value& key);
  /// A copy, which an immutable dictionary is of itself; null gives an empty dictionary.
  static Ref<NSDictionary> dictionaryWithDictionary(const Ref<NSDictionary>& other);
  /// Of equal keys the last one's value stays. Fails: raises NSInvalidArgumentException for null.
  static Ref<NSDictionary> dictionaryWithEntries(std::vector<Pair> entries);

  /// How many entries there are.
  NSUInteger count() const noexcept { return _table.count(); }
  /// Returns: null for a missing key and for a null key. Requires, as every look-up does: the
  /// caller keeps the dictionary alive where a key's equality is an application's.
  Value objectForKey(const Value& key) const {
    const Value* found = find(key);
    return found ? *found : Value();
  }
  Value operator[](const Value& key) const { return objectForKey(key); }

  /// The value stored, borrowed until the dictionary changes. Returns: a null pointer if missing.
  const Value* find(const Value& key) const;
  /// The same for a key that is a string.
  const Value* find(const NSString& key) const;
  /// The same without making a string of the text.
  const Value* findText(std::string_view key) const;

  // In the order of enumeration.
  Ref<NSArray> allKeys() const;
  Ref<NSArray> allValues() const;
  /// The keys whose values equal the object, in the order of enumeration.
  Ref<NSArray> allKeysForObject(const Value& object) const;
  /// Whether the other dictionary has equal values under the same keys, in whatever order; null has
  /// not.
  bool isEqualToDictionary(const Ref<NSDictionary>& other) const;
  /// Calls: the block with each pair in order, until it sets stop.
  /// Fails: raises NSGenericException when the dictionary is changed meanwhile.
  void enumerateKeysAndObjectsUsingBlock(
      const Block<void(const Value& key, const Value& object, bool& stop)>& block) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;
  /// The value under the key; a key that starts with "@" is the property of that name.
  Value valueForKey(const Ref<NSString>& key) const override;

  /// An entry as the table holds it.
  struct Entry {
    Value key;           ///< a copy of what was given
    Value value;         ///< never null
    std::uint64_t hash;  ///< of the key
  };

  /// Walks the dictionary; raises NSGenericException if it was changed since the walk began.
  class Iterator {
   public:
    explicit Iterator(const NSDictionary& dictionary) noexcept
        : _dictionary(&dictionary),
          _position(dictionary._table.begin()),
          _mutations(dictionary._mutations) {}
    /// A copy of the pair, so that the body may change the dictionary and then leave the walk.
    Pair operator*() const {
      const Entry& entry = _dictionary->_table.at(_position);
      return {entry.key, entry.value};
    }
    Iterator& operator++() {
      ++_position;
      return *this;
    }
    bool operator!=(const Iterator&) {
      if (_dictionary->_mutations != _mutations) _dictionary->raiseMutatedDuringWalk();
      const auto& table = _dictionary->_table;
      while (_position < table.end() && table.isHole(_position)) ++_position;
      return _position < table.end();
    }
    /// The pair where it stands, borrowed until the dictionary changes.
    const Entry& entry() const { return _dictionary->_table.at(_position); }

   private:
    const NSDictionary* _dictionary;
    std::size_t _position;
    std::uint64_t _mutations;
  };
  Iterator begin() const noexcept { return Iterator(*this); }
  Iterator end() const noexcept { return Iterator(*this); }

  /// Collects entries and then becomes a dictionary; for decoders and builders that make many.
  class Builder {
   public:
    /// Keeps room for so many entries.
    explicit Builder(std::size_t capacity = 0) { _table.reserve(capacity); }
    /// Sets the value; of equal keys the last value stays. Null keys or values are ignored.
    void set(Value key, Value value);
    /// The dictionary of what was set since the last one; the builder starts anew.
    Ref<NSDictionary> finish();

   private:
    OrderedHashTable<Entry> _table;
  };

 protected:
  /// The entries in their order.
  using Table = OrderedHashTable<Entry>;

  NSDictionary() = default;
  explicit NSDictionary(Table&& table) noexcept : _table(std::move(table)) {}
  ~NSDictionary() override;

  /// Sets the value under a copy of the key, in its old place if it is there. Returns: what was
  /// there before, for the caller to release when all is done.
  static Value put(Table& table, const Value& key, Value value);
  /// Fails: raises NSInvalidArgumentException for null.
  static Table tableOf(std::vector<Pair> entries);
  /// The entries without the holes that removals left.
  Table compactedTable() const;
  /// The position in the table, or npos. Requires: not null.
  std::size_t positionOf(const Value& key) const;
  /// Fails: raises NSGenericException.
  [[noreturn]] void raiseMutatedDuringWalk() const;

  Table _table;  ///< the entries
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;

 private:
  friend class ContainerEquality;
};

/// A dictionary that can be changed. A null key, or null put in as a value, raises
/// NSInvalidArgumentException and changes nothing.
class NSMutableDictionary : public NSDictionary {
 public:
  using Superclass = NSDictionary;
  static const Class classObject;
  const Class& class_() const noexcept override;

  // The factories of NSDictionary, for dictionaries that can be changed.
  static Ref<NSMutableDictionary> dictionary();
  static Ref<NSMutableDictionary> init() { return dictionary(); }
  static Ref<NSMutableDictionary> dictionaryWithDictionary(const Ref<NSDictionary>& other);
  static Ref<NSMutableDictionary> dictionaryWithEntries(std::vector<Pair> entries);

  /// A key that is there keeps its place in the order.
  void setObjectForKey(const Value& object, const Value& key);
  /// A missing key is ignored, a null one is not.
  void removeObjectForKey(const Value& key);
  /// Leaves the dictionary empty.
  void removeAllObjects();
  /// Sets every entry of the other dictionary; null counts as an empty one.
  void addEntriesFromDictionary(const Ref<NSDictionary>& other);
  /// Replaces all entries by those of the other dictionary; null counts as an empty one.
  void setDictionary(const Ref<NSDictionary>& other);

  /// As `setObjectForKey`, but null removes the entry.
  void setValueForKey(const Value& value, const Ref<NSString>& key) override;
  Value copy() const override;

 protected:
  NSMutableDictionary() = default;
  explicit NSMutableDictionary(Table&& table) noexcept : NSDictionary(std::move(table)) {}
};

}  // namespace JNFoundation
