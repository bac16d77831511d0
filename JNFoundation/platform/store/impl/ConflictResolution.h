#pragma once

#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSConstraintConflict.h>
#include <JNFoundation/platform/store/NSMergeConflict.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/store/impl/RecordValues.h>

namespace JNFoundation::inline v0_1::impl {

/// A reference of a save to a record that is gone.
struct MissingReference {
  Ref<NSManagedObject> object;
  std::size_t number;
  Ref<NSManagedObjectID> destination;
};

/// Does to the objects of a context what a merge policy says about conflicts. Conflicts whose
/// object has left the context, or has been brought up to date, are passed over.
/// Threads: the context's.
class ConflictResolution {
 public:
  using Objects = std::vector<Ref<NSManagedObject>>;
  using Versions = std::vector<Ref<NSMergeConflict>>;
  using Constraints = std::vector<Ref<NSConstraintConflict>>;
  using Outcome = NSMergeConflict::Outcome;

  /// Takes: what the store has; no entity stands for a record that is gone.
  static Ref<NSMergeConflict> versionConflict(NSManagedObject& object, RecordReceiver record,
                                              bool isWatched);
  static Ref<NSConstraintConflict> constraintConflict(std::vector<std::size_t> properties,
                                                      const Value& key,
                                                      const Ref<NSManagedObject>& databaseObject,
                                                      RecordReceiver record,
                                                      const Objects& objects);

  static void resolveVersions(NSMergePolicyType type, const Versions& conflicts);
  static void resolveConstraints(NSMergePolicyType type, const Constraints& conflicts);
  /// Has what was left open become what the objects hold. Returns: what became of each.
  static std::vector<Outcome> settle(const Versions& conflicts);
  /// Has nobody lead to what is gone, and meets what deletions left behind with their rules.
  static void letGoOfMissing(const std::vector<MissingReference>& references,
                             const Objects& deletions);

  /// What the error policy gives.
  static Ref<NSError> errorOfVersions(const Ref<NSArray>& conflicts);
  static Ref<NSError> errorOfConstraints(const Ref<NSArray>& conflicts);

 private:
  struct Merge;

  explicit ConflictResolution(NSManagedObjectContext& context) : _context(context) {}

  static bool isOpen(const NSMergeConflict& conflict);
  void resolve(NSMergePolicyType type, const Versions& conflicts);
  static Merge decide(NSMergePolicyType type, const Ref<NSManagedObject>& object,
                      const Value* record, std::uint32_t version);
  void apply(std::vector<Merge>& merges);
  void mergeRelationships(const Merge& merge, bool winners);
  void lead(NSManagedObject& object, std::size_t number, const Value& identifier);
  void dropOtherChanges(NSManagedObject& object);
  void makeClean(NSManagedObject& object);
  void finish();
  void forgetObject(const Ref<NSManagedObject>& object);
  void prepareWritingAnew(NSManagedObject& object);
  bool refresh(const Ref<NSManagedObject>& object);
  void becomeAsStored(const Ref<NSManagedObject>& object, const Value* record,
                      std::uint32_t version);
  void renewDeletion(NSManagedObject& object, const NSMergeConflict* conflict);
  void takeBackDeletion(NSMergeConflict& conflict);

  void resolve(NSMergePolicyType type, const NSConstraintConflict& conflict);
  bool has(const NSManagedObject& object, const NSConstraintConflict& conflict) const;
  bool holdsStill(NSManagedObject& object, const NSConstraintConflict& conflict) const;
  void bringUpToDate(const NSConstraintConflict& conflict);
  void takeValues(NSManagedObject& survivor, NSManagedObject& other, bool takesAll);
  void giveBack(NSManagedObject& object, const NSConstraintConflict& conflict);
  void drop(const Ref<NSManagedObject>& object, const Ref<NSManagedObject>& replacement);
  Ref<NSManagedObject> replacementOf(const Ref<NSManagedObject>& object) const;
  void replaceIn(NSManagedObject& holder);
  void deleteReplaced();

  NSManagedObjectContext& _context;
  /// Objects that may be as the store has them now, to be looked through at the end.
  Objects _reverted;
  /// New objects that make way, and who takes their place; null for nobody.
  std::unordered_map<NSManagedObject*, Ref<NSManagedObject>> _replaced;
  Objects _dropped;
};

}  // namespace JNFoundation::impl
