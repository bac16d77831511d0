#include "JNFoundation/platform/json/JNJSONTransformer.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class JNJSONTransformer::classObject =
    Class::of<JNJSONTransformer>(JNJSONTransformerName);

namespace {

const ClassDeclaration<JNJSONTransformer> declarationOfJNJSONTransformer =
    ClassDeclaration<JNJSONTransformer>().factory();

}  // namespace

JNJSONTransformer::JNJSONTransformer() = default;
JNJSONTransformer::~JNJSONTransformer() = default;

Ref<JNJSONTransformer> JNJSONTransformer::init() { return makeObject<JNJSONTransformer>(); }

Value JNJSONTransformer::transformedValue(const Value& value) const {
  if (value.isNull()) return {};
  Ref<NSError> error;
  Ref<NSData> data =
      NSJSONSerialization::dataWithJSONObjectOptionsError(value, NSJSONWritingCompact, &error);
  if (!data) raise(NSInvalidArgumentException, "%@", error->localizedDescription());
  return data;
}

Value JNJSONTransformer::reverseTransformedValue(const Value& value) const {
  if (value.isNull()) return {};
  auto* data = as<NSData>(value);
  if (!data) {
    raise(NSInvalidArgumentException, "JSON text is read from data, not from an object of class %s",
          value.class_()->name());
  }
  Ref<NSError> error;
  Value read = NSJSONSerialization::JSONObjectWithDataOptionsError(Ref<NSData>(data),
                                                                   NSJSONReadingPlain, &error);
  if (read.isNull()) raise(NSInvalidArgumentException, "%@", error->localizedDescription());
  return read;
}

const Class& JNJSONTransformer::transformedValueClass() const { return NSData::classObject; }

}  // namespace JNFoundation
