#include "JNFoundation/platform/json/JSONElements.h"

#include <utility>

#include <JNFoundation/platform/json/impl/JSONReading.h>

namespace JNFoundation::inline v0_1 {

using impl::JSONReader;

namespace {

/// Walks the elements of an array without reading them.
class ElementWalk {
 public:
  explicit ElementWalk(std::string_view text) : _text(text) {}

  /// The next element's text. Returns: false behind the last and where the array goes wrong.
  bool next(std::string_view& element) {
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    const bool isFirst = !std::exchange(_started, true);
    if (isFirst && !take('[')) return false;
    if (take(']')) {
      _isComplete = impl::skipJSONWhiteSpace(_text, _offset) == _text.size();
      return false;
    }
    if (!isFirst && !take(',')) return false;
    _offset = impl::skipJSONWhiteSpace(_text, _offset);
    const std::size_t end = impl::endOfJSONValue(_text, _offset);
    element = _text.substr(_offset, end - _offset);
    _offset = end;
    return !element.empty();
  }

  /// Whether the array was walked to its end and nothing stands behind it.
  bool isComplete() const { return _isComplete; }
  std::size_t offset() const { return _offset; }

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

}  // namespace

struct JSONElements::State {
  State(std::string_view elements, NSJSONReadingOptions options)
      : text(elements), reader(options), walk(elements) {}

  const std::string_view text;
  JSONReader reader;
  ElementWalk walk;
  bool isAtEnd = false;
};

JSONElements::JSONElements(std::string_view text, NSJSONReadingOptions options)
    : _state(std::make_unique<State>(text, options)) {}

JSONElements::~JSONElements() = default;

Value JSONElements::next() {
  State& state = *_state;
  std::string_view element;
  if (state.isAtEnd || !state.walk.next(element)) {
    state.isAtEnd = true;
    return nullptr;
  }
  const char* end = element.data() + element.size();
  const auto behind = static_cast<std::size_t>(state.text.data() + state.text.size() - end);
  const auto padding = behind >= JSONReader::paddingSize ? JSONReader::Padding::Present
                                                         : JSONReader::Padding::Missing;
  Value value = impl::readJSONValue(state.reader, element, padding, NSJSONMaximumDepth - 1);
  state.isAtEnd = value.isNull();
  return value;
}

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

std::size_t JSONElements::offset() const noexcept { return _state->walk.offset(); }

}  // namespace JNFoundation
