#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSError;
class NSManagedObjectModel;
class NSPersistentStore;
class NSPersistentStoreCoordinator;
class NSPredicate;
class NSURL;

namespace impl {

class LongWork;

/// Which records a number belongs to: an entity without ancestors and its descendants share one
/// sequence of numbers in a store.
struct StoreHierarchy {
  NSPersistentStore* store;
  const NSEntityDescription* root;
};

}  // namespace impl

// What a store's own metadata has: its type, its identifier, and the version hash of each entity of
// the model that it was made with, by the entity's name.
inline constexpr const char* NSStoreTypeKey = "NSStoreType";
inline constexpr const char* NSStoreUUIDKey = "NSStoreUUID";
inline constexpr const char* NSStoreModelVersionHashesKey = "NSStoreModelVersionHashes";

/// The code, in NSCocoaErrorDomain, of what ended because somebody wanted it to.
inline constexpr NSInteger NSUserCancelledError = 3072;

/// How much room a store takes on disk, in bytes; all 0 for one without a file.
struct NSPersistentStoreSize {
  /// The whole file.
  std::uint64_t file = 0;
  /// How much of the file holds nothing at present: compacting gives it back.
  std::uint64_t unused = 0;
  /// The log beside the file.
  std::uint64_t log = 0;
};

/// Flags for a backup.
enum NSPersistentStoreBackupOptions : NSUInteger {
  NSPersistentStoreBackupPlain = 0,  ///< a file that is there already is left alone
  /// A file of that name is replaced, in one step, when the copy is whole.
  NSPersistentStoreBackupReplacesExisting = 1,
};

/// Told of a backup how many bytes of how many are copied. Returns: whether to go on.
using NSPersistentStoreBackupProgress = Block<bool(std::uint64_t copied, std::uint64_t total)>;

/// A record that a save writes.
struct StoreRowChange {
  /// What happens to a record.
  enum class Kind : std::uint8_t {
    Insert,  ///< it is new
    Update,  ///< its values change
    Delete   ///< it goes
  };

  /// What happens to it.
  Kind kind;
  /// Of which entity the record is.
  const NSEntityDescription* entity;
  /// Its number among those of the entity's hierarchy.
  std::int64_t primaryKey;
  /// By property number; not read for a deletion. A relationship to one object stands there as that
  /// object's identifier, which is a permanent one of the same store.
  const Value* values;
  /// What the record holds so far; the values that are the same need not be written. Null for an
  /// insertion.
  const Value* committed;
  /// The version that the change is based on. An insertion gets the version after it: 0 unless the
  /// record is one that was deleted.
  std::uint32_t version;
};

/// What a save changes of one record's relationship to many, beyond what the records themselves
/// say. Where the way back leads to one object, that is the order only: the members are those
/// records that name this one.
struct StoreLinkChange {
  /// Which relationship of the record.
  const NSRelationshipDescription* relationship;
  /// The numbers of the record and of those at the other end.
  std::int64_t primaryKey;
  /// At the end of an order, in this one.
  std::vector<std::int64_t> added;
  /// No longer at the other end.
  std::vector<std::int64_t> removed;
  /// All members of an ordered relationship, if their order was changed.
  std::vector<std::int64_t> order;
};

/// What to look for in a store.
struct StoreQuery {
  /// Whose records. Requires: it is set.
  const NSEntityDescription* entity = nullptr;
  /// Whether records of descendants count as well.
  bool includesSubentities = true;
  /// Null stands for every record.
  Ref<NSPredicate> predicate;
  /// NSSortDescriptors; null or empty asks for ascending primary keys.
  Ref<NSArray> sortDescriptors;
  /// 0 sets no limit.
  NSUInteger limit = 0;
  /// How many of the first records are left out.
  NSUInteger offset = 0;
  /// False asks for identities and versions only.
  bool includesValues = true;
  /// The names of the only properties whose values are wanted; none stands for all of them. A store
  /// may give more.
  std::vector<Ref<NSString>> properties;
};

/// How much of a query a store does itself. The rest is done by whoever asks, in this order: the
/// remaining predicate, the sort, offset and limit.
struct StoreQueryPlan {
  /// What every record must satisfy beyond what the store checks; null if nothing.
  Ref<NSPredicate> remainingPredicate;
  /// Whether the records come in the order that the query asks for.
  bool sorts = false;
  /// Only where nothing remains to be done before.
  bool limits = false;
};

/// Where a store puts the records that it finds.
class StoreRowReceiver {
 public:
  /// Called for each record in order. Returns: the places for the values, one per property of
  /// `entity`, all null; or a null pointer if the values are not wanted.
  virtual Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                          std::uint32_t version) = 0;
  /// Called when the places of the row that was begun are filled.
  virtual void endRow() = 0;

 protected:
  ~StoreRowReceiver() = default;
};

/// Where a store puts the records that many others are related to.
class StoreRelatedReceiver : public StoreRowReceiver {
 public:
  /// Called before the records that this one leads to, if there are any.
  virtual void beginOwner(std::int64_t primaryKey) = 0;

