#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>

namespace examples {
namespace {

// begin
/// Keeps a deferred whose handler wants the page itself.
class Page : public Subclass<Page, NSObject> {
 public:
  const Ref<PLVDeferred>& load() {
    _text = PLVDeferred::init();
    // A `Ref` here would be a cycle until the text is there: the page keeps the deferred, the
    // deferred its handler, the handler the page.
    _text->thenResolved(Weak<Page>(this), [](Page& page, const Value& text) {
      page._length = text.stringValue()->length();
      return text;
    });
    return _text;
  }
  NSUInteger length() const { return _length; }

 private:
  Ref<PLVDeferred> _text;
  NSUInteger _length = 0;
};
// end

}  // namespace

void ownership() {
  auto page = makeObject<Page>();
  const Ref<PLVDeferred> text = page->load();
  const Ref<PLVDeferred> other = makeObject<Page>()->load();  // whose page has gone at once
  text->resolve("four");
  other->resolve("nobody reads this");
  const Weak<Page> weak(page);
  std::printf("%d characters, ", static_cast<int>(page->length()));
  page = nullptr;
  std::puts(weak.load() ? "a leak" : "no leak");
}

}  // namespace examples
