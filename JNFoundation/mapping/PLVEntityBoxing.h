#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSSet.h>

/// Results that cross from one context, and thread, to another: objects become their IDs, and IDs
/// become the objects of a context again.
///
///     const Ref<NSArray> boxed = plv_objectWithEntitiesAsObjectID(found);
///     other->performBlock([other, boxed] {
///       use(plv_objectWithObjectIDsAsEntityInContext(boxed, other));
///     });
///
/// In arrays and sets, every element that has such a form is replaced by it, those of arrays and
/// sets inside of them to any depth; an element whose form is null is left out, and every other one
/// stays as it is. An element of an application's class that declares the operation of the same
/// selector has the form that this gives. The results are new, and mutable.
/// Threads: those of the objects' contexts; IDs may cross. A null receiver gives null.
namespace JNFoundation::inline v0_1 {

// The elements, with objects as their IDs.
Ref<NSMutableArray> plv_objectWithEntitiesAsObjectID(const Ref<NSArray>& array);
Ref<NSMutableSet> plv_objectWithEntitiesAsObjectID(const Ref<NSSet>& set);
/// The object's ID. Returns: null for an object without a context.
Ref<NSManagedObjectID> plv_objectWithEntitiesAsObjectID(const Ref<NSManagedObject>& object);

// The elements, with IDs as the objects of the context.
Ref<NSMutableArray> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSArray>& array, const Ref<NSManagedObjectContext>& context);
Ref<NSMutableSet> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSSet>& set, const Ref<NSManagedObjectContext>& context);
/// The object with the ID. A temporary ID is that of an object which was inserted into this context
/// and never saved. Returns: null for a permanent ID whose object is no longer in the store, and
/// for a null context.
Ref<NSManagedObject> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSManagedObjectID>& objectID, const Ref<NSManagedObjectContext>& context);

/// The object's ID, made permanent if it was temporary. Returns: null for an object without a
/// context; a temporary ID where the store could not give a permanent one.
Ref<NSManagedObjectID> plv_permanentObjectID(const Ref<NSManagedObject>& object);

}  // namespace JNFoundation
