#pragma once

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSArray;

// Transformers that are there from the start.
/// Turns a number that is true into false, everything else into true, and back.
inline constexpr const char* NSNegateBooleanTransformerName = "NSNegateBoolean";
/// Turns null into true and everything else into false; cannot be turned back.
inline constexpr const char* NSIsNilTransformerName = "NSIsNil";
/// Turns null into false and everything else into true; cannot be turned back.
inline constexpr const char* NSIsNotNilTransformerName = "NSIsNotNil";

/// Turns values of one kind into another, and back where it can. A transformer has a name under
/// which others find it, such as the attributes of a model:
///
///     NSValueTransformer::setValueTransformerForName(
///         NSValueTransformer::transformerWithBlockReverseBlock(
///             [](const Value& point) { return dataOfPoint(point); },
///             [](const Value& data) { return pointOfData(data); }),
///         "PointTransformer");
///
/// An application's class that derives from this one and declares a factory needs no registration;
/// its name finds it.
/// Threads: any for the names. A registered transformer is shared by all threads.
class NSValueTransformer : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Replaces what the name stood for. A null transformer takes the name away.
  /// Fails: raises NSInvalidArgumentException for a null name.
  static void setValueTransformerForName(const Ref<NSValueTransformer>& transformer,
                                         const Ref<NSString>& name);
  /// The transformer registered under the name, else a new one of the class of that name, which
  /// is registered by that.
  /// Returns: null for null, and where there is neither.
  static Ref<NSValueTransformer> valueTransformerForName(const Ref<NSString>& name);
  /// The names that are registered, in the order of their bytes.
  static Ref<NSArray> valueTransformerNames();

  /// A transformer out of two blocks. It cannot be reversed if the second one is null.
  /// Requires: the first one is not null.
  static Ref<NSValueTransformer> transformerWithBlockReverseBlock(
      Block<Value(const Value&)> transform, Block<Value(const Value&)> reverse);

  /// Returns: null unless it is overridden.
  virtual Value transformedValue(const Value& value) const;
  /// What `transformedValue` gave this for. Returns: the transformed value unless it is overridden.
  /// Fails: raises NSInvalidArgumentException where `allowsReverseTransformation` is false.
  virtual Value reverseTransformedValue(const Value& value) const;
  /// False unless it is overridden.
  virtual bool allowsReverseTransformation() const;
  /// The class of transformed values; NSObject unless it is overridden.
  virtual const Class& transformedValueClass() const;

 protected:
  NSValueTransformer();
  ~NSValueTransformer() override;
};

}  // namespace JNFoundation
