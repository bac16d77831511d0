#include "Records.h"

#include "InputFile.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace jnmap {
namespace {

[[noreturn]] void refuse(const std::string& path, const Ref<NSError>& error) {
  throw Failure(path + ": " + error->localizedDescription()->toStdString());
}

}  // namespace

std::vector<Option> RecordSource::options() {
  return {{"at", "KEY", "The records are under that key of an object.",
           [this](const std::string& key) { _at = key; }},
          {"max-size", "BYTES", "Refuse a longer file; 268435456 unless it is given.",
           [this](const std::string& text) { _longest = countFrom("max-size", text); }}};
}

void RecordSource::enumerate(const std::string& path,
                             const std::function<bool(const Value&)>& take) const {
  const std::string text = readInput(path, _longest);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == text.npos) throw Failure(path + ": it is empty");
  Ref<NSError> error;
  if (text[start] == '[' && _at.empty()) {
    const bool isRead = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
        text, NSJSONReadingPlain, &error,
        [&](const Value& record, NSUInteger, bool& stop) { stop = !take(record); });
    if (!isRead) refuse(path, error);
    return;
  }
  Value records =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, &error);
  if (records.isNull()) refuse(path, error);
  if (!_at.empty()) {
    const auto object = as<NSDictionary>(Value(records));
    records = object ? object->objectForKey(_at) : Value();
    if (records.isNull()) throw Failure(path + ": there is no key '" + _at + "' at its top");
  }
  const auto list = as<NSArray>(Value(records));
  if (!list) {
    take(records);
    return;
  }
  for (const Value& record : *list) {
    if (!take(record)) return;
  }
}

}  // namespace jnmap
