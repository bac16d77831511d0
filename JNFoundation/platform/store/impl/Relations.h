#pragma once

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/RelatedObjects.h>

namespace JNFoundation::impl {

/// Relationships of managed objects: reading them, and changing both of their ends. A place for a
/// relationship to one object holds the identifier of that object, so that objects that lead to
/// each other do not keep each other alive; a place for one to many holds `RelatedObjects`, or null
/// as long as nothing is known.
///
/// Every number is that of a relationship in the entity's layout. Reading and writing fire faults.
/// Threads: the context's.
class Relations {
 public:
  /// The object, or the set or ordered set of objects, at the other end. An object that has no
  /// context any more leads nowhere.
  static Value value(const NSManagedObject& object, std::size_t number);
  /// Replaces it by an object or null, or by a set or ordered set of objects, null for an empty
  /// one. Fails: raises NSInvalidArgumentException, and changes nothing, for anything else, for
  /// objects of another entity and for objects of another context.
  static void setValue(NSManagedObject& object, std::size_t number, const Value& value);

  // Of a relationship to many. Fail: as `setValue`.
  static void add(NSManagedObject& object, std::size_t number, const Value& member);
  static void insert(NSManagedObject& object, std::size_t number, const Value& member,
                     NSUInteger index);
  static void remove(NSManagedObject& object, std::size_t number, const Value& member);

  /// The objects at the other end, one or many.
  static std::vector<Ref<NSManagedObject>> destinations(const NSManagedObject& object,
                                                        std::size_t number);
  /// How many there are, without making objects of them.
  static NSUInteger count(const NSManagedObject& object, std::size_t number);

  /// Does what the delete rules of a deleted object ask for, short of refusing: afterwards neither
  /// end of a relationship leads to the other.
  static void applyDeleteRules(NSManagedObject& object);

  /// What the relationship to many of the object is known to lead to. Returns: null if nothing was
  /// read or changed; fires no fault.
  static RelatedObjects* known(const NSManagedObject& object, std::size_t number) noexcept;
  /// What it led to when it was last fetched or saved.
  static Value valueBefore(const NSManagedObject& object, std::size_t number);

  /// Tells those that lead to the object that it has another identifier now. Takes: the objects
  /// with changes, which are searched where the model has relationships without a way back.
  static void rename(NSManagedObject& object, const Ref<NSManagedObjectID>& former,
                     const std::vector<Ref<NSManagedObject>>& changed);

  /// Drops the changes of every relationship to many.
  static void revertMembers(NSManagedObject& object);
  /// Has an object that nobody leads to lead nowhere. Requires: it has values.
  static void forget(NSManagedObject& object) noexcept;

 private:
  struct End;

  static End inverseAt(const NSManagedObject& other, const NSRelationshipDescription& relationship);
  static RelatedObjects& related(NSManagedObject& object, std::size_t number);
  static RelatedObjects& loaded(NSManagedObject& object, std::size_t number,
                                std::vector<Ref<NSManagedObject>>& read);
  static void readMembers(NSManagedObject& object, std::size_t number,
                          std::vector<Ref<NSManagedObject>>& read);
  static std::vector<Value> members(NSManagedObject& object, std::size_t number);
  static Value collection(const NSRelationshipDescription& relationship,
                          std::vector<Value> members);
  static Ref<NSManagedObject> objectOf(const NSManagedObject& owner, const Value& identifier);
  static NSManagedObject& checked(const NSManagedObject& object, std::size_t number,
                                  const Value& member);
  static void setDestination(NSManagedObject& object, std::size_t number, NSManagedObject* other);
  static void setMembers(NSManagedObject& object, std::size_t number, const Value& collection);
  static void addMember(NSManagedObject& object, std::size_t number, NSManagedObject& member);
  static void applyRulesOfDeleted(NSManagedObject& one, NSManagedObject& other);
  static void removeMember(NSManagedObject& object, std::size_t number, NSManagedObject& member);
  static void renameIn(NSManagedObject& holder, const Ref<NSManagedObjectID>& former,
                       const Ref<NSManagedObjectID>& fresh);
  static void attach(const End& end, NSManagedObject& other);
  static void detach(const End& end, NSManagedObject& other);
};

}  // namespace JNFoundation::impl
