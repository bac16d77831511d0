#pragma once

#include <vector>

#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

class PLVDataMapFilter;

/// Copies a decoded record onto one managed object, by rules that a map descriptor gives:
///
///     "$id"          → "identifier"      the value under "id" goes to that destination
///     "%meta.$born"  → "birthDate"       in the dictionary under "meta", the value under "born"
///     "%meta"                            a dictionary under "meta" is read, by the rules above
///
/// Destinations are those of PLVScalarDataMap; keys of any other form are ignored. Descriptors come
/// from the entity's user info, completed by its attributes (`automaticMapDescriptorForEntity`), so
/// a record whose keys are the attribute names needs no rule. Nested dictionaries all go onto the
/// same object, as deep as rules and records go. Nothing here returns an error; a bad rule costs
/// its own key and one line in the log. Immutable, so it may be shared and kept. Threads: mapping
/// runs where the object may be used.
class PLVDictionaryDataMap : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A new descriptor: for each attribute, the key "$name" → "name", ancestors' first; each
  /// entity's user info on top of what it inherits.
  static Ref<NSMutableDictionary> automaticMapDescriptorForEntity(
      const Ref<NSEntityDescription>& entity);

  /// A map for the entity. Never null; rules that cannot work are left out and logged.
  static Ref<PLVDictionaryDataMap> newMapForEntityDescriptor(const Ref<NSEntityDescription>& entity,
                                                             const Ref<NSDictionary>& descriptor);
  /// Input key to PLVScalarDataMap, and to PLVDictionaryDataMap.
  static Ref<PLVDictionaryDataMap> initWithEntityNameScalarMapsDictionaryMaps(
      const Ref<NSString>& entityName, const Ref<NSDictionary>& scalarMaps,
      const Ref<NSDictionary>& dictionaryMaps);

  /// Maps with the data map filter of the object's context.
  void mapDictionaryToObject(const Ref<NSDictionary>& record,
                             const Ref<NSManagedObject>& object) const;
  /// Maps every key of the record, in its order: a dictionary by the nested map of its key,
  /// anything else (and a dictionary without a nested map) by the scalar map. Unknown keys are
  /// ignored. Fails: raises NSGenericException when the record is changed meanwhile; what a filter
  /// or a message of the application raises comes through. The keys before it have been mapped.
  void mapDictionaryToObjectFilter(const Ref<NSDictionary>& record,
                                   const Ref<NSManagedObject>& object,
                                   const Ref<PLVDataMapFilter>& filter) const;
  /// The same, observed by this observer instead of that of the object's context; null observes
  /// nothing. What a message maps in its turn is not this mapping.
  void mapDictionaryToObjectFilterObserver(const Ref<NSDictionary>& record,
                                           const Ref<NSManagedObject>& object,
                                           const Ref<PLVDataMapFilter>& filter,
                                           const MappingObserver& observer,
                                           MappingWrites writes = MappingWrites::Every) const;

  /// The names of all filters that this map and the nested ones use; a new set.
  Ref<NSMutableSet> filterNames() const;

  // What the map was made of; for tools that explain it.
  const Ref<NSDictionary>& scalarMaps() const noexcept { return _scalarMaps; }
  const Ref<NSDictionary>& dictionaryMaps() const noexcept { return _dictionaryMaps; }
  /// The name of the entity that the map is for; null for none.
  const Ref<NSString>& entityName() const noexcept { return _entityName; }

  /// The class operations of a subclass make instances of it; nested maps stay of the base class.
  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> newMapForEntityDescriptor(const Ref<NSEntityDescription>& entity,
                                               const Ref<NSDictionary>& descriptor) {
      const Parts parts = partsOf(entity, descriptor);
      return makeObject<Self>(parts.entityName, parts.scalarMaps, parts.dictionaryMaps);
    }
    static Ref<Self> initWithEntityNameScalarMapsDictionaryMaps(
        const Ref<NSString>& entityName, const Ref<NSDictionary>& scalarMaps,
        const Ref<NSDictionary>& dictionaryMaps) {
      return makeObject<Self>(entityName, scalarMaps, dictionaryMaps);
    }

   protected:
    using Above::Above;
    using typename Above::Parts;
    using Above::partsOf;
  };

 protected:
  /// What a map is made of.
  struct Parts {
    /// The name of the entity that the map is for; null for none.
    Ref<NSString> entityName;
    /// The rules for values, by input key.
    Ref<NSDictionary> scalarMaps;
    /// The maps for nested dictionaries, by input key.
    Ref<NSDictionary> dictionaryMaps;
  };

  PLVDictionaryDataMap(const Ref<NSString>& entityName, const Ref<NSDictionary>& scalarMaps,
                       const Ref<NSDictionary>& dictionaryMaps);
  /// What the descriptor makes for the entity, which may be null.
  static Parts partsOf(const Ref<NSEntityDescription>& entity, const Ref<NSDictionary>& descriptor);

 private:
  /// The maps for an input key; either may be null.
  struct KeyMaps {
    const PLVScalarDataMap* scalar = nullptr;
    const PLVDictionaryDataMap* nested = nullptr;
  };
  struct IndexEntry {
    const NSString* key = nullptr;
    KeyMaps maps;
  };

  void buildIndex();
  /// The maps for an entry of a record, both or the one that its value goes to.
  /// Fails: raises NSInvalidArgumentException where what it goes to is no map.
  KeyMaps mapsFor(const NSDictionary::Entry& entry) const;
  KeyMaps mapsInDictionariesFor(const NSDictionary::Entry& entry) const;

  Ref<NSDictionary> _scalarMaps;
  Ref<NSDictionary> _dictionaryMaps;
  Ref<NSString> _entityName;
  /// The keys that are strings, by open addressing; the size is a power of two. Finds the very
  /// strings that the dictionaries above have, as most keys are.
  std::vector<IndexEntry> _index;
  std::size_t _mask = 0;
};

}  // namespace JNFoundation
