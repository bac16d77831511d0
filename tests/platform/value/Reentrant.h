#pragma once

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation::testing {

/// A number as an application's class, which runs code of the test wherever a collection runs code
/// of an application. Equal by number, and hashed by it.
class Reentrant : public Subclass<Reentrant, NSObject> {
 public:
  static Ref<Reentrant> numbered(NSInteger number) {
    Ref<Reentrant> made = makeObject<Reentrant>();
    made->_number = number;
    return made;
  }

  Block<void()> whenCompared;
  Block<void()> whenHashed;
  Block<void()> whenDescribed;
  Block<void()> whenGone;

  NSInteger number() const { return _number; }

  bool isEqual(const Value& other) const override {
    const Ref<const Reentrant> held(this);
    if (whenCompared) whenCompared();
    const auto* same = as<Reentrant>(other);
    return same && same->_number == _number;
  }
  std::size_t hash() const override {
    if (whenHashed) whenHashed();
    return static_cast<std::size_t>(_number);
  }
  Ref<NSString> description() const override {
    if (whenDescribed) whenDescribed();
    return NSString::stringWithFormat("#%lld", _number);
  }

 protected:
  ~Reentrant() override {
    if (whenGone) whenGone();
  }

 private:
  NSInteger _number = 0;
};

}  // namespace JNFoundation::testing
