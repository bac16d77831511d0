#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation::inline v0_1 {

/// Relates an object to those that a value of its record stands for. A model class calls it from a
/// message that a rule of its map names:
///
///     "$capital" → "setCapitalRecord:"        in the entity's user info
///
///     void setCapitalRecord(const Value& record) { relateRecord(*this, "capital", record); }
///
/// A dictionary is found or made by its identity and mapped, like the records of an import; any
/// other value is the identity itself, of an object that must be there. A relationship to many
/// takes an array of both, and then leads to exactly these. Null leads to nobody. Identities are
/// those of the import, or the first uniqueness constraint of the destination entity that has
/// attributes only; without an identity, a record is mapped onto the object that a relationship to
/// one leads to, or a new one.
///
/// Inside an import this happens once all records of the chunk are mapped, with one fetch for each
/// entity and depth of nesting, and what cannot be related is in the report. Elsewhere it happens
/// before this returns, and what cannot be related is one line in the log.
/// Does nothing for an object without a context. Threads: the context's.
/// Fails: raises NSInvalidArgumentException for a relationship that the entity lacks.
void relateRecord(NSManagedObject& object, const Ref<NSString>& relationship, const Value& record);

}  // namespace JNFoundation
