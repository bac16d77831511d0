#pragma once

#include <memory>

#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation {

class NSError;
class NSPersistentStoreCoordinator;
class NSSet;

namespace impl {
class ContextChanges;
class ContextFetch;
class ContextSave;
}  // namespace impl

enum NSManagedObjectContextConcurrencyType : NSUInteger {
  NSMainQueueConcurrencyType = 2,
};

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
/// Threads: the context and its objects belong to one thread, the main one.
class NSManagedObjectContext : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  static Ref<NSManagedObjectContext> init() {
    return initWithConcurrencyType(NSMainQueueConcurrencyType);
  }
  static Ref<NSManagedObjectContext> initWithConcurrencyType(
      NSManagedObjectContextConcurrencyType type);

  /// Null until it is set.
  const Ref<NSPersistentStoreCoordinator>& persistentStoreCoordinator() const noexcept {
    return _coordinator;
  }
  /// Fails: raises NSInternalInconsistencyException when the context has objects already.
  void setPersistentStoreCoordinator(const Ref<NSPersistentStoreCoordinator>& coordinator);

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
  /// Gives inserted objects their permanent identifiers before they are saved.
  bool obtainPermanentIDsForObjectsError(const Ref<NSArray>& objects,
                                         Ref<NSError>* error = nullptr);

  bool hasChanges() const noexcept;
  /// Sets of objects, made anew at each call.
  Ref<NSSet> insertedObjects() const;
  Ref<NSSet> updatedObjects() const;
  Ref<NSSet> deletedObjects() const;
  /// Every object that the context knows at the moment.
  Ref<NSSet> registeredObjects() const;

  /// Writes every change in one transaction, or none of them.
  /// Fails: returns false and sets the error; the changes stay pending. 1570 and its kind for
  /// values that the model forbids, 1560 for several of them (listed under NSDetailedErrors),
  /// 133020 when somebody else changed a record meanwhile, codes from 134030 on when the store
  /// cannot be written.
  bool save(Ref<NSError>* error = nullptr);
  /// Drops the unsaved changes: inserted objects are forgotten, others read as last fetched or
  /// saved.
  void rollback();
  /// Forgets every object; using one afterwards raises NSObjectInaccessibleException.
  void reset();

  /// Runs what the end of a turn runs, the delete rules of what was deleted: the first change of a
  /// turn posts a main-queue task for it.
  void processPendingChanges();

 protected:
  explicit NSManagedObjectContext(NSManagedObjectContextConcurrencyType type);
  ~NSManagedObjectContext() override;

 private:
  friend class impl::ContextFetch;
  friend class impl::ContextSave;
  friend class impl::ObjectAccess;
  friend class NSManagedObject;

  /// Reads the values of a fault from its store. Returns: whether its record is there.
  bool readValues(NSManagedObject& object, Ref<NSError>* error);
  /// The same. Fails: raises NSObjectInaccessibleException if the record is gone.
  void fulfillFault(NSManagedObject& object);
  void noteUpdate(NSManagedObject& object);
  void noteDeleteRules(NSManagedObject& object);
  /// Runs the delete rules of what was deleted since the last time.
  void propagateDeletes();
  void forgetUnsaved();
  /// Has the end of this turn process what was changed.
  void noteChange();
  void forgetObjects() noexcept;
  void requireCoordinator() const;

  Ref<NSPersistentStoreCoordinator> _coordinator;
  Ref<NSString> _name;
  Ref<impl::ObjectRegistry> _registry;
  std::unique_ptr<impl::ContextChanges> _changes;
};

}  // namespace JNFoundation
