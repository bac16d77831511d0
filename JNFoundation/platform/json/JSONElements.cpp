#include "JNFoundation/platform/json/JSONElements.h"

#include <string>
#include <utility>

#include <JNFoundation/platform/json/impl/JSONReading.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

using impl::JSONReader;

namespace {

/// Walks the elements of an array without reading them.
class ElementWalk {
 public:
  explicit ElementWalk(std::string_view text) : _text(text) {}

  /// Goes to where the next element starts. Returns: false behind the last and where the array goes
  /// wrong.
  bool goToNext() {
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    const bool isFirst = !std::exchange(_started, true);
    if (isFirst && !take('[')) return false;
    if (take(']')) {
      _isComplete = impl::skipJSONWhiteSpace(_text, _offset) == _text.size();
      return false;
    }
    if (!isFirst && !take(',')) return false;
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    return true;
  }

  /// The text of the element that starts here, behind which it goes. Empty where there is none.
  std::string_view element() {
    const std::size_t start = _offset;
    _offset = impl::endOfJSONValue(_text, start);
    return _text.substr(start, _offset - start);
  }

  /// Whether the array was walked to its end and nothing stands behind it.
  bool isComplete() const { return _isComplete; }
  std::size_t offset() const { return _offset; }
  /// Takes: where an element ends.
  void setOffset(std::size_t offset) { _offset = offset; }

 private:
  bool take(char character) {
    if (_offset == _text.size() || _text[_offset] != character) return false;
    _offset = impl::skipJSONWhiteSpace(_text, _offset + 1);
    return true;
  }

  std::string_view _text;
  std::size_t _offset = 0;
  bool _started = false;
  bool _isComplete = false;
};

/// How much is read at once: it fits the processor's caches together with what comes of it.
constexpr std::size_t batchSize = 32 * 1024;
/// What of an element looks like the start of the others: of an object its first key.
std::string_view startOf(std::string_view element) {
  if (!element.starts_with('{')) return element.substr(0, 1);
  const std::size_t opening = element.find('"');
  const std::size_t closing =
      opening == std::string_view::npos ? std::string_view::npos : element.find('"', opening + 1);
  return closing == std::string_view::npos ? element.substr(0, 1) : element.substr(0, closing + 1);
}

}  // namespace

/// Elements are read many at a time, up to a place that looks like the start of another. What ends
/// there and is no whole number of elements has a bracket or a quotation mark too many, so that the
/// reader refuses it, and its elements are read one by one.
struct JSONElements::State {
  State(std::string_view elements, NSJSONReadingOptions options)
      : text(elements), reader(options), walk(elements) {}

  Value next();
  bool readBatch();
  Value readOne();

  const std::string_view text;
  JSONReader reader;
  ElementWalk walk;
  bool isAtEnd = false;

  /// What stood between the last two elements, with the start of the second.
  std::string_view mark;
  std::size_t lastEnd = 0;
  /// The batch may be tried again from there on.
  std::size_t refusedUntil = 0;
  std::string batchText;
  Ref<NSArray> batch;
  std::size_t batchStart = 0;
  NSUInteger given = 0;
};

Value JSONElements::State::next() {
  if (batch && given < batch->count()) return batch->objectAtIndex(given++);
  batch = nullptr;
  if (isAtEnd || !walk.goToNext()) {
    isAtEnd = true;
    return nullptr;
  }
  if (readBatch()) return batch->objectAtIndex(given++);
  return readOne();
}

bool JSONElements::State::readBatch() {
  const std::size_t start = walk.offset();
  if (mark.empty() || start < refusedUntil) return false;
  const std::string_view window = text.substr(start, batchSize);
  const std::size_t end = window.rfind(mark);
  if (end == std::string_view::npos || end == 0) {
    refusedUntil = start + window.size();
    return false;
  }
  batchText.clear();
  batchText.reserve(batchSize + 2 + JSONReader::paddingSize);
  batchText.append("[").append(text, start, end).append("]");
  const Value elements = reader.read(batchText, JSONReader::Padding::Present, NSJSONMaximumDepth);
  if (elements.isNull()) {
    refusedUntil = start + end;
    return false;
  }
  batch = Ref<NSArray>(as<NSArray>(elements));
  batchStart = start;
  given = 0;
  lastEnd = start + end;
  walk.setOffset(lastEnd);
  return true;
}

Value JSONElements::State::readOne() {
  const std::string_view element = walk.element();
  if (lastEnd > 0) {
    const auto start = static_cast<std::size_t>(element.data() - text.data());
    mark = text.substr(lastEnd, start - lastEnd + startOf(element).size());
  }
  lastEnd = walk.offset();
  const std::size_t behind = text.size() - lastEnd;
  const auto padding = behind >= JSONReader::paddingSize ? JSONReader::Padding::Present
                                                         : JSONReader::Padding::Missing;
  Value value = impl::readJSONValue(reader, element, padding, NSJSONMaximumDepth - 1);
  isAtEnd = value.isNull();
  return value;
}

JSONElements::JSONElements(std::string_view text, NSJSONReadingOptions options)
    : _state(std::make_unique<State>(text, options)) {}

JSONElements::~JSONElements() = default;

Value JSONElements::next() { return _state->next(); }

bool JSONElements::failed(Ref<NSError>* error) const {
  const State& state = *_state;
  if (!state.isAtEnd || state.walk.isComplete()) return false;
  const std::size_t start = impl::skipJSONWhiteSpace(state.text, 0);
  if (!impl::findJSONProblem(state.text, NSJSONMaximumDepth, nullptr) && state.text[start] != '[') {
    impl::setJSONProblem(state.text, {start, "expected '[' at the start of an array"}, error);
  } else {
    impl::setJSONRefusal(state.text, state.reader, error);
  }
  return true;
}

std::size_t JSONElements::offset() const noexcept {
  const State& state = *_state;
  const std::size_t end = state.walk.offset();
  if (!state.batch) return end;
  const std::size_t size = end - state.batchStart;
  return state.batchStart + size * state.given / state.batch->count();
}

}  // namespace JNFoundation
