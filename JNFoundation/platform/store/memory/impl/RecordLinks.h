#pragma once

#include <span>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/memory/impl/MemberList.h>

namespace JNFoundation::inline v0_1::impl {

/// Who leads to whom among the records of a store in memory: the members of relationships to many
/// in their order, and who names a record in a relationship to one.
class RecordLinks {
 public:
  using Numbers = std::vector<std::int64_t>;

  /// Whether the members of the relationship are listed for their own sake, not because they name
  /// the record.
  static bool hasPairs(const NSRelationshipDescription& relationship);

  /// The members, in their order; those of a relationship without order ascending.
  Numbers members(const NSRelationshipDescription& relationship, std::int64_t owner) const;
  /// The records that name this one. Takes: a relationship to one.
  Numbers referrers(const NSRelationshipDescription& relationship, std::int64_t record) const;

  /// A record names others than before. Takes: its values then and now, null where it was or is not
  /// there.
  void changeReferences(const NSEntityDescription& entity, std::int64_t record, const Value* former,
                        const Value* fresh);
  void change(std::span<const StoreLinkChange> changes);
  /// A record is gone: nobody leads to it any more, nor it to anybody.
  void remove(const NSEntityDescription& entity, std::int64_t record);

 private:
  using Lists = std::unordered_map<std::int64_t, MemberList>;

  MemberList& membersOf(const NSRelationshipDescription& relationship, std::int64_t owner);
  MemberList& ownersOf(const NSRelationshipDescription& relationship, std::int64_t record);
  void pair(const NSRelationshipDescription& relationship, std::int64_t owner, std::int64_t member);
  void part(const NSRelationshipDescription& relationship, std::int64_t owner, std::int64_t member);
  void takeOut(const StoreLinkChange& change);
  void bringIn(const StoreLinkChange& change);

  std::unordered_map<const NSRelationshipDescription*, Lists> _members;
  /// The other way, of relationships without a way back as well.
  std::unordered_map<const NSRelationshipDescription*, Lists> _owners;
};

}  // namespace JNFoundation::impl