 protected:
  ~StoreRelatedReceiver() = default;
};

/// A value that is read of each record of a query, or made of all records of a group.
struct StoreColumn {
  /// What is made of a value: itself, or one aggregate over a group.
  enum class Kind : std::uint8_t {
    Value,    ///< of each record
    Count,    ///< how many are not null
    Sum,      ///< of numbers
    Average,  ///< of numbers
    Minimum,  ///< the smallest one
    Maximum   ///< the largest one
  };

  /// What is made of the value.
  Kind kind;
  /// Through relationships to one to an attribute or a record, which is given as its identifier;
  /// without keys the record itself.
  KeyPath path;
};

/// What to read of records instead of the records.
struct StoreColumnQuery {
  /// Which records.
  StoreQuery query;
  /// What is read of them, in the order of the results.
  std::vector<StoreColumn> columns;
  /// Whether records with the same values in the columns of kind Value are one row, in the order of
  /// the groups' first records; sort descriptors, limit and offset are not looked at then. Without
  /// such columns there is one row, whether or not there are records.
  bool groups = false;
};

/// Takes: a row's values, to be kept, moved from or replaced: a text that the next row has in the
/// same place is not made again. Returns: whether to go on.
using StoreColumnReceiver = Block<bool(std::span<Value> values)>;

/// `Unable`: the store has nothing to gain over reading whole records, and has called nobody.
enum class StoreAnswer : std::uint8_t {
  Done,    ///< everything was given
  Unable,  ///< nothing was; ask for whole records
  Failed   ///< the error is set
};

