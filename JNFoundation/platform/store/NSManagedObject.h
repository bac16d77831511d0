#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/ValueArray.h>

namespace JNFoundation::inline v0_1 {

class NSError;
class NSMutableOrderedSet;
class NSMutableSet;

namespace impl {
class ObjectAccess;
class ObjectRegistry;
struct StoreHierarchy;
}  // namespace impl

/// An object of a store: one record, alive in one context.
///
/// Its attributes are read and written by name. An application's class derives from it, is named in
/// the model, and declares a factory so that the store can make its instances:
///
///     class Country : public Subclass<Country, NSManagedObject> {
///      public:
///       Ref<NSString> code() const { return as<NSString>(storedValueForKey("code")); }
///       void setCode(const Ref<NSString>& code) { setStoredValueForKey(code, "code"); }
///     };
///     static const ClassDeclaration<Country> declaration =
///         ClassDeclaration<Country>().factory().property("code", &Country::code,
///         &Country::setCode);
///
/// An object may be a fault: known by its identifier, its values not read yet. Reading or writing a
/// value fires it. Equality is identity, since a context has one object per record.
/// Threads: the context's only.
class NSManagedObject : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A new object of the class that the entity names, inserted into the context, or, without a
  /// context, on its own.
  /// Fails: raises NSInvalidArgumentException for a null or abstract entity and for an entity of
  /// another model than the context's, NSInternalInconsistencyException for a class that is not
  /// linked into the program or has no factory.
  static Ref<NSManagedObject> initWithEntityInsertIntoManagedObjectContext(
      const Ref<NSEntityDescription>& entity, const Ref<NSManagedObjectContext>& context);

  /// Never null.
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  /// Temporary until the object is saved or its context obtains a permanent one.
  Ref<NSManagedObjectID> objectID() const;
  /// Returns: null for an object that is in no context, whose context is gone, or whose deletion
  /// was saved.
  Ref<NSManagedObjectContext> managedObjectContext() const noexcept;

  /// Whether the object was never saved, and its context is to insert it.
  bool isInserted() const noexcept { return (_flags & Inserted) != 0; }
  /// Whether an object of the store was written to since the last save, be it with equal values.
  bool isUpdated() const noexcept { return (_flags & (Updated | Inserted | Deleted)) == Updated; }
  /// Whether the object is to be deleted by the next save.
  bool isDeleted() const noexcept { return (_flags & Deleted) != 0; }
  /// Whether the next save inserts, updates or deletes the object.
  bool hasChanges() const noexcept { return (_flags & (Inserted | Updated | Deleted)) != 0; }
  /// Whether nobody has looked at the values yet.
  bool isFault() const noexcept { return (_flags & Fault) != 0; }

  /// The value under a key: by the operation that the object's class declares for it, else from the
  /// property of that name. A relationship to one object gives the object or null, one to many an
  /// NSSet, or an NSOrderedSet where it is ordered, of the members at this moment.
  /// Fails: an unknown key raises NSUndefinedKeyException; a fault whose record is gone raises
  /// NSObjectInaccessibleException.
  Value valueForKey(const Ref<NSString>& key) const override;
  /// Writes through the declared operation, else to the property. Null clears it. A relationship is
  /// changed at its other end as well: who is related anew, and who no longer is, notices at once.
  /// Fails: a value of another kind than the attribute's raises NSInvalidArgumentException and
  /// changes nothing, and so does an object of another context; an unknown key raises
  /// NSUndefinedKeyException.
  void setValueForKey(const Value& value, const Ref<NSString>& key) override;
  Value valueForUndefinedKey(const Ref<NSString>& key) const override;
  void setValueForUndefinedKey(const Value& value, const Ref<NSString>& key) override;

  // The members of a relationship to many as a live set: adding and removing change both ends, and
  // do not read the members where the way back leads to one object. Fail: raise
  // NSUndefinedKeyException for an unknown key, NSInvalidArgumentException for another property,
  // and for an ordered relationship here or one without order below.
  Ref<NSMutableSet> mutableSetValueForKey(const Ref<NSString>& key);
  Ref<NSMutableOrderedSet> mutableOrderedSetValueForKey(const Ref<NSString>& key);

  /// Whether reading the relationship would read the store. Fires no fault.
  /// Fails: raises NSUndefinedKeyException for a key that names no relationship.
  bool hasFaultForRelationshipNamed(const Ref<NSString>& key) const;

  /// The property itself, past declared operations: what the body of an accessor calls. Fires a
  /// fault, checks the value's kind and tracks the change as `setValueForKey` does.
  Value storedValueForKey(const Ref<NSString>& key) const;
  void setStoredValueForKey(const Value& value, const Ref<NSString>& key);
  /// Whether the object's class has an accessor of its own for the property, by which `valueForKey`
  /// reads or `setValueForKey` writes.
  bool declaresAccessorForKey(const Ref<NSString>& key) const;

  /// The property's place without firing a fault and without tracking: use it between
  /// `willChangeValueForKey` and `didChangeValueForKey`, or for transient attributes.
  /// Returns: null while the object is a fault. Fails: setting raises NSInvalidArgumentException
  /// for a relationship, which has two ends.
  Value primitiveValueForKey(const Ref<NSString>& key) const;
  void setPrimitiveValueForKey(const Value& value, const Ref<NSString>& key);

