#pragma once

#include <atomic>

#include <JNFoundation/platform/store/NSPropertyDescription.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
struct CompiledPattern;
}  // namespace impl

/// What an attribute holds. The numbers are those of the platform's model files and maps.
enum NSAttributeType : NSUInteger {
  NSUndefinedAttributeType = 0,         ///< any value; transient attributes only
  NSInteger16AttributeType = 100,       ///< -32768 to 32767
  NSInteger32AttributeType = 200,       ///< -2147483648 to 2147483647
  NSInteger64AttributeType = 300,       ///< any signed integer of 64 bits
  NSDecimalAttributeType = 400,         ///< NSDecimalNumber
  NSDoubleAttributeType = 500,          ///< 64 bits of floating point
  NSFloatAttributeType = 600,           ///< 32 bits of floating point
  NSStringAttributeType = 700,          ///< NSString
  NSBooleanAttributeType = 800,         ///< true or false
  NSDateAttributeType = 900,            ///< NSDate
  NSBinaryDataAttributeType = 1000,     ///< NSData
  NSUUIDAttributeType = 1100,           ///< NSUUID
  NSURIAttributeType = 1200,            ///< NSURL
  NSTransformableAttributeType = 1800,  ///< any object, kept as its transformer gives it
  NSObjectIDAttributeType = 2000,       ///< NSManagedObjectID; transient attributes only
};

/// A property that holds one value of one type.
///
///     auto name = NSAttributeDescription::attributeWithNameType("name", NSStringAttributeType);
///     name->setOptional(false);
///
/// Threads: see NSPropertyDescription.
class NSAttributeDescription : public NSPropertyDescription {
 public:
  using Superclass = NSPropertyDescription;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// An optional attribute without a name, of undefined type.
  static Ref<NSAttributeDescription> init();
  /// An optional attribute of that name and type.
  static Ref<NSAttributeDescription> attributeWithNameType(const Ref<NSString>& name,
                                                           NSAttributeType type);

  /// What the attribute holds.
  NSAttributeType attributeType() const noexcept { return _attributeType; }
  void setAttributeType(NSAttributeType type);

  /// The name of the class that values have, "NSString" for a string. Returns: null for the
  /// undefined type. Requires for transformable attributes: it may be set, and is a hint only.
  Ref<NSString> attributeValueClassName() const;
  void setAttributeValueClassName(const Ref<NSString>& name);

  /// The value that an inserted object starts with; null unless it is set.
  const Value& defaultValue() const noexcept { return _defaultValue; }
  void setDefaultValue(const Value& value);

  /// The name of what turns a transformable value into data; null unless it is set.
  const Ref<NSString>& valueTransformerName() const noexcept { return _valueTransformerName; }
  void setValueTransformerName(const Ref<NSString>& name);

  // Bounds that the model declares, inclusive: of the number, of the date, of a string's length in
  // code points or of data's in bytes. Null where there is none.
  const Value& minimumValue() const noexcept { return _minimumValue; }
  void setMinimumValue(const Value& value);
  const Value& maximumValue() const noexcept { return _maximumValue; }
  void setMaximumValue(const Value& value);
  /// A pattern that a string must match whole; null where there is none.
  const Ref<NSString>& regularExpression() const noexcept { return _regularExpression; }
  void setRegularExpression(const Ref<NSString>& pattern);
  /// The same, compiled at first use. Returns: null where there is none.
  const impl::CompiledPattern* compiledPattern() const;

  /// Whether the model lets large data stand in a file of its own. Every store keeps it with the
  /// record all the same.
  bool allowsExternalBinaryDataStorage() const noexcept { return _allowsExternalStorage; }
  void setAllowsExternalBinaryDataStorage(bool allows);

  /// Whether the attribute can hold the value: null, or a value of the attribute's kind. Any number
  /// fits any number attribute; its range is a matter for the save.
  bool acceptsValue(const Value& value) const noexcept;

  bool isEqual(const Value& other) const override;

 protected:
  NSAttributeDescription();
  ~NSAttributeDescription() override;

  std::string versionHashInput() const override;

 private:
  NSAttributeType _attributeType = NSUndefinedAttributeType;
  Ref<NSString> _valueClassName;
  Value _defaultValue;
  Ref<NSString> _valueTransformerName;
  Value _minimumValue;
  Value _maximumValue;
  Ref<NSString> _regularExpression;
  mutable std::atomic<const impl::CompiledPattern*> _compiledPattern{nullptr};
  bool _allowsExternalStorage = false;
};

}  // namespace JNFoundation