/// What keeps records: one interface over a file and over memory.
///
/// Applications meet a store as what a coordinator returns; its operations on records are called by
/// the coordinator and its contexts only, under the coordinator's lock.
/// Threads: type, URL, identifier and the like: any. The rest: one call at a time.
class NSPersistentStore : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// NSSQLiteStoreType or NSInMemoryStoreType.
  virtual Ref<NSString> type() const = 0;
  /// Null for a store without a file.
  const Ref<NSURL>& URL() const noexcept { return _url; }
  /// Null for a store that takes objects of every entity.
  const Ref<NSString>& configurationName() const noexcept { return _configurationName; }
  /// Whether the store takes objects of the entity: whether its configuration names the entity or
  /// an ancestor of it.
  bool takes(const NSEntityDescription& entity) const noexcept;
  /// Null where none were given.
  const Ref<NSDictionary>& options() const noexcept { return _options; }
  /// The store's own name, a UUID that the file keeps.
  const Ref<NSString>& identifier() const noexcept { return _identifier; }
  /// Whether saves are refused.
  bool isReadOnly() const noexcept { return _readOnly; }
  /// The coordinator's model. Never null.
  const Ref<NSManagedObjectModel>& model() const noexcept { return _model; }

  /// Grows with each store that a coordinator gets.
  std::uint64_t place() const noexcept { return _place; }

  /// Whether coordinators still use the store.
  bool isOpen() const noexcept { return _open.load(std::memory_order_acquire); }

  // ---- Records, for coordinators and contexts ---------------------------------------------------

  /// Opens what there is or makes it. Fails: returns false, sets the error and has changed nothing.
  virtual bool open(Ref<NSError>* error) = 0;
  /// What was not committed is lost.
  virtual void close() = 0;

  /// Takes `count` numbers that no record of the hierarchy has or had, ascending from the result.
  /// Returns: 0 on failure.
  virtual std::int64_t takePrimaryKeys(const NSEntityDescription& entity, NSUInteger count,
                                       Ref<NSError>* error) = 0;

  /// Opens the one transaction that a save is. Fails: returns false and sets the error.
  virtual bool beginSave(Ref<NSError>* error) = 0;
  /// Writes records. A changed record gets the next version number.
  /// Fails: returns false and sets the error; a version that is not the record's any more, or a
  /// deleted record that is there again, gives 133020, values that repeat though they must be
  /// unique give 133021, with the index of the change in `conflict`. The save is to be abandoned
  /// then.
  virtual bool writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                         Ref<NSError>* error) = 0;
  /// Writes what relationships to many lead to, after all rows were written. What is there already,
  /// or gone already, is no failure.
  virtual bool writeLinks(std::span<const StoreLinkChange> changes, Ref<NSError>* error) = 0;
  /// Whether what was written holds together, so that nothing but the disk can keep a commit from
  /// succeeding: where a save goes to several stores, all are asked before the first one commits.
  /// Fails: returns false and sets the error, 133000 where a record would name one that is not
  /// there; the save is to be abandoned then.
  virtual bool prepareToCommit(Ref<NSError>* error) = 0;
  /// Makes everything written since `beginSave` durable, at once. Fails: nothing of it is kept;
  /// 133000 where a record would name one that is not there.
  virtual bool commitSave(Ref<NSError>* error) = 0;
  /// Forgets everything written since `beginSave`.
  virtual void abandonSave() noexcept = 0;

  /// How much of the query `fetchRows` will do.
  virtual StoreQueryPlan planQuery(const StoreQuery& query) = 0;
  /// Gives the records of the query, as far as the plan says, to the receiver.
  virtual bool fetchRows(const StoreQuery& query, StoreRowReceiver& receiver,
                         Ref<NSError>* error) = 0;
  /// Gives the one record to the receiver if it is there.
  virtual bool fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                        StoreRowReceiver& receiver, Ref<NSError>* error) = 0;
  /// Gives the record of the entity or a descendant that has these values under these numbers of
  /// properties, which a uniqueness constraint of the entity names, to the receiver if it is there.
  virtual bool fetchHolder(const NSEntityDescription& entity,
                           std::span<const std::size_t> properties, const NSArray& values,
                           StoreRowReceiver& receiver, Ref<NSError>* error) = 0;
  /// Gives the records at the other end of a relationship to many in its order; one that has no
  /// order in ascending order of their numbers.
  virtual bool fetchRelated(const NSRelationshipDescription& relationship, std::int64_t primaryKey,
                            StoreRowReceiver& receiver, Ref<NSError>* error) = 0;
  /// Gives those records of a hierarchy that are there, in any order. Takes: an entity of the
  /// hierarchy, and as many numbers as you like, each once.
  virtual bool fetchRecords(const NSEntityDescription& entity,
                            std::span<const std::int64_t> primaryKeys, bool includesValues,
                            StoreRowReceiver& receiver, Ref<NSError>* error);
  /// The same as `fetchRelated` of each of the records, in any order of theirs.
  virtual bool fetchRelatedOfAll(const NSRelationshipDescription& relationship,
                                 std::span<const std::int64_t> primaryKeys, bool includesValues,
                                 StoreRelatedReceiver& receiver, Ref<NSError>* error);
  /// How many records the query has. Requires: a plan without remaining predicate.
  virtual NSUInteger countRows(const StoreQuery& query, Ref<NSError>* error) = 0;

  /// Gives the values of the columns, exactly as they would come of the whole records, with the
  /// order, offset and limit of the query done.
  virtual StoreAnswer fetchColumns(const StoreColumnQuery& query,
                                   const StoreColumnReceiver& receiver, Ref<NSError>* error);

  // ---- Upkeep, for coordinators -----------------------------------------------------------------
  // Their operations of like names say what these do. A store without a file has nothing to do for
  // most of them.

  /// Returns: null on failure.
  virtual Ref<NSDictionary> metadata(Ref<NSError>* error);
  /// Takes: the application's own entries, found to be plain.
  virtual bool setOwnMetadata(const Ref<NSDictionary>& metadata, Ref<NSError>* error);
  /// Threads: beside all others, as long work. Requires: that the store is not closed meanwhile.
  virtual bool backup(const Ref<NSURL>& url, NSPersistentStoreBackupOptions options,
                      const NSPersistentStoreBackupProgress& progress, Ref<NSError>* error);
  /// The same. Returns: null if the check could not be made.
  virtual Ref<NSArray> integrityErrors(Ref<NSError>* error);
  // Fail: return false and set the error.
  virtual bool compact(Ref<NSError>* error);
  virtual bool readSize(NSPersistentStoreSize& size, Ref<NSError>* error);
  virtual bool suspend(Ref<NSError>* error);
  virtual bool resume(Ref<NSError>* error);
  /// Whether the store has let go of its file for the time being.
  virtual bool isSuspended() const noexcept { return false; }
  /// Lets go of what is kept only to be faster.
  virtual void releaseUnusedMemory() noexcept {}
  /// What a suspension or a removal ends.
  impl::LongWork& longWork() const noexcept { return *_longWork; }

  /// The token of the hierarchy that the entity belongs to; lives as long as the store.
  const impl::StoreHierarchy* hierarchyOf(const NSEntityDescription& entity) const noexcept;

 protected:
  NSPersistentStore(Ref<NSManagedObjectModel> model, Ref<NSString> configuration, Ref<NSURL> url,
                    Ref<NSDictionary> options);
  ~NSPersistentStore() override;

  /// For a store that has made or read its name.
  void setIdentifier(Ref<NSString> identifier) { _identifier = std::move(identifier); }
  /// For a store that has found whether it may write.
  void setReadOnly(bool readOnly) noexcept { _readOnly = readOnly; }

 private:
  friend class NSPersistentStoreCoordinator;

  Ref<NSManagedObjectModel> _model;
  Ref<NSString> _configurationName;
  Ref<NSURL> _url;
  Ref<NSDictionary> _options;
  Ref<NSString> _identifier;
  std::vector<std::unique_ptr<impl::StoreHierarchy>> _hierarchies;
  /// What the configuration names.
  std::vector<const NSEntityDescription*> _entities;
  std::unique_ptr<impl::LongWork> _longWork;
  /// The application's own entries, where there is no file to keep them.
  Ref<NSDictionary> _ownMetadata;
  std::uint64_t _place = 0;
  bool _readOnly = false;
  /// Written under the coordinator's lock, read by whoever has an object of the store.
  std::atomic<bool> _open{false};
};

}  // namespace JNFoundation
