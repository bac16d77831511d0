#include <cstdio>

#include "Examples.h"

#include <JNFoundation/util/NSURLRequest+cURL.h>

namespace examples {

// begin
void showRequest() {
  auto request =
      NSMutableURLRequest::requestWithURL(NSURL::URLWithString("https://example.com/items"));
  request->setHTTPMethod("POST");
  request->setHTTPBody(NSData::dataWithText("{}"));
  request->setValueForHTTPHeaderField("Bearer abc", "Authorization");

  std::puts(cURLCommand(request)->UTF8String());
  std::puts(cURLCommandQuoted(request, secretHTTPHeaderFields())->UTF8String());
}
// end

}  // namespace examples