  /// Fires a fault.
  void willAccessValueForKey(const Ref<NSString>& key) const;
  /// Does nothing; the end of what `willAccessValueForKey` began.
  void didAccessValueForKey(const Ref<NSString>& key) const;
  /// Fires a fault and marks the object as updated.
  void willChangeValueForKey(const Ref<NSString>& key);
  /// Does nothing; the end of what `willChangeValueForKey` began.
  void didChangeValueForKey(const Ref<NSString>& key);

  /// The stored properties whose values differ from those last fetched or saved, by name; NSNull
  /// for null. Fires no fault of the object itself.
  Ref<NSDictionary> changedValues() const;
  /// The values last fetched or saved, NSNull for null; of an inserted object, NSNull for all, and
  /// empty sets. A null list of keys stands for every stored property. Unknown keys raise.
  Ref<NSDictionary> committedValuesForKeys(const Ref<NSArray>& keys) const;

  /// Called once, when the object is inserted, after the defaults are set.
  virtual void awakeFromInsert();
  /// Called when a fault has read its values; what it changes is not tracked.
  virtual void awakeFromFetch();
  /// Called by a save for every object with changes, again until no object changes any more.
  virtual void willSave();
  /// Called after a save for every object that was saved; changes are new changes.
  virtual void didSave();
  /// Called once, when the object is about to be deleted.
  virtual void prepareForDeletion();

  /// Whether the value may be saved under the key. Asks what the model says of the attribute (kind,
  /// range, length, pattern, null) and then the operation that the object's class declares as
  /// `validate<Key>:error:`, see ValidationOperation.h. Either may put another value in the place
  /// of the one given. The object itself stays as it is, and need not hold the value. Returns: true
  /// for a key that nothing is said about. Fails: returns false and sets the error, which names
  /// object, key and value.
  virtual bool validateValueForKeyError(Value& value, const Ref<NSString>& key,
                                        Ref<NSError>* error);

  /// What a save asks of each object that it is about to insert, update or delete: whether the
  /// values are ones that the model allows. Every value goes through `validateValueForKeyError`;
  /// one that comes back changed is the object's from then on. An override calls the base as well.
  /// Fails: returns false and sets the error; several failures are one error 1560 that lists them
  /// under NSDetailedErrors. Without an out-parameter the first failure ends the check.
  virtual bool validateForInsert(Ref<NSError>* error);
  /// As `validateForInsert`, of an object that was changed.
  virtual bool validateForUpdate(Ref<NSError>* error);
  /// As `validateForInsert`, of an object that is to go.
  virtual bool validateForDelete(Ref<NSError>* error);

  /// The class, entity, identifier and values. Fires no fault.
  Ref<NSString> description() const override;

 protected:
  /// For factories; the store attaches entity, context and values.
  NSManagedObject();
  ~NSManagedObject() override;

 public:
  // Objects stand beside each other in memory, since they mostly come and go together.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory) noexcept;
  static void* operator new(std::size_t size, std::align_val_t alignment);
  static void operator delete(void* memory, std::align_val_t alignment) noexcept;

 private:
  friend class impl::ObjectAccess;

  enum Flag : std::uint32_t {
    Inserted = 1,
    Updated = 2,
    Deleted = 4,
    Fault = 8,        ///< not looked at since it was fetched; its values may be at hand already
    HasValues = 16,   ///< `_values` hold what the store has, or what the object was given
    Awakening = 32,   ///< in awakeFromFetch: changes are not tracked
    Invalid = 64,     ///< its context was reset, or forgot it
    Preparing = 128,  ///< in prepareForDeletion
    // What the context has yet to tell its observers.
    EventInserted = 256,
    EventUpdated = 512,
    EventDeleted = 1024,
    EventRefreshed = 2048,
    EventCancelled = 4096,  ///< it came and went
    /// A fault that has some of its values, see UnreadPlace.
    Partial = 8192,
    /// Its values were let go of untold: what is read in their place may be something else.
    Dropped = 16384,
  };

  /// Stops the process where use on the wrong thread is noticed.
  void requireThread() const noexcept;
  Value valueAtIndex(std::size_t index) const;
  /// Whether this is a fault of which the property, among others, was read.
  bool hasReadPlace(std::size_t index) const noexcept;
  /// What the attribute's place stands for. Fires no fault. Requires: the object has values.
  Value attributeAtIndex(std::size_t index) const;
  void fire() const;
  void willChange();
  void trackChange();
  void setValueAtIndex(std::size_t index, const Value& value);
  bool validateValues(Ref<NSError>* error);
  bool validateRelationship(std::size_t index, Ref<NSError>* error,
                            std::vector<Ref<NSError>>& errors);
  void checkValue(std::size_t index, const Value& value) const;

  // What is asked of every object that is looked up stands beside the count of its references.
  std::uint32_t _flags = 0;
  std::uint32_t _version = 0;
  /// The place in the context's list of changes.
  std::uint32_t _changeIndex = 0;
  std::int64_t _number = 0;
  /// Where the record stands; null while the identifier is temporary.
  const impl::StoreHierarchy* _hierarchy = nullptr;
  Ref<NSEntityDescription> _entity;
  /// By property number; null while nothing is known.
  ValueArray _values;
  /// What the values were when last fetched or saved; null while nothing was changed since.
  ValueArray _committed;
  /// The context's list of its objects; null for an object without a context.
  Ref<impl::ObjectRegistry> _registry;
  mutable Ref<NSManagedObjectID> _objectID;
};

}  // namespace JNFoundation
