#pragma once

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation::inline v0_1 {

/// The base of an application's model classes: they merge decoded records into themselves, and find
/// objects of their own entity.
///
///     class Country : public Subclass<Country, PLVManagedObject> {
///      public:
///       static Ref<NSEntityDescription> entityInManagedObjectContext(
///           const Ref<NSManagedObjectContext>& context);
///       Ref<PLVDictionaryDataMap> entityDataMap() const override;
///     };
///     …
///     country->mergeDictionary(record);
///     Ref<Country> france = Country::firstObjectInContextErrorMatching(
///         context, &error, "alpha2 == %@", "FR");
///
/// The class operations need `entityInManagedObjectContext` of the subclass, and exist for
/// subclasses only. Operations with an `error` out-parameter, which may be null, leave it alone on
/// success. Threads: the context's.
class PLVManagedObject : public NSManagedObject {
 public:
  using Superclass = NSManagedObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The map of the subclass's entity, which the subclass builds once. Returns: null here.
  virtual Ref<PLVDictionaryDataMap> entityDataMap() const;

  /// Maps the record onto this object by `entityDataMap`; nothing without one. Attributes whose
  /// keys the record lacks keep their values.
  void mergeDictionary(const Ref<NSDictionary>& record);

  template <class Self, class Above>
  class ClassOperations;

 protected:
  PLVManagedObject() = default;

  // What the class operations come down to.
  static Ref<NSFetchRequest> requestForEntity(const Ref<NSEntityDescription>& entity,
                                              const Ref<NSPredicate>& predicate);
  static Ref<NSArray> executeRequest(const Ref<NSFetchRequest>& request, NSUInteger limit,
                                     const Ref<NSManagedObjectContext>& context,
                                     Ref<NSError>* error);
  [[noreturn]] static void raiseForeignClass(const Value& object, const Class& wanted);
  static Value aggregate(
      const Class& receiver, const Ref<NSString>& attributeName, const Ref<NSString>& function,
      Ref<NSEntityDescription> (*entityInContext)(const Ref<NSManagedObjectContext>&),
      const Ref<NSManagedObjectContext>& context, Ref<NSError>* error);
};

/// Without a sort order, the first object is the first in the store's own order.
template <class Self, class Above>
class PLVManagedObject::ClassOperations : public Above {
 public:
  /// A request for the entity; null as the predicate asks for all objects.
  static Ref<NSFetchRequest> fetchRequestWithPredicateContext(
      const Ref<NSPredicate>& predicate, const Ref<NSManagedObjectContext>& context) {
    return Above::requestForEntity(Self::entityInManagedObjectContext(context), predicate);
  }
  template <class... Arguments>
  static Ref<NSFetchRequest> fetchRequestInContextMatching(
      const Ref<NSManagedObjectContext>& context, const Ref<NSString>& format,
      const Arguments&... arguments) {
    return fetchRequestWithPredicateContext(NSPredicate::predicateWithFormat(format, arguments...),
                                            context);
  }

  /// All matching objects. Returns: null when the fetch failed.
  static Ref<NSArray> objectsMatchingPredicateContextError(
      const Ref<NSPredicate>& predicate, const Ref<NSManagedObjectContext>& context,
      Ref<NSError>* error) {
    return objectsMatchingPredicateLimitContextError(predicate, 0, context, error);
  }
  /// At most `limit` of them; 0 sets no limit.
  static Ref<NSArray> objectsMatchingPredicateLimitContextError(
      const Ref<NSPredicate>& predicate, NSUInteger limit,
      const Ref<NSManagedObjectContext>& context, Ref<NSError>* error) {
    return Above::executeRequest(fetchRequestWithPredicateContext(predicate, context), limit,
                                 context, error);
  }
  template <class... Arguments>
  static Ref<NSArray> objectsInContextErrorMatching(const Ref<NSManagedObjectContext>& context,
                                                    Ref<NSError>* error,
                                                    const Ref<NSString>& format,
                                                    const Arguments&... arguments) {
    return objectsInContextLimitErrorMatching(context, 0, error, format, arguments...);
  }
  template <class... Arguments>
  static Ref<NSArray> objectsInContextLimitErrorMatching(const Ref<NSManagedObjectContext>& context,
                                                         NSUInteger limit, Ref<NSError>* error,
                                                         const Ref<NSString>& format,
                                                         const Arguments&... arguments) {
    return objectsMatchingPredicateLimitContextError(
        NSPredicate::predicateWithFormat(format, arguments...), limit, context, error);
  }
  /// The first matching object. Returns: null for none, and when the fetch failed.
  /// Fails: raises NSInternalInconsistencyException when the entity names another class, so that
  /// what was found is no Self.
  template <class... Arguments>
  static Ref<Self> firstObjectInContextErrorMatching(const Ref<NSManagedObjectContext>& context,
                                                     Ref<NSError>* error,
                                                     const Ref<NSString>& format,
                                                     const Arguments&... arguments) {
    const Ref<NSArray> found =
        objectsInContextLimitErrorMatching(context, 1, error, format, arguments...);
    const Value first = found ? found->firstObject() : Value();
    if (!first.isNull() && !isKindOf<Self>(first)) {
      Above::raiseForeignClass(first, Self::classObject);
    }
    return Ref<Self>(as<Self>(first));
  }

  /// The aggregate of one attribute over all objects of the entity, e.g. "max:" of "population".
  /// Returns: null when there is none, when the fetch failed, and, after a line in the log, for an
  /// empty name and for an attribute that the entity lacks.
  static Value valueForAttributeNameWithFunctionContextError(
      const Ref<NSString>& attributeName, const Ref<NSString>& function,
      const Ref<NSManagedObjectContext>& context, Ref<NSError>* error) {
    return Above::aggregate(Self::classObject, attributeName, function,
                            &Self::entityInManagedObjectContext, context, error);
  }

 protected:
  using Above::Above;
  ClassOperations() = default;
};

}  // namespace JNFoundation
