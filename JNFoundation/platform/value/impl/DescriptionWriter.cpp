#include "JNFoundation/platform/value/impl/DescriptionWriter.h"

#include <algorithm>
#include <vector>

#include <JNFoundation/platform/text/OldStyleText.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// What runs on the thread: the containers being written, outermost first, and how much text the
/// descriptions inside of the outermost one have made.
struct Descriptions {
  std::vector<const NSObject*> open;
  std::size_t written = 0;
};
thread_local Descriptions descriptions;

bool isContainer(const Value& value) {
  return isKindOf<NSArray>(value) || isKindOf<NSDictionary>(value) || isKindOf<NSSet>(value) ||
         isKindOf<NSOrderedSet>(value);
}

/// Copies: the description of a member may change the container.
template <class Container>
std::vector<Value> membersOf(const Container& container) {
  std::vector<Value> members;
  members.reserve(container.count());
  for (const Value& member : container) members.push_back(member);
  return members;
}

/// In the order of the keys where all of them are strings.
std::vector<std::pair<Value, Value>> pairsOf(const NSDictionary& dictionary) {
  std::vector<std::pair<Value, Value>> pairs;
  pairs.reserve(dictionary.count());
  bool areStrings = true;
  for (const auto& [key, value] : dictionary) {
    areStrings = areStrings && key.isString();
    pairs.emplace_back(key, value);
  }
  if (areStrings) {
    std::sort(pairs.begin(), pairs.end(), [](const auto& left, const auto& right) {
      return as<NSString>(left.first)->utf8() < as<NSString>(right.first)->utf8();
    });
  }
  return pairs;
}

}  // namespace

/// The container is being written as long as this lives.
class DescriptionWriter::Opened {
 public:
  explicit Opened(const NSObject* container) { descriptions.open.push_back(container); }
  ~Opened() {
    descriptions.open.pop_back();
    if (descriptions.open.empty()) descriptions.written = 0;
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
};

Ref<NSString> DescriptionWriter::describe(const NSObject& container) {
  DescriptionWriter writer;
  writer.writeContainer(Value(const_cast<NSObject*>(&container)), 0);
  if (!descriptions.open.empty()) descriptions.written += writer._text.size();
  return NSString::fromText(writer._text);
}

bool DescriptionWriter::isFull() const { return _text.size() + descriptions.written >= sizeLimit; }

void DescriptionWriter::write(const Value& value, std::size_t level) {
  if (isContainer(value)) {
    writeContainer(value, level);
  } else if (const auto* string = as<NSString>(value)) {
    _text += quotedForPropertyList(string->utf8());
  } else {
    _text += value.description()->utf8();
  }
}

void DescriptionWriter::writeContainer(const Value& container, std::size_t level) {
  const std::vector<const NSObject*>& open = descriptions.open;
  if (open.size() >= nestingLimit ||
      std::find(open.begin(), open.end(), container.object()) != open.end()) {
    _text += "...";
    return;
  }
  const Opened opened(container.object());
  if (const auto* dictionary = as<NSDictionary>(container)) {
    _text += "{\n";
    writePairs(pairsOf(*dictionary), level + 1);
    indent(level);
    _text += '}';
  } else if (const auto* array = as<NSArray>(container)) {
    _text += "(\n";
    writeMembers(membersOf(*array), level + 1);
    indent(level);
    _text += ')';
  } else {
    _text += "{(\n";
    const auto* set = as<NSSet>(container);
    writeMembers(set ? membersOf(*set) : membersOf(*as<NSOrderedSet>(container)), level + 1);
    indent(level);
    _text += ")}";
  }
}

void DescriptionWriter::writeMembers(const std::vector<Value>& members, std::size_t level) {
  for (const Value& member : members) {
    if (&member != &members.front()) _text += ",\n";
    indent(level);
    if (isFull()) {
      _text += "...";
      break;
    }
    write(member, level);
  }
  if (!members.empty()) _text += '\n';
}

void DescriptionWriter::writePairs(const std::vector<std::pair<Value, Value>>& pairs,
                                   std::size_t level) {
  for (const auto& [key, value] : pairs) {
    indent(level);
    if (isFull()) {
      _text += "...\n";
      break;
    }
    write(key, level);
    _text += " = ";
    write(value, level);
    _text += ";\n";
  }
}

}  // namespace JNFoundation
