#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"
#include "platform/value/SmallStack.h"

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using Action = Block<void()>;
using Number = Block<int()>;

class Thing : public Subclass<Thing, NSObject> {};

int seven() { return 7; }

// What cannot be called that way is refused where it is written.
static_assert(std::is_constructible_v<Number, int (*)()>);
static_assert(!std::is_constructible_v<Number, int (*)(int)>);
static_assert(!std::is_constructible_v<Number, int>);
static_assert(!std::is_constructible_v<Block<int(Thing&)>, int (Thing::*)()>);
static_assert(!std::is_constructible_v<Action, Block<void(int)>>);
static_assert(!std::is_convertible_v<Action, bool>);
static_assert(std::is_nothrow_copy_constructible_v<Action>);
static_assert(std::is_nothrow_move_constructible_v<Action>);
static_assert(sizeof(Action) == 4 * sizeof(void*));

TEST(Block, MayBeNull) {
  EXPECT_FALSE(Action());
  EXPECT_FALSE(Action(nullptr));
  EXPECT_TRUE(Action() == nullptr);
  EXPECT_TRUE(Action([] {}));
  Action action = [] {};
  action = nullptr;
  EXPECT_FALSE(action);
  const Action copy = action;
  EXPECT_FALSE(copy);
}

TEST(Block, OfANullCallableIsNull) {
  EXPECT_FALSE(Number(static_cast<int (*)()>(nullptr)));
  EXPECT_FALSE(Action(Number()));
  EXPECT_FALSE(Number(std::function<int()>()));
  EXPECT_TRUE(Number(&seven));
  EXPECT_TRUE(Number(seven));
  EXPECT_EQ(Number(seven)(), 7);
  EXPECT_EQ(Number(std::function<int()>(seven))(), 7);
  EXPECT_TRUE(Action(Number(seven)));
}

TEST(Block, CallsWithArgumentsOfEveryKind) {
  const Block<std::string(const std::string&, std::unique_ptr<int>, int&)> block =
      [](const std::string& text, std::unique_ptr<int> number, int& out) {
        out = *number + 1;
        return text + std::to_string(*number);
      };
  int out = 0;
  EXPECT_EQ(block("n", std::make_unique<int>(4), out), "n4");
  EXPECT_EQ(out, 5);
  const Block<int&(int&)> reference = [](int& number) -> int& { return number; };
  EXPECT_EQ(&reference(out), &out);
}

TEST(Block, ConvertsWhatTheClosureReturns) {
  const Block<Value()> value = [] { return "text"; };
  EXPECT_EQ(value(), Value("text"));
  const Block<Value()> null = [] { return nullptr; };
  EXPECT_TRUE(null().isNull());
  const Action ignoring = [] { return 5; };
  ignoring();
}

TEST(Block, KeepsSmallClosuresInside) {
  LiveObjects live;
  const Ref<Thing> thing = makeObject<Thing>();
  const std::int64_t before = live.count();
  {
    const Block<const NSObject*()> inside = [thing, number = 1]() -> const NSObject* {
      return number == 1 ? thing.get() : nullptr;
    };
    EXPECT_EQ(live.count(), before) << "nothing but the thing is alive";
    EXPECT_EQ(thing->retainCount(), 2u);
    const auto copy = inside;
    EXPECT_EQ(thing->retainCount(), 3u);
    EXPECT_EQ(copy(), thing.get());
    EXPECT_EQ(thing->retainCount(), 3u);
  }
  EXPECT_EQ(thing->retainCount(), 1u);
}

TEST(Block, SharesLargeClosures) {
  LiveObjects live;
  const Ref<Thing> thing = makeObject<Thing>();
  {
    const std::array<int, 100> numbers{1, 2, 3};
    const Number block = [thing, numbers] { return numbers[2]; };
    const Number copy = block;
    const Number another = copy;
    EXPECT_EQ(thing->retainCount(), 2u) << "copies share one closure";
    EXPECT_EQ(another(), 3);
  }
  EXPECT_EQ(thing->retainCount(), 1u);
  EXPECT_LE(live.count(), 1);
}

TEST(Block, CopiesNeverCopyWhatMayFailOrCost) {
  struct Counted {
    explicit Counted(int& copies) : copies(&copies) {}
    Counted(const Counted& other) : copies(other.copies) { ++*copies; }
    Counted(Counted&& other) noexcept = default;
    int* copies;
  };
  int copies = 0;
  const Number block = [counted = Counted(copies)] { return *counted.copies; };
  const Number copy = block;
  EXPECT_EQ(copy(), 0);
  EXPECT_EQ(block(), 0);
}

