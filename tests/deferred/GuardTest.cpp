#include <functional>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Guard.h>

/// Handlers that are skipped once their owner has gone.
namespace JNFoundation {
namespace {

class View : public Subclass<View, NSObject> {
 public:
  static Ref<View> named(std::string name) { return makeObject<View>(std::move(name)); }
  const std::string& name() const noexcept { return _name; }

 protected:
  explicit View(std::string name) : _name(std::move(name)) {}

 private:
  std::string _name;
};

struct PlainOwner {
  int number = 7;
};

class GuardTest : public DeferredFixture {
 protected:
  /// A handler that notes the owner's name and the value.
  auto showing() {
    return [this](const Ref<View>& view, const Value& value) -> Value {
      record.push_back(view->name() + " shows " + text(value));
      return "shown";
    };
  }
};

TEST_F(GuardTest, RunsTheHandlerWhileTheOwnerLives) {
  const Ref<View> view = View::named("view");
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(Weak<View>(view), showing());
  deferred->resolve("text");
  EXPECT_EQ(happened(), Words{"view shows text"});
  EXPECT_EQ(deferred->resolution(), Value("shown"));
}

TEST_F(GuardTest, SkipsTheHandlerAndPassesTheValueOnOnceTheOwnerHasGone) {
  Ref<View> view = View::named("view");
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(Weak<View>(view), showing())->thenResolved(noting("next"));
  view = nullptr;
  deferred->resolve("text");
  EXPECT_EQ(happened(), Words{"next text"});
}

TEST_F(GuardTest, HoldsTheOwnerWhileTheHandlerRuns) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(weak, [&](const Value& value) {
    view = nullptr;
    EXPECT_TRUE(weak.load());
    return value;
  });
  deferred->resolve(1);
  EXPECT_FALSE(weak.load());
}

TEST_F(GuardTest, DoesNotKeepTheOwner) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(weak, showing());
  view = nullptr;
  EXPECT_FALSE(weak.load());
}

TEST_F(GuardTest, OfASharedPointerWorksAlike) {
  auto plain = std::make_shared<PlainOwner>();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred
      ->thenResolved(std::weak_ptr<PlainOwner>(plain),
                     [](const std::shared_ptr<PlainOwner>& plain, const Value& value) {
                       return plain->number + value.integerValue();
                     })
      ->thenResolved(std::weak_ptr<PlainOwner>(plain), [](PlainOwner& plain, const Value& value) {
        return plain.number + value.integerValue();
      });
  EXPECT_EQ(deferred->resolution(), Value(15));
  const std::weak_ptr<PlainOwner> weak = plain;
  plain = nullptr;
  deferred->thenResolved(weak, noting("unreachable"));
  EXPECT_EQ(deferred->resolution(), Value(15));
}

TEST_F(GuardTest, ThatNeverHadAnOwnerSkips) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved(Weak<View>(), noting("unreachable"));
  deferred->thenResolved(std::weak_ptr<PlainOwner>(), noting("unreachable"));
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(GuardTest, GuardsFailures) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const auto recovering = [this](View& view, const Ref<PLVRejected>& rejected) -> Value {
    record.push_back(view.name() + " recovers " + text(rejected->value()));
    return "recovered";
  };
  const Ref<PLVDeferred> first = PLVDeferred::withRejected("no"),
                         second = PLVDeferred::withRejected("no");
  first->thenRejected(weak, recovering);
  EXPECT_EQ(happened(), Words{"view recovers no"});
  EXPECT_EQ(first->resolution(), Value("recovered"));
  view = nullptr;
  second->thenRejected(weak, recovering);
  EXPECT_EQ(text(second->resolution()), "PLVRejected [no]");
}

TEST_F(GuardTest, GuardsBothBranchesAtOnce) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const auto add = [&](const Ref<PLVDeferred>& deferred) {
    deferred->thenResolvedRejected(weak, showing(), [this](const Ref<PLVRejected>& rejected) {
      record.push_back("failed " + text(rejected->value()));
      return rejected;
    });
  };
  add(PLVDeferred::withResolved(1));
  add(PLVDeferred::withRejected(2));
  EXPECT_EQ(happened(), (Words{"view shows 1", "failed 2"}));
  view = nullptr;
  const Ref<PLVDeferred> resolved = PLVDeferred::withResolved(3),
                         rejected = PLVDeferred::withRejected(4);
  add(resolved);
  add(rejected);
  EXPECT_EQ(resolved->resolution(), Value(3));
  EXPECT_EQ(text(rejected->resolution()), "PLVRejected [4]");
}

TEST_F(GuardTest, GuardsHandlersOfBoth) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const auto add = [&](const Ref<PLVDeferred>& deferred) {
    deferred->thenEither(weak, noting("either"))
        ->thenEitherUnlessCanceled(weak, noting("unless canceled"));
  };
  add(PLVDeferred::withResolved(1));
  EXPECT_EQ(happened(), (Words{"either 1", "unless canceled 1"}));
  const Ref<PLVDeferred> cancelled = PLVDeferred::init();
  add(cancelled);
  cancelled->cancel();
  EXPECT_EQ(happened(), Words{"either PLVRejected (CANCELLED) [(null)]"});
  view = nullptr;
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected("no");
  add(deferred);
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected [no]");
}

TEST_F(GuardTest, OfNullPassesTheValueOn) {
  const Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved(weak, nullptr)
      ->thenResolved(weak, PLVResolvedHandler())
      ->thenResolvedRejected(weak, nullptr, nullptr)
      ->thenRejected(weak, PLVRejectedHandler())
      ->thenEither(weak, std::function<Value(const Value&)>())
      ->thenEitherUnlessCanceled(weak, nullptr);
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(GuardTest, AHandlerMayChangeItsOwnState) {
  const Ref<View> view = View::named("view");
  const auto counting =
      guarded(Weak<View>(view), [calls = 0](const Value&) mutable { return ++calls; });
  const PLVResolvedHandler handler = counting;
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved(handler)->thenResolved(handler);
  EXPECT_EQ(deferred->resolution(), Value(2));
}

TEST_F(GuardTest, IsGoneFromTheMomentTheLastReferenceGoes) {
  // The owner's own end settles what the owner guards.
  class Closing : public Subclass<Closing, NSObject> {
   public:
    static Ref<Closing> of(Ref<PLVDeferred> deferred) {
      return makeObject<Closing>(std::move(deferred));
    }

   protected:
    explicit Closing(Ref<PLVDeferred> deferred) : _deferred(std::move(deferred)) {}
    ~Closing() override { _deferred->resolve("at the end"); }

   private:
    Ref<PLVDeferred> _deferred;
  };
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  Ref<Closing> closing = Closing::of(deferred);
  deferred->thenResolved(Weak<Closing>(closing), noting("unreachable"));
  closing = nullptr;
  EXPECT_EQ(deferred->resolution(), Value("at the end"));
}

TEST_F(GuardTest, AStepAddedElsewhereIsSkippedOnTheMainThread) {
  Ref<View> view = View::named("view");
  const Weak<View> weak(view);
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  std::thread([&] {
    deferred->thenResolved(weak, showing());
    view = nullptr;
  }).join();
  turn();
  EXPECT_EQ(deferred->resolution(), Value(1));
}

}  // namespace
}  // namespace JNFoundation
