#include "JNFoundation/platform/json/impl/JSONReader.h"

#include <cstring>
#include <simdjson.h>
#include <vector>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/RecurringTexts.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

namespace dom = simdjson::dom;

/// The keys of the texts, one string each.
///
/// The same keys follow each other in record after record, so the key that came after the last one
/// when that was seen before is tried first; it costs one comparison of bytes and no hash.
class KeyTable {
 public:
  struct Key {
    Ref<NSString> string;
    std::uint64_t hash;
    std::uint32_t next;
    /// The texts that stand under the key.
    RecurringTexts values;
    /// The object that had the key last.
    std::uint64_t object = 0;
  };

  /// The key of that text, until the next one is asked for.
  Key& keyFor(std::string_view text) {
    const std::uint32_t expected = _keys.empty() ? none : _keys[_last].next;
    if (expected != none && _keys[expected].string->utf8() == text) {
      _last = expected;
      return _keys[expected];
    }
    const std::uint32_t found = findOrAdd(text);
    _keys[_last].next = found;
    _last = found;
    return _keys[found];
  }

 private:
  static constexpr std::uint32_t none = static_cast<std::uint32_t>(-1);

  std::uint32_t findOrAdd(std::string_view text) {
    if (_slots.size() < (_keys.size() + 1) * 2) grow();
    const std::uint64_t hash = hashBytes(text);
    std::size_t slot = static_cast<std::size_t>(hash) & (_slots.size() - 1);
    for (; _slots[slot] != none; slot = (slot + 1) & (_slots.size() - 1)) {
      const Key& key = _keys[_slots[slot]];
      if (key.hash == hash && key.string->utf8() == text) return _slots[slot];
    }
    NSString* interned = NSString::internedIfPresent(text);
    _slots[slot] = static_cast<std::uint32_t>(_keys.size());
    _keys.push_back(
        {interned ? Ref<NSString>(interned) : NSString::fromText(text), hash, none, {}, 0});
    return _slots[slot];
  }

  void grow() {
    _slots.assign(_slots.empty() ? 64 : _slots.size() * 2, none);
    for (std::size_t i = 0; i < _keys.size(); ++i) {
      std::size_t slot = static_cast<std::size_t>(_keys[i].hash) & (_slots.size() - 1);
      while (_slots[slot] != none) slot = (slot + 1) & (_slots.size() - 1);
      _slots[slot] = static_cast<std::uint32_t>(i);
    }
  }

  std::vector<Key> _keys;
  /// Open addressing: positions in `_keys`; the size is a power of two.
  std::vector<std::uint32_t> _slots;
  std::uint32_t _last = 0;
};

using Members = OrderedHashTable<NSDictionary::Entry>;

/// A container that is being filled.
struct Frame {
  bool isObject = false;
  dom::array::iterator element, elementsEnd;
  dom::object::iterator member, membersEnd;
  std::vector<Value> elements;
  Members members;
  /// Of the member that is being filled, a container.
  Ref<NSString> key;
  /// Different for each object.
  std::uint64_t number = 0;
  /// Whether the members so far had no keys but those that the object noted, so that a key which
  /// was not noted is a new one: the objects inside of this one note theirs as well.
  bool knowsKeys = true;
  bool isKeyNew = true;
};

}  // namespace

const std::size_t JSONReader::paddingSize = simdjson::SIMDJSON_PADDING;

struct JSONReader::State {
  explicit State(NSJSONReadingOptions readingOptions) : options(readingOptions) {}

  NSJSONReadingOptions options;
  dom::parser parser;
  simdjson::error_code error = simdjson::SUCCESS;
  KeyTable keys;
  /// The innermost container last; those behind `depth` wait to be used again.
  std::vector<Frame> frames;
  std::size_t depth = 0;
  std::uint64_t objectCount = 0;

  Value build(dom::element root, std::size_t maximumDepth) {
    // What was given up half way is not gone on with.
    if (std::exchange(depth, 0) > 0) frames.clear();
    dom::element current = root;
    dom::element_type type = current.type();
    if (type == dom::element_type::STRING) return Value(current.get_string().value_unsafe());
    if (!isContainer(type)) return scalar(current, type);
    for (;;) {
      if (depth == maximumDepth) {
        error = simdjson::DEPTH_ERROR;
        return Value();
      }
      open(current, type);
      while (!findContainer(current, type)) {
        Value container = closed();
        if (--depth == 0) return container;
        put(std::move(container));
      }
    }
  }

  static bool isContainer(dom::element_type type) noexcept {
    return type == dom::element_type::ARRAY || type == dom::element_type::OBJECT;
  }

