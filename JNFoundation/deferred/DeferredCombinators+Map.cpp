#include <algorithm>
#include <vector>

#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/deferred/impl/Combination.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {
namespace {

using Work = Block<Value(const Value& element, NSUInteger index)>;

class ConcurrentMap : public impl::Combination {
 protected:
  ConcurrentMap(std::vector<Value> elements, NSUInteger limit, Work work, Unneeded unneeded)
      : _elements(std::move(elements)),
        _running(_elements.size()),
        _room(std::max<NSUInteger>(limit, 1)),
        _work(std::move(work)),
        _unneeded(unneeded) {}

  void start() override { beginMore(); }

  void didSettle(std::size_t index, const Value& outcome) override {
    ++_room;
    _running[index].reset();
    didFinish(index, outcome);
  }

  void cancelWork(const Value& value) override {
    for (std::size_t index = 0; index < _begun; ++index) {
      if (const Ref<PLVDeferred> running = _running[index].load()) running->cancelWithValue(value);
    }
  }

 private:
  /// Begins as much as there is room for. What has finished by then makes room, without a call into
  /// here from inside.
  void beginMore() {
    if (_isBeginning) return;
    struct Beginning {
      bool& flag;
      explicit Beginning(bool& flag) : flag(flag) { flag = true; }
      ~Beginning() { flag = false; }
    };
    {
      const Beginning beginning(_isBeginning);
      while (!isOver() && _room > 0 && _begun < _elements.size()) beginNext();
    }
    if (!isOver() && _finished == _elements.size()) {
      settle(NSArray::arrayWithValues(std::exchange(_elements, {})));
    }
  }

  void beginNext() {
    const std::size_t index = _begun++;
    const Value outcome = outcomeOf([&] { return _work(_elements[index], index); });
    auto* deferred = as<PLVDeferred>(outcome);
    if (!deferred) return didFinish(index, outcome);
    --_room;
    _running[index] = deferred;
    observe(*deferred, index);
    // The block may have cancelled the result.
    if (isOver() && !_hasFailed && _running[index].load()) deferred->cancel();
  }

  void didFinish(std::size_t index, const Value& outcome) {
    if (isOver()) return;
    if (isKindOf<PLVRejected>(outcome)) {
      _hasFailed = true;
      settle(outcome);
      if (_unneeded == Unneeded::Cancel) cancelWork(nullptr);
      return;
    }
    // The result takes the place of its element.
    _elements[index] = entryFor(outcome);
    ++_finished;
    beginMore();
  }

  std::vector<Value> _elements;
  std::vector<Weak<PLVDeferred>> _running;
  NSUInteger _room;
  const Work _work;
  const Unneeded _unneeded;
  std::size_t _begun = 0;
  std::size_t _finished = 0;
  bool _isBeginning = false;
  bool _hasFailed = false;
};

}  // namespace

Ref<PLVDeferred> mapConcurrently(const Ref<NSArray>& elements, NSUInteger limit, Work work,
                                 Unneeded unneeded, CreationPlace place) {
  if (!work) fatalError("mapConcurrently: the block must not be null");
  std::vector<Value> values;
  if (elements) {
    values.reserve(elements->count());
    for (const Value& element : *elements) values.push_back(element);
  }
  return makeObject<ConcurrentMap>(std::move(values), limit, std::move(work), unneeded)
      ->begin(place);
}

}  // namespace JNFoundation
