#pragma once

#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/impl/ConflictResolution.h>
#include <JNFoundation/platform/store/impl/SaveBatch.h>

namespace JNFoundation::inline v0_1::impl {

/// What a save has learnt from conflicts about deleted records.
struct SaveDecisions {
  using Objects = std::unordered_map<const NSManagedObject*, Ref<NSManagedObject>>;

  /// Objects whose records are gone and are written again, under their numbers.
  Objects writtenAnew;
  /// Deleted objects whose records are gone already.
  Objects gone;
};

/// Finds out all that stands in the way of a save that a store has refused, and has the merge
/// policy of the context decide.
/// Threads: the context's; `find` under the stores' lock, `resolve` without it.
class SaveConflicts {
 public:
  SaveConflicts(NSManagedObjectContext& context, std::span<const SaveBatch> batches,
                SaveDecisions& decisions)
      : _context(context), _batches(batches), _decisions(decisions) {}

  /// Looks for everything like what the store has refused. Finding nothing is no failure: it may
  /// have gone meanwhile. Fails: returns false and sets the error where the store cannot be read.
  bool find(SaveObstacle obstacle, Ref<NSError>* error);
  bool isEmpty() const noexcept {
    return _versions.empty() && _constraints.empty() && _references.empty() && _deletions.empty();
  }

  /// Fails: returns false and sets the error where the policy wants the save to fail.
  bool resolve(Ref<NSError>* error);

 private:
  /// One of the constraints that hold an entity's objects.
  struct Constraint {
    /// Who declares it, and as which one.
    const NSEntityDescription* entity;
    NSUInteger place;
    std::vector<std::size_t> properties;
  };

  /// The rows that are to have the same values under one constraint.
  struct Claim {
    const Constraint* constraint;
    Value key;
    std::vector<std::size_t> rows;
    /// Whether some of them do not have the values in the store already.
    bool isNew = false;
  };

  using RecordKey = std::pair<const NSEntityDescription*, std::int64_t>;
  struct Hash {
    std::size_t operator()(const Value& value) const { return value.hash(); }
  };

  bool findVersions(Ref<NSError>* error);
  bool addVersion(const SaveBatch& batch, NSManagedObject& object, std::uint32_t version,
                  bool isNew, bool isWatched, Ref<NSError>* error);
  bool findConstraints(Ref<NSError>* error);
  bool findConstraints(const SaveBatch& batch, Ref<NSError>* error);
  const std::vector<Constraint>& constraintsOf(const NSEntityDescription& entity);
  void addClaims(const SaveBatch& batch, std::size_t row);
  bool addConflict(const SaveBatch& batch, const Claim& claim, Ref<NSError>* error);
  bool findReferences(Ref<NSError>* error);
  bool addReferences(const SaveBatch& batch, NSManagedObject& object, Ref<NSError>* error);
  bool addIfMissing(const SaveBatch& batch, NSManagedObject& object, std::size_t number,
                    const Value& identifier, Ref<NSError>* error);
  void indexRows(const SaveBatch& batch);
  const StoreRowChange* rowOf(const SaveBatch& batch, const NSEntityDescription& entity,
                              std::int64_t primaryKey) const;

  NSManagedObjectContext& _context;
  std::span<const SaveBatch> _batches;
  SaveDecisions& _decisions;

  ConflictResolution::Versions _versions;
  ConflictResolution::Constraints _constraints;
  std::vector<MissingReference> _references;
  ConflictResolution::Objects _deletions;

  /// Of the batch that is looked through: the rows by their records.
  std::map<RecordKey, std::size_t> _rows;
  std::map<RecordKey, bool> _isThere;
  std::unordered_map<const NSEntityDescription*, std::vector<Constraint>> _constraintsOf;
  /// In the order in which the first row claimed the values.
  std::vector<Claim> _claims;
  std::map<std::pair<const NSEntityDescription*, NSUInteger>,
           std::unordered_map<Value, std::size_t, Hash>>
      _claimOf;
};

}  // namespace JNFoundation::impl
