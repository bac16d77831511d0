#pragma once

#include <memory>
#include <span>

#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

class NSError;
class NSNotification;
class NSMergePolicy;
class NSPersistentStoreCoordinator;
class NSSet;

namespace impl {
class ConflictResolution;
class ContextChanges;
class ContextEvents;
class ContextFamily;
class ContextFetch;
class ContextMerge;
class ContextQueue;
class ContextSave;
class ParentContext;
class ParentSave;
struct ObjectKey;
class SaveConflicts;
}  // namespace impl

/// Where a context works.
enum NSManagedObjectContextConcurrencyType : NSUInteger {
  /// The context has a queue of its own, on an executor of the application.
  NSPrivateQueueConcurrencyType = 1,
  /// The context belongs to the main thread.
  NSMainQueueConcurrencyType = 2,
};

/// Runs the task once, on any thread, now or later, or drops it.
using NSManagedObjectContextExecutor = Block<void(Block<void()> task)>;

// What a context tells through the default notification centre, with the context as its object. The
// sets of the user info, by the keys below, hold objects of the context, which belong to its queue;
// the sets of identifiers, and the identifiers of the objects, may be read on any thread.

/// When pending changes were processed: at the end of a turn or of a performed block, before a
/// fetch and within a save. Has those of the sets NSInsertedObjectsKey to NSRefreshedObjectsKey
/// that are not empty, with every object in one of them; after a reset NSInvalidatedAllObjectsKey,
/// true.
inline constexpr const char* NSManagedObjectContextObjectsDidChangeNotification =
    "NSManagedObjectContextObjectsDidChangeNotification";
/// Before a save asks the objects. No user info.
inline constexpr const char* NSManagedObjectContextWillSaveNotification =
    "NSManagedObjectContextWillSaveNotification";
/// After a save has succeeded. Has the sets of what was inserted, updated and deleted, and those of
/// their identifiers, empty ones too.
inline constexpr const char* NSManagedObjectContextDidSaveNotification =
    "NSManagedObjectContextDidSaveNotification";

// Keys of the sets of objects in a notification's user info: inserted, updated, deleted, and read
// again.
inline constexpr const char* NSInsertedObjectsKey = "inserted";
inline constexpr const char* NSUpdatedObjectsKey = "updated";
inline constexpr const char* NSDeletedObjectsKey = "deleted";
inline constexpr const char* NSRefreshedObjectsKey = "refreshed";
/// In place of all sets after a reset: true.
inline constexpr const char* NSInvalidatedAllObjectsKey = "invalidatedAll";
// Keys of the sets of identifiers in a notification's user info.
inline constexpr const char* NSInsertedObjectIDsKey = "inserted_objectIDs";
inline constexpr const char* NSUpdatedObjectIDsKey = "updated_objectIDs";
inline constexpr const char* NSDeletedObjectIDsKey = "deleted_objectIDs";

