#include "JNFoundation/platform/dispatch/NSNotification.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSNotification::classObject = Class::of<NSNotification>("NSNotification");

namespace {
const ClassDeclaration<NSNotification> declarationOfNSNotification =
    ClassDeclaration<NSNotification>()
        .operation("name", [](const NSNotification& self) -> Ref<NSString> { return self.name(); })
        .operation("object", [](const NSNotification& self) -> Value { return self.object(); })
        .operation("userInfo",
                   [](const NSNotification& self) -> Ref<NSDictionary> { return self.userInfo(); });
}  // namespace

NSNotification::NSNotification(Ref<NSString> name, Value object, Ref<NSDictionary> userInfo)
    : _name(std::move(name)), _object(std::move(object)), _userInfo(std::move(userInfo)) {}

NSNotification::~NSNotification() = default;

Ref<NSNotification> NSNotification::notificationWithNameObjectUserInfo(
    const Ref<NSString>& name, const Value& object, const Ref<NSDictionary>& userInfo) {
  if (!name) raise(NSInvalidArgumentException, "A notification needs a name");
  return makeObject<NSNotification>(name, object, userInfo);
}

Ref<NSString> NSNotification::description() const {
  return NSString::stringWithFormat("%s %p {name = %@; object = %@; userInfo = %@}",
                                    class_().name(), static_cast<const void*>(this), _name, _object,
                                    Value(_userInfo));
}

}  // namespace JNFoundation
