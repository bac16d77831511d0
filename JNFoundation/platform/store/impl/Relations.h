#pragma once

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/RelatedObjects.h>

namespace JNFoundation::inline v0_1 {

class NSSet;

namespace impl {

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
  /// Whether it is a relationship to many whose members a store has, and are not read yet. Fires no
  /// fault; one that has no values needs these first.
  static bool needsMembers(const NSManagedObject& object, std::size_t number) noexcept;
  /// Takes what the store has, in its order. Requires: `needsMembers`.
  static void setStoredMembers(NSManagedObject& object, std::size_t number,
                               std::vector<Value> identifiers);
  /// What it led to when it was last fetched or saved.
  static Value valueBefore(const NSManagedObject& object, std::size_t number);

  /// Tells those that lead to the object that it has another identifier now. Takes: the objects
  /// with changes, which are searched where the model has relationships without a way back.
  static void rename(NSManagedObject& object, const Ref<NSManagedObjectID>& former,
                     const std::vector<Ref<NSManagedObject>>& changed);

  /// The same of many objects at once, in one that may lead to any of them.
  static void rename(NSManagedObject& holder, const PermanentIDs& permanentIDs);

  /// Has one that somebody else has related to the object, which leads elsewhere here, not lead to
  /// it. Takes: the identifier of that one.
  static void separate(NSManagedObject& object, std::size_t number, const Value& identifier);
  /// Whether the object leads to one of these, or did before it was changed, as far as is known
  /// here.
  static bool leadsOrLedToAny(const NSManagedObject& object, const NSSet& identifiers);
  // What has no way back; of objects with changes, and the last one of those without.

  /// Has it lead to none of these, which were never saved and are gone.
  static void letGoOfForgotten(NSManagedObject& object, const NSSet& identifiers);
  /// Takes those out again that were added since the last save and go with the next one.
  static void letGoOfAdded(NSManagedObject& object, const NSSet& identifiers);
  /// Takes those out of the known members that the store has let go of. Returns: whether there were
  /// any.
  static bool forgetMembers(NSManagedObject& object, const NSSet& identifiers);

  /// Has it lead to none of them any more. Requires: they are gone, and have no other end.
  static void dropDestinations(NSManagedObject& object, const NSSet& identifiers);

  /// Reads what the store, or the parent, has; the objects come with their values, and are handed
  /// out so that they live until they are looked at.
  static void readMembers(NSManagedObject& object, std::size_t number,
                          std::vector<Ref<NSManagedObject>>& read);

  /// Drops the changes of every relationship to many.
  static void revertMembers(NSManagedObject& object);
  /// Has an object that nobody leads to lead nowhere. Requires: it has values.
  static void forget(NSManagedObject& object) noexcept;

  // What merging with what the store has needs; Relations+Merging.cpp.

  /// Whether the store keeps pairs for the relationship to many, instead of what the members say.
  static bool hasPairs(const NSRelationshipDescription& relationship);
  /// Takes the object out of the other ends of its relationships, as if it were deleted, and has it
  /// lead nowhere. Nobody else is deleted with it.
  static void letGo(NSManagedObject& object);
  /// Has the end of `other` not lead to the object any more, whose own end stays as it is.
  static void letGoOf(NSManagedObject& object, std::size_t number, NSManagedObject& other);
  /// That the relationship to one object leads to `other` is known to the store, so that the way
  /// back has nothing to write.
  static void noteStoredMember(NSManagedObject& object, std::size_t number, NSManagedObject& other);
  /// Drops what was changed of the object's pairs, at both ends, and of the order of its members.
  /// Who belongs to it otherwise is the members' own to say.
  static void dropMemberChanges(NSManagedObject& object);
  /// Has relationships to many lead where the store says, after the object's deletion was taken
  /// back, and has those members lead back that the deletion has let go. Members that were deleted
  /// with the object are appended to the list.
  static void takeBackMembers(NSManagedObject& object,
                              std::vector<Ref<NSManagedObject>>& deletedWithIt);

 private:
  /// One object's end of a relationship.
  struct End {
    NSManagedObject& object;
    /// `EntityLayout::none` where the model has no way back.
    std::size_t number;
  };

  static void fireFault(const NSManagedObject& object);
  /// Where a relationship to one object leads; null for nowhere.
  static Ref<NSManagedObjectID> identifierAt(NSManagedObject& object, std::size_t number);
  static End inverseAt(const NSManagedObject& other, const NSRelationshipDescription& relationship);
  static RelatedObjects& related(NSManagedObject& object, std::size_t number);
  static RelatedObjects& loaded(NSManagedObject& object, std::size_t number,
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

}  // namespace impl
}  // namespace JNFoundation
