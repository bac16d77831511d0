#pragma once

#include <QtCore/QVariant>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The value as Qt knows it, for views, bindings and whatever else takes a QVariant.
///
/// | value | type in the variant |
/// |---|---|
/// | null, NSNull | none: the variant is invalid |
/// | text | QString |
/// | boolean | bool |
/// | integer | qlonglong; qulonglong above what that holds |
/// | floating point number | double |
/// | decimal number | double if its digits come back from it, else QString, so that none is lost |
/// | date | QDateTime in local time, to the millisecond; invalid where Qt has no such date |
/// | data | QByteArray |
/// | UUID | QUuid |
/// | URL | QUrl |
/// | an object of a context | Ref<NSManagedObject> |
/// | anything else | Value |
/// Threads: any.
QVariant variantOf(const Value& value);

}  // namespace JNFoundation
