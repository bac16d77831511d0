// begin
#include <cstdio>
#include <thread>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>

using namespace JNFoundation;

int main() {
  const auto feed = PLVDeferred::init();
  feed->thenResolved([](const Value& text) -> Value {  // handlers run on the main thread
        Ref<NSError> error;
        const Value record = NSJSONSerialization::JSONObjectWithTextOptionsError(
            as<NSString>(text)->utf8(), NSJSONReadingPlain, &error);
        return error ? Value(PLVRejected::withValue(error)) : record;
      })
      ->thenResolved([](const Value& record) -> Value {
        const Ref<NSDictionary> city = as<NSDictionary>(record);
        return NSString::stringWithFormat("%@ has %ld people", jn_stringForKey(city, "name"),
                                          jn_integerForKey(city, "people"));
      })
      ->thenEither([](const Value& outcome) {  // the text, or what went wrong on the way
        std::puts(outcome.description()->UTF8String());
        NSRunLoop::mainRunLoop()->stop();
        return outcome;
      });
  std::thread network([feed] { feed->resolve(R"({"name": "Zürich", "people": 436551})"); });
  NSRunLoop::mainRunLoop()->run();
  network.join();
}
// end