  void open(dom::element container, dom::element_type type) {
    if (depth > 0) frames[depth - 1].knowsKeys = false;
    if (depth == frames.size()) frames.emplace_back();
    Frame& frame = frames[depth++];
    frame.isObject = type == dom::element_type::OBJECT;
    if (frame.isObject) {
      const dom::object object = container.get_object().value_unsafe();
      frame.member = object.begin();
      frame.membersEnd = object.end();
      frame.members.reserve(object.size());
      frame.number = ++objectCount;
      frame.knowsKeys = true;
    } else {
      const dom::array array = container.get_array().value_unsafe();
      frame.element = array.begin();
      frame.elementsEnd = array.end();
      frame.elements.reserve(array.size());
    }
  }

  /// Takes what comes next in the innermost container, up to a container in it. Returns: false if
  /// there is none.
  bool findContainer(dom::element& inner, dom::element_type& type) {
    Frame& frame = frames[depth - 1];
    return frame.isObject ? findContainerInObject(frame, inner, type)
                          : findContainerInArray(frame, inner, type);
  }

  bool findContainerInObject(Frame& frame, dom::element& inner, dom::element_type& type) {
    while (frame.member != frame.membersEnd) {
      KeyTable::Key& key = keys.keyFor(frame.member.key());
      const bool isNoted = std::exchange(key.object, frame.number) == frame.number;
      const bool isNew = !isNoted && frame.knowsKeys;
      const dom::element value = frame.member.value();
      ++frame.member;
      type = value.type();
      if (isContainer(type)) {
        frame.key = key.string;
        frame.isKeyNew = isNew;
        inner = value;
        return true;
      }
      const bool isText = type == dom::element_type::STRING;
      putMember(frame.members, key.string, isNew,
                isText ? Value(key.values.stringOf(value.get_string().value_unsafe()))
                       : scalar(value, type));
    }
    return false;
  }

  static bool findContainerInArray(Frame& frame, dom::element& inner, dom::element_type& type) {
    while (frame.element != frame.elementsEnd) {
      const dom::element value = *frame.element;
      ++frame.element;
      type = value.type();
      if (isContainer(type)) {
        inner = value;
        return true;
      }
      const bool isText = type == dom::element_type::STRING;
      frame.elements.push_back(isText ? Value(value.get_string().value_unsafe())
                                      : scalar(value, type));
    }
    return false;
  }

  /// Puts a container in where `findContainer` has met it.
  void put(Value container) {
    Frame& frame = frames[depth - 1];
    if (frame.isObject) {
      putMember(frame.members, frame.key, frame.isKeyNew, std::move(container));
    } else {
      frame.elements.push_back(std::move(container));
    }
  }

  static void putMember(Members& members, const Ref<NSString>& key, bool isNew, Value value) {
    if (isNew) {
      members.append({Value(key), std::move(value), key->contentHash()});
    } else {
      replaceOrAdd(members, key, std::move(value));
    }
  }

  /// Of equal keys the last value stays, in the place of the first. Keys that are equal are one.
  static void replaceOrAdd(Members& members, const Ref<NSString>& key, Value value) {
    const std::uint64_t hash = key->contentHash();
    const auto isSame = [&](const Value& other) { return other.object() == key.get(); };
    const std::size_t known = members.findWhere(hash, isSame);
    if (known == Members::npos) {
      members.append({Value(key), std::move(value), hash});
    } else {
      members.at(known).value = std::move(value);
    }
  }

  /// The innermost container, which is complete.
  Value closed() {
    Frame& frame = frames[depth - 1];
    const bool isMutable = (options & NSJSONReadingMutableContainers) != 0;
    if (frame.isObject) {
      // What was moved is empty.
      auto members = makeObject<NSDictionary>(std::move(frame.members));
      if (!isMutable) return members;
      return NSMutableDictionary::dictionaryWithDictionary(members);
    }
    std::vector<Value> elements = std::exchange(frame.elements, {});
    if (!isMutable) return NSArray::arrayWithValues(std::move(elements));
    return NSMutableArray::arrayWithValues(std::move(elements));
  }

  static Value scalar(dom::element element, dom::element_type type) {
    switch (type) {
      case dom::element_type::INT64:
        return element.get_int64().value_unsafe();
      case dom::element_type::UINT64:
        return element.get_uint64().value_unsafe();
      case dom::element_type::DOUBLE:
        return element.get_double().value_unsafe();
      case dom::element_type::BOOL:
        return element.get_bool().value_unsafe();
      default:
        return NSNull::null();
    }
  }
};

JSONReader::JSONReader(NSJSONReadingOptions options) : _state(std::make_unique<State>(options)) {}

JSONReader::~JSONReader() = default;

Value JSONReader::read(std::string_view text, Padding padding, std::size_t maximumDepth) {
  dom::element root;
  _state->error = simdjson::EMPTY;
  if (text.empty()) return Value();
  _state->error =
      _state->parser.parse(text.data(), text.size(), padding == Padding::Missing).get(root);
  if (_state->error) return Value();
  return _state->build(root, maximumDepth);
}

std::string_view JSONReader::refusal() const noexcept {
  return simdjson::error_message(_state->error);
}

}  // namespace JNFoundation::impl
