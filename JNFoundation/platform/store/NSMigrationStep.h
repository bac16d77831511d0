#pragma once

#include <utility>
#include <vector>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSMigrationRecord.h>

namespace JNFoundation::inline v0_1 {

/// What an application does to one record: `source` is the record as it was, `destination` what was
/// inferred of it. Returns: whether to go on; with false, the error says why not.
using NSRecordMigration =
    Block<bool(const Ref<NSMigrationRecord>& source, const Ref<NSMigrationRecord>& destination,
               Ref<NSError>* error)>;

/// What an application does itself when stores of one kind become those of another model.
///
///     auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
///     step->setRecordMigrationForEntityNamed(
///         [](const Ref<NSMigrationRecord>& source, const Ref<NSMigrationRecord>& destination,
///            Ref<NSError>*) {
///           destination->setValueForKey(source->valueForKey("year").stringValue(), "year");
///           return true;
///         },
///         "Book");
///
/// Everything that is not done here is inferred. In entities that have a block, any attribute may
/// change its type, may become required and may be new, and a relationship to many may lead to one:
/// such a property is null, or its default, until the block sets it. Afterwards no required
/// attribute may be null.
///
/// Threads: one, until the step is part of a plan in use.
class NSMigrationStep : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// For stores whose metadata satisfy the predicate: NSStoreModelVersionHashesKey and the
  /// application's own entries are there. Null stands for every store.
  static Ref<NSMigrationStep> stepWithSourcePredicate(const Ref<NSPredicate>& predicate);
  /// For stores made with a model of these version hashes, by the entities' names, as
  /// NSManagedObjectModel::entityVersionHashesByName gives them.
  static Ref<NSMigrationStep> stepWithSourceVersionHashes(const Ref<NSDictionary>& hashes);

  /// Where the step leads. Null, as at first, stands for the coordinator's model. With another
  /// model, further steps lead on from there.
  const Ref<NSManagedObjectModel>& destinationModel() const noexcept { return _destination; }
  /// Makes the model unchangeable. Fails: raises NSInvalidArgumentException for one that is not
  /// whole.
  void setDestinationModel(const Ref<NSManagedObjectModel>& model);

  /// Sets what is done to each record of the entity, as it is named in the new model; not to those
  /// of its subentities. Relationships cannot be looked at or set yet.
  void setRecordMigrationForEntityNamed(const NSRecordMigration& block, const Ref<NSString>& name);
  /// The same, after all records of the store have their values: relationships are there, those
  /// that could be inferred, and can be set.
  void setRelationshipMigrationForEntityNamed(const NSRecordMigration& block,
                                              const Ref<NSString>& name);

  // ---- For stores -------------------------------------------------------------------------------

  /// Whether the step is for a store with these metadata.
  bool isForMetadata(const Ref<NSDictionary>& metadata) const;
  // Returns: null where there is none.
  NSRecordMigration recordMigrationForEntity(const NSEntityDescription& entity) const;
  NSRecordMigration relationshipMigrationForEntity(const NSEntityDescription& entity) const;
  /// The names of the entities that have a block.
  std::vector<Ref<NSString>> entityNames() const;
  /// Whether there is anything to do once all records have their values.
  bool hasRelationshipMigrations() const noexcept { return !_relationshipBlocks.empty(); }

 protected:
  NSMigrationStep(Ref<NSPredicate> predicate, Ref<NSDictionary> hashes);
  ~NSMigrationStep() override;

 private:
  using Blocks = std::vector<std::pair<Ref<NSString>, NSRecordMigration>>;

  Ref<NSPredicate> _predicate;
  /// Null unless the step is for these.
  Ref<NSDictionary> _hashes;
  Ref<NSManagedObjectModel> _destination;
  Blocks _recordBlocks;
  Blocks _relationshipBlocks;
};

}  // namespace JNFoundation
