#include "JNFoundation/platform/value/NSNumber.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSNumber::classObject = Class::of<NSNumber>("NSNumber");

namespace {

const ClassDeclaration<NSNumber> declarationOfNSNumber =
    ClassDeclaration<NSNumber>()
        .operation("description", [](const Value& self) { return self.description(); })
        .operation("copy", [](const Value& self) { return self; })
        .operation("integerValue", [](const Value& self) { return self.integerValue(); })
        .operation("longLongValue", [](const Value& self) { return self.longLongValue(); })
        .operation("unsignedLongLongValue",
                   [](const Value& self) { return self.unsignedLongLongValue(); })
        .operation("intValue", [](const Value& self) { return self.intValue(); })
        .operation("doubleValue", [](const Value& self) { return self.doubleValue(); })
        .operation("floatValue", [](const Value& self) { return self.floatValue(); })
        .operation("boolValue", [](const Value& self) { return self.boolValue(); })
        .operation("stringValue", [](const Value& self) { return self.stringValue(); })
        .operation("compare:", [](const Value& self, const Value& other) {
          return static_cast<NSInteger>(self.compare(other));
        });

}  // namespace

Ref<NSString> NSNumber::description() const { return stringValue(); }

bool NSNumber::isEqual(const Value& other) const {
  return other.isNumber() && compareNumber(other) == NSOrderedSame;
}

}  // namespace JNFoundation