/// A workbench for objects of a store: it finds and makes them, keeps one object per record, and
/// writes all changes down in one transaction.
///
///     auto context = NSManagedObjectContext::initWithConcurrencyType(NSMainQueueConcurrencyType);
///     context->setPersistentStoreCoordinator(coordinator);
///     auto country = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
///         "Country", context);
///     country->setValueForKey("France", "name");
///     Ref<NSError> error;
///     if (!context->save(&error)) report(error);
///
/// A context keeps changed objects alive; others live as long as somebody refers to them.
/// Operations with an `error` out-parameter leave it alone on success; it may be null.
///
/// Threads: the context and its objects belong to its queue: to the main thread, or to the blocks
/// that `performBlock` and `performBlockAndWait` run. What may cross are identifiers. In builds for
/// debugging, use of a context or an object anywhere else stops the process with a message.
/// Setters, and the operations under "Queues", are for any thread.
class NSManagedObjectContext : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A context of the main thread.
  static Ref<NSManagedObjectContext> init() {
    return initWithConcurrencyType(NSMainQueueConcurrencyType);
  }
  /// Fails: raises NSInvalidArgumentException for a private queue while there is no default
  /// executor.
  static Ref<NSManagedObjectContext> initWithConcurrencyType(
      NSManagedObjectContextConcurrencyType type);
  /// Takes: what runs the blocks of a private queue, not used by the main one.
  static Ref<NSManagedObjectContext> initWithConcurrencyTypeExecutor(
      NSManagedObjectContextConcurrencyType type, NSManagedObjectContextExecutor executor);
  /// What private queues run on that are made without an executor of their own; null at first, for
  /// the library has no threads. Threads: any.
  static void setDefaultExecutor(NSManagedObjectContextExecutor executor);

  // ---- Queues -----------------------------------------------------------------------------------

  /// Where the context works.
  NSManagedObjectContextConcurrencyType concurrencyType() const noexcept { return _type; }

  /// Runs the block in the context's queue, behind what was posted before, and processes pending
  /// changes after it. The context lives until then. The block must not be null.
  /// Calls: the block, later, never before this returns; an executor that runs tasks at once runs
  /// it at once. It is never called when the executor drops its task, or the main queue goes.
  void performBlock(Block<void()> block);
  /// Runs the block in the context's queue and returns when it is done: on the main thread for its
  /// contexts, on the calling thread for others, once what was posted before has run. Called from
  /// inside the queue it runs the block at once. A thread that waits here does meanwhile what the
  /// contexts of its own are asked for by those it waits for, so that two contexts may ask each
  /// other. Does not process pending changes; the end of the turn does. The block must not be null.
  /// Fails: what the block throws.
  void performBlockAndWait(const Block<void()>& block);

  /// Of a child the one that its parent has. Null until it is set.
  const Ref<NSPersistentStoreCoordinator>& persistentStoreCoordinator() const noexcept {
    return _coordinator;
  }
  /// Fails: raises NSInternalInconsistencyException when the context has objects already, or a
  /// parent.
  void setPersistentStoreCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator);

  // ---- Parents ----------------------------------------------------------------------------------

  /// The context that this one reads from and saves to, in place of the stores; null for none.
  ///
  /// A child sees what its parent has at the moment at which it reads, unsaved changes included,
  /// and keeps what it has read. Its save writes nothing: it makes the changes in the parent,
  /// property by property, where they wait for the parent's own save; values of properties that
  /// stores do not keep go along. What the parent changes later a child learns by refreshing, or by
  /// merging the parent's saves. Objects made in a child keep temporary identifiers until the last
  /// parent saves; both identifiers find the object then, in every context below.
  const Ref<NSManagedObjectContext>& parentContext() const noexcept { return _parent; }
  /// The context keeps its parent, and takes over its coordinator. Requires: nobody uses the
  /// context meanwhile. Fails: raises NSInternalInconsistencyException when the context has objects
  /// already, or a coordinator, and NSInvalidArgumentException for itself, a descendant of its own,
  /// and a parent without a coordinator.
  void setParentContext(const Ref<NSManagedObjectContext>& parent);

  /// What a save does about records that somebody else has changed meanwhile, and about values that
  /// must be unique. The error policy at first; null sets that one.
  const Ref<NSMergePolicy>& mergePolicy() const noexcept { return _mergePolicy; }
  void setMergePolicy(const Ref<NSMergePolicy>& policy);

  /// For logs; null until it is set.
  const Ref<NSString>& name() const noexcept { return _name; }
  void setName(const Ref<NSString>& name);

  // ---- Finding objects --------------------------------------------------------------------------

  /// The objects, identifiers, dictionaries or the one count that the request asks for. Unsaved
  /// changes are part of it: inserted objects that match appear, deleted ones do not, changed ones
  /// are judged by their values here. An object that the context has already is not changed.
  /// Returns: an empty array when nothing matches; null on failure, with the error set.
  /// Fails: raises NSInvalidArgumentException for a request without an entity or with one that the
  /// model lacks; a key that the entity lacks raises as well.
  Ref<NSArray> executeFetchRequestError(const Ref<NSFetchRequest>& request,
                                        Ref<NSError>* error = nullptr);
  /// How many objects executing the request would give. Returns: NSNotFound on failure.
  NSUInteger countForFetchRequestError(const Ref<NSFetchRequest>& request,
                                       Ref<NSError>* error = nullptr);

  /// The values that a request of NSDictionaryResultType gives, without the dictionaries: those of
  /// one dictionary after the other, in the order of the request's `propertiesToFetch`, null for
  /// none. For reading many records once.
  /// Calls: the block with each, until it sets stop. The values are the block's to keep, to move
  /// from and to replace, the span is not; a text that is in its place already when the next ones
  /// are read need not be made again. The stores wait meanwhile, so the block does not use them,
  /// nor any context. Returns: false on failure, with the error set. Fails: raises
  /// NSInvalidArgumentException for a request with another result type or without
  /// `propertiesToFetch`, and where `executeFetchRequestError` does; what the block raises comes
  /// through.
  bool enumerateValuesOfFetchRequestErrorUsingBlock(
      const Ref<NSFetchRequest>& request, Ref<NSError>* error,
      const Block<void(std::span<Value> values, bool& stop)>& block);

  /// Executes a fetch request, as `executeFetchRequestError` does, or a batch request: an
  /// NSBatchInsertRequest, NSBatchUpdateRequest or NSBatchDeleteRequest. A batch request changes
  /// the stores at once, past this context: its objects, and its unsaved changes, stay what they
  /// are. Returns: the NSArray of a fetch; the result of a batch request, an NSBatchInsertResult
  /// and so on; null on failure, with the error set and nothing changed.
  Value executeRequestError(const Ref<NSPersistentStoreRequest>& request,
                            Ref<NSError>* error = nullptr);

  /// The object of that identifier: the registered one, else a fault, without a look at the store.
  /// Returns: null only for a null identifier, and for a temporary one that the context does not
  /// know.
  Ref<NSManagedObject> objectWithID(const Ref<NSManagedObjectID>& objectID);
  /// The registered object, else the one that the store has, with its values read.
  /// Returns: null if there is none; the error is 133000 then.
  Ref<NSManagedObject> existingObjectWithIDError(const Ref<NSManagedObjectID>& objectID,
                                                 Ref<NSError>* error = nullptr);
  /// Returns: null if the context does not have the object at the moment.
  Ref<NSManagedObject> registeredObjectForID(const Ref<NSManagedObjectID>& objectID) const;

  // ---- Changing them ----------------------------------------------------------------------------

  /// Takes an object that was made without a context. An object that is in this context is left as
  /// it is, a deleted one is undeleted; what its delete rules have done by then stays done. An
  /// object whose deletion was saved comes back as a new one that is related to nobody. Fails:
  /// raises NSInvalidArgumentException for an object of another context.
  void insertObject(const Ref<NSManagedObject>& object);
  /// Marks the object; its record goes with the next save. Its delete rules run when pending
  /// changes are processed: at the end of the turn, before a fetch and before a save. An object
  /// that was never saved is forgotten at once, and its rules run at once. A rule that denies has
  /// the save fail. Who is related to the object afterwards is met by its rules as well. Fails:
  /// raises NSInvalidArgumentException for an object of another context.
  void deleteObject(const Ref<NSManagedObject>& object);
  /// Whether delete rules run when pending changes are processed, as they do unless it is set
  /// otherwise, or only within a save.
  bool propagatesDeletesAtEndOfEvent() const noexcept { return _propagatesDeletesAtEndOfEvent; }
  void setPropagatesDeletesAtEndOfEvent(bool propagates) noexcept {
    _propagatesDeletesAtEndOfEvent = propagates;
  }
  /// Gives inserted objects their permanent identifiers before they are saved.
  bool obtainPermanentIDsForObjectsError(const Ref<NSArray>& objects,
                                         Ref<NSError>* error = nullptr);

  /// Whether anything is to be inserted, updated or deleted.
  bool hasChanges() const noexcept;
  // Sets of objects, made anew at each call.
  Ref<NSSet> insertedObjects() const;
  Ref<NSSet> updatedObjects() const;
  Ref<NSSet> deletedObjects() const;
  /// Every object that the context knows at the moment.
  Ref<NSSet> registeredObjects() const;

  /// Writes every change in one transaction, or none of them.
  /// Fails: returns false and sets the error; the changes stay pending, together with what a merge
  /// policy has merged into them by then. 1570 and its kind for values that the model forbids, 1560
  /// for several of them (listed under NSDetailedErrors); as the merge policy wants, 133020 when
  /// somebody else changed a record meanwhile and 133021 for values that must be unique; codes from
  /// 134030 on when the store cannot be written.
  bool save(Ref<NSError>* error = nullptr);
  /// Has the next save that writes anything treat the record of an object as one that the context
  /// changes: if somebody else has changed it meanwhile, that is a conflict.
  /// Fails: raises NSInvalidArgumentException for an object of another context.
  void detectConflictsForObject(const Ref<NSManagedObject>& object);
  /// Drops the unsaved changes: inserted objects are forgotten, others read as last fetched or
  /// saved.
  void rollback();
  /// Forgets every object; using one afterwards raises NSObjectInaccessibleException.
  void reset();

  // ---- Bringing objects up to date --------------------------------------------------------------

  /// Has the object read its record anew. Merging changes: what was changed here stays changed, on
  /// top of what the record holds now; an object without changes becomes a fault. Not merging:
  /// changes are dropped, and the object becomes a fault. Ignored for inserted objects; a deleted
  /// one stays deleted.
  /// Fails: raises NSObjectInaccessibleException for an object with changes whose record is gone,
  /// and NSInvalidArgumentException for an object of another context.
  void refreshObjectMergeChanges(const Ref<NSManagedObject>& object, bool mergesChanges);
  /// The same of every object that is here, merging changes.
  void refreshAllObjects();

  /// Takes over what another context has saved: its NSManagedObjectContextDidSaveNotification,
  /// which may have come on any thread. What it updated is read again, with changes made here on
  /// top; what it inserted can be met here; what it deleted is gone here as well, with its changes.
  /// Observers are told, before this returns: updated objects come as refreshed ones. Ignored: a
  /// save of this very context, and objects of stores that the coordinator does not have. Takes:
  /// null for nothing.
  void mergeChangesFromContextDidSaveNotification(const Ref<NSNotification>& notification);
  /// The same for several contexts, each in its queue, of a dictionary with sets or arrays of
  /// identifiers, or of their URIs, under the notification's keys: of a batch request, for
  /// instance. Returns when all of them have done it.
  static void mergeChangesFromRemoteContextSaveIntoContexts(const Ref<NSDictionary>& changes,
                                                            const Ref<NSArray>& contexts);
  /// Whether the saves of the parent, or of any other context of the same coordinator, are merged
  /// as they come, in the context's queue. False unless it is set otherwise. Threads: any.
  bool automaticallyMergesChangesFromParent() const noexcept;
  void setAutomaticallyMergesChangesFromParent(bool merges);

  /// What becomes of a fault whose record is gone when somebody looks at it. True, as it is unless
  /// it is set otherwise: it has no values, is deleted, and is no longer the context's; observers
  /// are told. False: looking at it raises NSObjectInaccessibleException, as it does in a child,
  /// and everywhere when a store cannot be read.
  bool shouldDeleteInaccessibleFaults() const noexcept { return _deletesInaccessibleFaults; }
  void setShouldDeleteInaccessibleFaults(bool deletes) noexcept {
    _deletesInaccessibleFaults = deletes;
  }

  /// For a system that is short of memory: objects without changes become faults, and stores let go
  /// of what they only keep to be faster. Nobody is told, since nothing that can be seen changes;
  /// an object whose record others have changed meanwhile is told as refreshed once it is read.
  void releaseUnusedMemory();

  /// Runs what the end of a turn runs: the delete rules of what was deleted, then the observers of
  /// what has changed. The first change of a turn posts a task for it. From inside an observer it
  /// runs the rules only; the observers are told when the present ones have returned.
  void processPendingChanges();

 protected:
  NSManagedObjectContext(NSManagedObjectContextConcurrencyType type,
                         NSManagedObjectContextExecutor executor);
  ~NSManagedObjectContext() override;

 private:
  friend class impl::ContextFamily;
  friend class impl::ConflictResolution;
  friend class impl::ContextFetch;
  friend class impl::ContextMerge;
  friend class impl::ContextSave;
  friend class impl::ObjectAccess;
  friend class impl::ParentContext;
  friend class impl::ParentSave;
  friend class impl::SaveConflicts;
  friend class NSManagedObject;

  /// Returns: null if there is none.
  Ref<NSManagedObject> registeredObject(const NSManagedObjectID& objectID) const;
  /// The registered object of that identity, else a fault; of a temporary one only where a parent
  /// may have it. Returns: null otherwise.
  Ref<NSManagedObject> objectForKey(const impl::ObjectKey& key, const NSEntityDescription& entity);
  /// Reads what the store, or the parent, has of an object. Returns: whether it has it.
  bool readRecord(const NSManagedObject& object, ValueArray& values, std::uint32_t& version,
                  Ref<NSError>* error);
  /// Reads the values of a fault. Returns: whether its record is there.
  bool readValues(NSManagedObject& object, Ref<NSError>* error);
  /// Gives a fault what was read for it, and notes it if it had other values before.
  void giveValues(NSManagedObject& object, ValueArray values, std::uint32_t version);
  /// The same. Fails: raises NSObjectInaccessibleException if the record is gone, and the object is
  /// not to be deleted for it.
  void fulfillFault(NSManagedObject& object);
  void noteUpdate(NSManagedObject& object);
  void noteEdit(NSManagedObject& object);
  /// Tells observers what was noted, and what they change, until nothing is left.
  void tellChanges();
  void noteDeleteRules(NSManagedObject& object);
  /// Runs the delete rules of what was deleted since the last time.
  void propagateDeletes();
  void forgetUnsaved();
  void forget(NSManagedObject& object);
  /// Has the end of this turn process what was changed.
  void noteChange();
  void listForMerging();
  void forgetObjects() noexcept;
  void requireCoordinator() const;

  const NSManagedObjectContextConcurrencyType _type;
  const Ref<impl::ContextQueue> _queue;
  Ref<NSPersistentStoreCoordinator> _coordinator;
  Ref<NSManagedObjectContext> _parent;
  std::unique_ptr<impl::ContextFamily> _family;
  Ref<NSString> _name;
  Ref<NSMergePolicy> _mergePolicy;
  Ref<impl::ObjectRegistry> _registry;
  std::unique_ptr<impl::ContextChanges> _changes;
  std::unique_ptr<impl::ContextEvents> _events;
  bool _deletesInaccessibleFaults = true;
  bool _propagatesDeletesAtEndOfEvent = true;
};

}  // namespace JNFoundation