TEST(Block, CopiesShareTheStateOfAMutableClosure) {
  Number small = [count = 0]() mutable { return ++count; };
  const Number copyOfSmall = small;
  EXPECT_EQ(small(), 1);
  EXPECT_EQ(copyOfSmall(), 2);
  EXPECT_EQ(small(), 3);

  Number large = [count = 0, padding = std::array<int, 50>()]() mutable {
    return ++count + padding[0];
  };
  const Number copyOfLarge = large;
  EXPECT_EQ(large(), 1);
  EXPECT_EQ(copyOfLarge(), 2);
}

TEST(Block, TakesClosuresThatCanOnlyBeMoved) {
  LiveObjects live;
  {
    const Number block = [number = std::make_unique<int>(9)] { return *number; };
    const Number copy = block;
    EXPECT_EQ(block(), 9);
    EXPECT_EQ(copy(), 9);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Block, TakesClosuresOfLargeAlignment) {
  struct alignas(64) Aligned {
    bool aligned() const { return reinterpret_cast<std::uintptr_t>(this) % 64 == 0; }
    char byte = 1;
  };
  const Block<bool()> block = [aligned = Aligned()] { return aligned.aligned(); };
  const auto copy = block;
  EXPECT_TRUE(block());
  EXPECT_TRUE(copy());
}

TEST(Block, IsEmptyAfterAMove) {
  Number block = seven;
  Number moved = std::move(block);
  EXPECT_FALSE(block);
  EXPECT_EQ(moved(), 7);
  block = std::move(moved);
  EXPECT_FALSE(moved);
  EXPECT_EQ(block(), 7);
  Number& alias = block;
  block = std::move(alias);
  EXPECT_EQ(block(), 7);
  block = alias;
  EXPECT_EQ(block(), 7);
}

TEST(Block, OutlivesItsOwnReplacementWhileItRuns) {
  LiveObjects live;
  {
    // Inside the block: one reference.
    Block<const NSObject*()> small;
    const Ref<Thing> thing = makeObject<Thing>();
    small = [&small, thing]() -> const NSObject* {
      small = nullptr;
      return thing.get();
    };
    EXPECT_EQ(small(), thing.get());
    EXPECT_FALSE(small);
    EXPECT_EQ(thing->retainCount(), 1u);

    // Shared: a closure with state, which reads it after it has dropped the block.
    Block<std::string()> large;
    large = [&large, text = std::string(100, 'x')]() mutable {
      large = [] { return std::string("next"); };
      return text;
    };
    EXPECT_EQ(large(), std::string(100, 'x'));
    EXPECT_EQ(large(), "next");
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Block, MayDestroyTheObjectThatHoldsIt) {
  LiveObjects live;
  struct Timer : public Subclass<Timer, NSObject> {
    Action action;
  };
  Ref<Timer> timer = makeObject<Timer>();
  std::string log;
  timer->action = [&timer, &log, text = std::string("fired")] {
    timer = nullptr;
    log = text;
  };
  timer->action();
  EXPECT_EQ(log, "fired");
  EXPECT_EQ(live.count(), 0);
}

/// Reads and writes the block that holds it while it dies.
struct Meddler {
  Meddler(Number& block, int& seen) : block(&block), seen(&seen) {}
  Meddler(Meddler&& other) noexcept
      : block(std::exchange(other.block, nullptr)), seen(other.seen) {}
  ~Meddler() {
    if (!block) return;
    *seen = *block ? (*block)() : -1;
    *block = [] { return 3; };
  }
  Number* block;
  int* seen;
};

TEST(Block, MayBeReachedByTheClosureThatIsBeingReplaced) {
  int seen = 0;
  Number block;
  block = [meddler = Meddler(block, seen)] { return 1; };
  block = [] { return 2; };
  EXPECT_EQ(seen, 2) << "the new closure is in place before the old one goes";
  EXPECT_EQ(block(), 3) << "what the old one wrote stays";

  block = [meddler = Meddler(block, seen)] { return 1; };
  block = nullptr;
  EXPECT_EQ(seen, -1);
  EXPECT_EQ(block(), 3);
}

TEST(Block, AMillionNestedOnesDieWithinASmallStack) {
  LiveObjects live;
  Action nested = [] {};
  for (int i = 0; i < 1'000'000; ++i) nested = [inner = std::move(nested)] { inner(); };
  testing::onStackOf(256 * 1024, [nested = std::move(nested)]() mutable { nested = nullptr; });
  EXPECT_EQ(live.count(), 0);
}

TEST(Block, ExceptionsPassThrough) {
  const Action block = [text = std::string(50, 'x')] { throw std::runtime_error(text); };
  EXPECT_THROW(block(), std::runtime_error);
  EXPECT_THROW(block(), std::runtime_error) << "and leave the block as it was";
}

TEST(Block, IsCalledOnEightThreadsAtOnce) {
  const Block<std::size_t()> block = [text = std::string(50, 'x')] { return text.size(); };
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([block] {
      for (int i = 0; i < 5'000; ++i) {
        const auto copy = block;
        ASSERT_EQ(copy(), 50u);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace JNFoundation
