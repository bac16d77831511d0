#include "JNFoundation/platform/json/impl/JSONReader.h"

#include <cstring>
#include <simdjson.h>
#include <vector>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::impl {

namespace {

namespace dom = simdjson::dom;

/// The keys of the texts, one string each.
///
/// The same keys follow each other in record after record, so the key that came after the last one
/// when that was seen before is tried first; it costs one comparison of bytes and no hash.
class KeyTable {
 public:
  const Ref<NSString>& keyFor(std::string_view text) {
    const std::uint32_t expected = _keys.empty() ? none : _keys[_last].next;
    if (expected != none && _keys[expected].string->utf8() == text) {
      _last = expected;
      return _keys[expected].string;
    }
    const std::uint32_t found = findOrAdd(text);
    _keys[_last].next = found;
    _last = found;
    return _keys[found].string;
  }

 private:
  static constexpr std::uint32_t none = static_cast<std::uint32_t>(-1);

  struct Key {
    Ref<NSString> string;
    std::uint64_t hash;
    std::uint32_t next;
  };

  std::uint32_t findOrAdd(std::string_view text) {
    if (_slots.size() < (_keys.size() + 1) * 2) grow();
    const std::uint64_t hash = hashBytes(text);
    std::size_t slot = hash & (_slots.size() - 1);
    for (; _slots[slot] != none; slot = (slot + 1) & (_slots.size() - 1)) {
      const Key& key = _keys[_slots[slot]];
      if (key.hash == hash && key.string->utf8() == text) return _slots[slot];
    }
    NSString* interned = NSString::internedIfPresent(text);
    _slots[slot] = static_cast<std::uint32_t>(_keys.size());
    _keys.push_back({interned ? Ref<NSString>(interned) : NSString::fromText(text), hash, none});
    return _slots[slot];
  }

  void grow() {
    _slots.assign(_slots.empty() ? 64 : _slots.size() * 2, none);
    for (std::size_t i = 0; i < _keys.size(); ++i) {
      std::size_t slot = _keys[i].hash & (_slots.size() - 1);
      while (_slots[slot] != none) slot = (slot + 1) & (_slots.size() - 1);
      _slots[slot] = static_cast<std::uint32_t>(i);
    }
  }

  std::vector<Key> _keys;
  /// Open addressing: positions in `_keys`; the size is a power of two.
  std::vector<std::uint32_t> _slots;
  std::uint32_t _last = 0;
};

/// A container that is being filled.
struct Frame {
  bool isObject = false;
  dom::array::iterator element, elementsEnd;
  dom::object::iterator member, membersEnd;
  std::vector<Value> elements;
  NSDictionary::Builder members;
  Ref<NSString> key;
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

  Value build(dom::element root, std::size_t maximumDepth) {
    depth = 0;
    dom::element current = root;
    for (;;) {
      const dom::element_type type = current.type();
      if (type == dom::element_type::ARRAY || type == dom::element_type::OBJECT) {
        if (depth == maximumDepth) {
          error = simdjson::DEPTH_ERROR;
          frames.clear();
          return Value();
        }
        open(current, type);
      } else {
        Value value = scalar(current, type);
        if (depth == 0) return value;
        put(std::move(value));
      }
      while (!next(current)) {
        Value container = close();
        if (depth == 0) return container;
        put(std::move(container));
      }
    }
  }

  void open(dom::element container, dom::element_type type) {
    if (depth == frames.size()) frames.emplace_back();
    Frame& frame = frames[depth++];
    frame.isObject = type == dom::element_type::OBJECT;
    if (frame.isObject) {
      const dom::object object = container.get_object().value_unsafe();
      frame.member = object.begin();
      frame.membersEnd = object.end();
      frame.members = NSDictionary::Builder(object.size());
    } else {
      const dom::array array = container.get_array().value_unsafe();
      frame.element = array.begin();
      frame.elementsEnd = array.end();
      frame.elements.clear();
      frame.elements.reserve(array.size());
    }
  }

  /// Steps to the next value of the innermost container. Returns: false behind the last.
  bool next(dom::element& current) {
    Frame& frame = frames[depth - 1];
    if (frame.isObject) {
      if (!(frame.member != frame.membersEnd)) return false;
      frame.key = keys.keyFor(frame.member.key());
      current = frame.member.value();
      ++frame.member;
    } else {
      if (!(frame.element != frame.elementsEnd)) return false;
      current = *frame.element;
      ++frame.element;
    }
    return true;
  }

  void put(Value value) {
    Frame& frame = frames[depth - 1];
    if (frame.isObject) {
      frame.members.set(std::move(frame.key), std::move(value));
    } else {
      frame.elements.push_back(std::move(value));
    }
  }

  Value close() {
    Frame& frame = frames[--depth];
    const bool isMutable = (options & NSJSONReadingMutableContainers) != 0;
    if (frame.isObject) {
      Ref<NSDictionary> members = frame.members.finish();
      if (!isMutable) return members;
      return NSMutableDictionary::dictionaryWithDictionary(members);
    }
    std::vector<Value> elements = std::exchange(frame.elements, {});
    if (!isMutable) return NSArray::arrayWithValues(std::move(elements));
    return NSMutableArray::arrayWithValues(std::move(elements));
  }

  static Value scalar(dom::element element, dom::element_type type) {
    switch (type) {
      case dom::element_type::STRING:
        return element.get_string().value_unsafe();
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
