#pragma once

#include <JNFoundation/platform/value/NSValueTransformer.h>

namespace JNFoundation::inline v0_1 {

/// The name under which transformable attributes of a model find the transformer below.
inline constexpr const char* JNJSONTransformerName = "JNJSONTransformer";

/// Turns arrays, dictionaries and whatever else JSON can express into data, its compact JSON text
/// in UTF-8, and back.
///
///     <attribute name="tags" attributeType="Transformable" optional="YES"
///                valueTransformerName="JNJSONTransformer"/>
///
/// What comes back is equal to what went in, and immutable. Null stays null.
class JNJSONTransformer : public NSValueTransformer {
 public:
  using Superclass = NSValueTransformer;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// One of its own; it keeps nothing.
  static Ref<JNJSONTransformer> init();

  /// Fails: raises NSInvalidArgumentException for what JSON cannot express.
  Value transformedValue(const Value& value) const override;
  /// Fails: raises NSInvalidArgumentException, which says where, for data that is no JSON text, and
  /// for what is no data.
  Value reverseTransformedValue(const Value& value) const override;
  /// True.
  bool allowsReverseTransformation() const override { return true; }
  /// NSData.
  const Class& transformedValueClass() const override;

 protected:
  JNJSONTransformer();
  ~JNJSONTransformer() override;
};

}  // namespace JNFoundation
