#include "JNFoundation/platform/value/NSException.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSException::classObject = Class::of<NSException>("NSException");

namespace {

const ClassDeclaration<NSException> declarationOfNSException =
    ClassDeclaration<NSException>()
        .property("name", &NSException::name)
        .property("reason", &NSException::reason)
        .property("userInfo", &NSException::userInfo);

}  // namespace

NSException::NSException(Ref<NSString> name, Ref<NSString> reason, Ref<NSDictionary> userInfo)
    : _name(std::move(name)), _reason(std::move(reason)), _userInfo(std::move(userInfo)) {}

NSException::~NSException() = default;

Ref<NSException> NSException::exceptionWithNameReasonUserInfo(const Ref<NSString>& name,
                                                              const Ref<NSString>& reason,
                                                              const Ref<NSDictionary>& userInfo) {
  return makeObject<NSException>(name, reason, userInfo);
}

void NSException::raise() { throw Raised(Ref<NSException>(this)); }

void NSException::raiseWithReason(const Ref<NSString>& name, Ref<NSString> reason) {
  throw Raised(makeObject<NSException>(name, std::move(reason), Ref<NSDictionary>()));
}

Ref<NSString> NSException::description() const {
  if (_reason) return _reason;
  return _name ? _name : Ref<NSString>("(null)");
}

const char* Raised::what() const noexcept {
  if (_exception->reason()) return _exception->reason()->UTF8String();
  return _exception->name() ? _exception->name()->UTF8String() : "NSException";
}

}  // namespace JNFoundation
