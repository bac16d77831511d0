#include <random>

#include "DeferredFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/platform/value/NSArray.h>

/// Random walks beside one that simply nests its calls: every call of a block and of a handler, and
/// their order, must be the same.
namespace JNFoundation {
namespace {

/// The walk in the plainest form: a call of `consume` inside the step that waited.
class NestedWalk : public Subclass<NestedWalk, NSObject, PLVResolutionSource> {
 public:
  static Ref<NestedWalk> initWithArray(const Ref<NSArray>& array) {
    return makeObject<NestedWalk>(array);
  }
  Ref<PLVDeferred> deferredEnumerateObjectsUsingBlock(PLVDeferredEnumerationBlock block) {
    Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(Value(this));
    enumerateWithDeferredBlock(completion, std::move(block));
    return completion;
  }
  void enumerateWithDeferredBlock(const Ref<PLVDeferred>& deferred,
                                  PLVDeferredEnumerationBlock block) {
    if (_completion) return deferred->reject(nullptr);
    _completion = deferred;
    _block = std::move(block);
    _stops = false;
    consume(0);
  }
  const PLVDeferredEnumerationBlock& enumerationBlock() const { return _block; }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) override {
    _completion = nullptr;
    if (const Ref<PLVDeferred> current = _current) current->cancelWithValue(value);
  }

 protected:
  explicit NestedWalk(const Ref<NSArray>& array) : _array(array) {}

 private:
  void consume(NSUInteger index) {
    const Ref<NestedWalk> self(this);
    for (; _completion && _block && !_stops && index < _array->count(); ++index) {
      bool stop = false;
      const PLVDeferredEnumerationBlock block = _block;
      const Value result = block(_array->objectAtIndex(index), index, stop);
      if (stop) _stops = true;
      if (auto* awaited = as<PLVDeferred>(result)) {
        _current = awaited;
        awaited->thenEither([self, index](const Value& value) {
          self->_current = nullptr;
          self->consume(index + 1);
          return value;
        });
        return;
      }
    }
    if (const Ref<PLVDeferred> completion = _completion) completion->resolve(_array);
    _completion = nullptr;
    _block = nullptr;
    _stops = false;
  }

  const Ref<NSArray> _array;
  Ref<PLVDeferred> _completion, _current;
  PLVDeferredEnumerationBlock _block;
  bool _stops = false;
};

/// Plays a script that its seed determines, with one of the two walks.
template <class Walk>
class WalkPlayer {
 public:
  explicit WalkPlayer(std::uint64_t seed) : _random(seed) {
    for (int i = 0; i < shared; ++i) _shared[i] = PLVDeferred::init();
    std::vector<Value> elements;
    for (NSInteger i = 0; i < 8; ++i) elements.emplace_back(i);
    _walk = Walk::initWithArray(NSArray::arrayWithValues(std::move(elements)));
  }

  std::vector<std::string> play() {
    start();
    for (int i = 0; i < 12; ++i) operate();
    // A walk may wait for several of them, one after the other.
    for (const Ref<PLVDeferred>& deferred : _replaced) deferred->resolve("end");
    for (const Ref<PLVDeferred>& deferred : _shared) deferred->resolve("end");
    return std::move(_record);
  }

 private:
  static constexpr int shared = 4;

  std::uint64_t below(std::uint64_t limit) { return _random() % limit; }

  auto noting(std::string name) {
    return [this, name = std::move(name)](const Value& value) {
      note(name + " " + value.description()->toStdString());
      return value;
    };
  }
  void note(std::string what) { _record.push_back(std::move(what)); }

  void start() {
    const std::string name = "walk " + std::to_string(_walks++);
    note("start " + name);
    const Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(_walk);
    completion->thenEither(noting(name));
    _completion = completion;
    _walk->enumerateWithDeferredBlock(
        completion, [this](const Value& element, NSUInteger index, bool& stop) -> Value {
          note("visit " + element.description()->toStdString());
          stop = below(12) == 0;
          operateInside(index);
          return result();
        });
    note("started " + name);
  }

  Value result() {
    switch (below(6)) {
      case 0:
        return PLVDeferred::withResolved("there");
      case 1:
        return PLVDeferred::withRejected("failed");
      case 2:
      case 3:
        return _shared[below(shared)];
      case 4:
        return "ignored";
      default:
        return nullptr;
    }
  }

  void operateInside(NSUInteger index) {
    const Ref<PLVDeferred> deferred = _shared[below(shared)];
    switch (below(10)) {
      case 0:
        deferred->thenEither(noting("added at " + std::to_string(index)));
        break;
      case 1:
        deferred->resolve("inside");
        break;
      case 2:
        if (below(3) == 0) _completion->cancelWithValue("inside");
        break;
      case 3:
        if (below(2) == 0) start();  // rejected, since a walk is running
        break;
      default:
        break;
    }
  }

  void operate() {
    const std::uint64_t number = below(shared);
    switch (below(5)) {
      case 0:
        note("resolve " + std::to_string(number));
        _shared[number]->resolve("outside");
        break;
      case 1:
        note("reject " + std::to_string(number));
        _shared[number]->reject("outside");
        break;
      case 2:
        _shared[number]->thenEither(noting("added"));
        break;
      case 3:
        if (below(3) == 0) {
          note("cancel");
          _completion->cancelWithValue("outside");
        }
        break;
      default:
        // The next one begins when the last one has drained.
        if (!_walk->enumerationBlock()) start();
        _replaced.push_back(std::exchange(_shared[number], PLVDeferred::init()));
        break;
    }
  }

  std::mt19937_64 _random;
  std::vector<std::string> _record;
  Ref<PLVDeferred> _shared[shared];
  std::vector<Ref<PLVDeferred>> _replaced;
  Ref<Walk> _walk;
  Ref<PLVDeferred> _completion;
  int _walks = 0;
};

class WalkAgainstModel : public DeferredFixture {};

TEST_F(WalkAgainstModel, RandomWalksMakeTheSameCallsInTheSameOrder) {
  JNFoundation::testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  const int scripts = JNFoundation::testing::rounds(2000, 1'000'000);
  std::size_t visits = 0;
  for (int script = 0; script < scripts; ++script) {
    const std::uint64_t seed = randomness.bits();
    const Words walked = WalkPlayer<PLVDeferredEnumeration>(seed).play();
    ASSERT_EQ(walked, WalkPlayer<NestedWalk>(seed).play()) << "script " << script;
    ASSERT_EQ(live.count(), 0) << "script " << script;
    for (const std::string& word : walked) visits += word.starts_with("visit");
  }
  EXPECT_GT(visits, static_cast<std::size_t>(scripts)) << "the scripts hardly walk";
}

}  // namespace
}  // namespace JNFoundation
