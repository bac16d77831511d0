#pragma once

#include <optional>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {

// Values of transformable attributes, which stores keep as the data that the attribute's
// transformer makes of them. What goes wrong is an error whose sentence names the entity, the
// attribute and the transformer: an attribute that names none, a name that nothing is registered
// under, a transformer that cannot be reversed, that gives no data, or that raises.

/// The data to store for the value; null for null, which no transformer is asked about.
/// Takes: the object whose value it is, for the error; may be null.
/// Fails: returns null and sets the error, of code 1550.
Ref<NSData> dataFromValue(const Value& value, const NSAttributeDescription& attribute,
                          const Value& owner, Ref<NSError>* error);

/// The value that the stored data stand for; null for null.
/// Fails: returns nothing and sets the error, of code 134060.
std::optional<Value> valueFromData(const Ref<NSData>& data, const NSAttributeDescription& attribute,
                                   Ref<NSError>* error);

}  // namespace JNFoundation::impl
