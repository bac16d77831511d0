#include "Feed.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace catalog {
namespace {

Value failure(const std::string& path, const Value& what) {
  return PLVRejected::withValue(NSError::errorWithDomainCodeUserInfo(
      "Catalog", 1,
      NSDictionary::dictionaryWithObjectForKey(NSString::stringWithFormat("%s: %@", path, what),
                                               NSLocalizedDescriptionKey)));
}

bool isListOfRecords(const Value& value) {
  const NSArray* list = as<NSArray>(value);
  if (!list) return false;
  for (const Value& element : *list) {
    if (!isKindOf<NSDictionary>(element)) return false;
  }
  return true;
}

/// The list of records that the decoded text holds; null if there is none, or more than one.
Value recordsIn(const Value& json) {
  if (isListOfRecords(json)) return json;
  const NSDictionary* object = as<NSDictionary>(json);
  if (!object) return nullptr;
  Value found;
  for (const auto& [key, value] : *object) {
    if (!isListOfRecords(value)) continue;
    if (found) return nullptr;
    found = value;
  }
  return found;
}

/// The records, or a rejection.
Value readRecords(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return failure(path, std::strerror(errno));
  std::string text;
  try {
    text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  } catch (const std::ios_base::failure& unreadable) {  // a folder, a disk that fails
    return failure(path, unreadable.code().message());
  }
  Ref<NSError> error;
  const Value json =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, &error);
  if (error) return failure(path, Value(error->localizedDescription()));
  const Value records = recordsIn(json);
  return records ? records : failure(path, "neither a list of records nor an object with one");
}

}  // namespace

Ref<PLVDeferred> recordsOfFile(const std::string& path, Worker& worker) {
  Ref<PLVDeferred> records = PLVDeferred::init();
  // Resolving on the worker's thread is fine: the steps run on the main thread.
  worker.run([records, path] { records->resolve(readRecords(path)); });
  return records;
}

}  // namespace catalog
