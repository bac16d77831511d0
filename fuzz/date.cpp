#include <algorithm>

#include "Fuzzing.h"

#include <JNFoundation/mapping/DatePattern.h>
#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/value/NSDate.h>

using namespace JNFoundation;

// A date that is read is written as it was, and a pattern of the same form reads the same; any
// other pattern, the first line, reads the rest or refuses it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzzing::require;
  static const DatePattern form("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
  const std::string_view text = fuzzing::textOf(data, size);
  const auto seconds = secondsSince1970FromRFC3339(text);
  require(form.secondsSince1970(text) == seconds, "two readings of one form differ", text);
  const Value date = parseRFC3339DateTimeString(NSString::fromText(text));
  if (seconds) {
    require(rfc3339FromSecondsSince1970(*seconds) == text, "not written as it was read", text);
    require(date.isDate() && date.timeIntervalSince1970() == *seconds, "another date", text);
  } else {
    require(date.isNull(), "a date of no text", text);
  }

  const std::size_t line = std::min(text.find('\n'), text.size());
  const std::string raised = fuzzing::raisedName([&] {
    const DatePattern pattern(text.substr(0, line));
    pattern.secondsSince1970(text.substr(std::min(line + 1, text.size())));
  });
  require(raised.empty() || raised == NSInvalidArgumentException, "raised", raised);
  return 0;
}
