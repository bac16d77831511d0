#include <cstdio>
#include <memory>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>

using namespace JNFoundation;

namespace {

struct View {
  void show(const Value& value) const { std::printf("the view shows %d\n", value.intValue()); }
};

// begin
void showIn(const std::shared_ptr<View>& view, const Ref<PLVDeferred>& number) {
  number->thenResolved(std::weak_ptr<View>(view), [](View& view, const Value& value) {
    view.show(value);
    return value;
  });
}
// end

}  // namespace

void guardExample() {
  auto view = std::make_shared<View>();
  const Ref<PLVDeferred> first = PLVDeferred::init(), second = PLVDeferred::init();
  showIn(view, first);
  showIn(view, second);
  first->resolve(7);
  view = nullptr;
  second->resolve(8);
  std::printf("%d is passed by\n", second->resolution().intValue());
}
