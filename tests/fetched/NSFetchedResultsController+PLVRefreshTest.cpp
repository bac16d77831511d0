#include "tests/fetched/SampleFixture.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/mapping/PLVDataError.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

class Loader : public Subclass<Loader, NSObject> {};

class PLVRefreshTest : public SampleTest {
 protected:
  void SetUp() override {
    SampleTest::SetUp();
    controller = controllerOf(items());
    loader = makeObject<Loader>();
  }

  void expectRejected(const Ref<PLVPromise>& promise, NSInteger code, const char* description) {
    ASSERT_TRUE(promise);
    ASSERT_TRUE(promise->isFulfilled()) << "it is rejected already";
    const Value resolution = promise->resolution();
    const auto* rejected = as<PLVRejected>(resolution);
    ASSERT_TRUE(rejected);
    EXPECT_FALSE(rejected->isCancellation());
    const Ref<NSError> error = rejected->errorForDomain(PLVDataErrorDomain);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), code);
    EXPECT_EQ(error->localizedDescription()->toStdString(), description);
    EXPECT_EQ(error->userInfo()->count(), 1u);
    EXPECT_TRUE(error->userInfo()->objectForKey(NSLocalizedDescriptionKey).isEqual(description));
  }
  void expectNoProvider(const Ref<PLVPromise>& promise) {
    expectRejected(promise, 1066150, "Unable to refresh with nil provider");
  }

  PLVRefreshBlock counting() {
    return [this](NSInteger, const Ref<NSObject>&, const Ref<NSFetchedResultsController>&) {
      ++calls;
      return PLVPromise::init();
    };
  }

  Ref<NSFetchedResultsController> controller;
  Ref<Loader> loader;
  int calls = 0;
};

TEST_F(PLVRefreshTest, AControllerWithoutAProviderIsRejected) {
  expectNoProvider(plv_refreshWithOptions(controller, 0));
}

TEST_F(PLVRefreshTest, TheBlockGetsOptionsProviderAndControllerAndItsPromiseComesBack) {
  std::vector<NSInteger> given;
  const auto promise = PLVPromise::init();
  plv_setRefreshProviderBlock(controller, loader,
                              [&](NSInteger options, const Ref<NSObject>& provider,
                                  const Ref<NSFetchedResultsController>& results) {
                                given.push_back(options);
                                EXPECT_EQ(provider.get(), loader.get());
                                EXPECT_EQ(results, controller);
                                return promise;
                              });
  EXPECT_TRUE(given.empty());
  const NSInteger most = std::numeric_limits<NSInteger>::max();
  const NSInteger least = std::numeric_limits<NSInteger>::min();
  for (const NSInteger options : {NSInteger{0}, NSInteger{-1}, most, least}) {
    EXPECT_EQ(plv_refreshWithOptions(controller, options), promise);
    EXPECT_EQ(given.back(), options);
  }
  EXPECT_EQ(given.size(), 4u);
  EXPECT_FALSE(promise->isFulfilled());
}

TEST_F(PLVRefreshTest, ABlockThatReturnsNullGivesNull) {
  plv_setRefreshProviderBlock(controller, loader, [](auto, auto&&...) { return nullptr; });
  EXPECT_FALSE(plv_refreshWithOptions(controller, 0));
}

TEST_F(PLVRefreshTest, AProviderIsNotKeptAlive) {
  plv_setRefreshProviderBlock(controller, loader, counting());
  EXPECT_TRUE(plv_refreshWithOptions(controller, 0));
  EXPECT_EQ(calls, 1);
  loader = nullptr;
  expectNoProvider(plv_refreshWithOptions(controller, 0));
  EXPECT_EQ(calls, 1);
}

TEST_F(PLVRefreshTest, AProviderWithoutABlockIsRejected) {
  plv_setRefreshProviderBlock(controller, loader, nullptr);
  expectRejected(plv_refreshWithOptions(controller, 0), 1066151,
                 "Unable to refresh with nil block");
  loader = nullptr;
  expectNoProvider(plv_refreshWithOptions(controller, 0));
}

TEST_F(PLVRefreshTest, ANullProviderRemovesTheRegistration) {
  plv_setRefreshProviderBlock(controller, loader, counting());
  plv_setRefreshProviderBlock(controller, nullptr, counting());
  expectNoProvider(plv_refreshWithOptions(controller, 0));
  EXPECT_EQ(calls, 0);
}

TEST_F(PLVRefreshTest, ALaterProviderTakesThePlaceOfTheEarlier) {
  plv_setRefreshProviderBlock(controller, loader, [](auto, auto&&...) -> Ref<PLVPromise> {
    ADD_FAILURE() << "replaced";
    return nullptr;
  });
  const auto other = makeObject<Loader>();
  plv_setRefreshProviderBlock(controller, other, counting());
  loader = nullptr;
  EXPECT_TRUE(plv_refreshWithOptions(controller, 0));
  EXPECT_EQ(calls, 1);
}

TEST_F(PLVRefreshTest, EachControllerHasItsOwn) {
  const auto other = controllerOf(items());
  plv_setRefreshProviderBlock(controller, loader, counting());
  expectNoProvider(plv_refreshWithOptions(other, 0));
  EXPECT_EQ(calls, 0);
}

TEST_F(PLVRefreshTest, ARandomControllerIsRefreshedAsAnyOther) {
  const Ref<NSFetchedResultsController> random = randomOf(3);
  plv_setRefreshProviderBlock(random, loader, counting());
  EXPECT_TRUE(plv_refreshWithOptions(random, 0));
  EXPECT_EQ(calls, 1);
}

TEST_F(PLVRefreshTest, ThePromiseIsStoredWhereThereIsAPlaceForIt) {
  plv_setRefreshProviderBlock(controller, loader, counting());
  plv_getRefreshPromiseWithOptions(controller, nullptr, 0);
  EXPECT_EQ(calls, 0) << "nobody wants it, so nothing is refreshed";
  Ref<PLVPromise> promise;
  plv_getRefreshPromiseWithOptions(controller, &promise, 0);
  EXPECT_EQ(calls, 1);
  ASSERT_TRUE(promise);
  EXPECT_FALSE(promise->isFulfilled());
  plv_setRefreshProviderBlock(controller, nullptr, nullptr);
  plv_getRefreshPromiseWithOptions(controller, &promise, 0);
  expectNoProvider(promise);
}

TEST_F(PLVRefreshTest, ANullControllerAnswersNull) {
  plv_setRefreshProviderBlock(nullptr, loader, counting());
  EXPECT_FALSE(plv_refreshWithOptions(nullptr, 0));
  Ref<PLVPromise> promise = PLVPromise::init();
  plv_getRefreshPromiseWithOptions(nullptr, &promise, 0);
  EXPECT_FALSE(promise);
  EXPECT_EQ(calls, 0);
}

TEST_F(PLVRefreshTest, ABlockMayReplaceItselfAndLetGoOfEverything) {
  struct Kept {
    std::shared_ptr<int> number = std::make_shared<int>(7);
  } kept;
  int seen = 0;
  plv_setRefreshProviderBlock(controller, loader,
                              [this, kept, &seen](NSInteger, const Ref<NSObject>& provider,
                                                  const Ref<NSFetchedResultsController>& results) {
                                loader = nullptr;
                                plv_setRefreshProviderBlock(results, nullptr, nullptr);
                                controller = nullptr;
                                seen = *kept.number;
                                EXPECT_EQ(&provider->class_(), &Loader::classObject);
                                EXPECT_TRUE(results->fetchRequest());
                                return PLVPromise::init();
                              });
  EXPECT_TRUE(plv_refreshWithOptions(controller, 0));
  EXPECT_EQ(seen, 7);
  EXPECT_FALSE(controller);
}

TEST_F(PLVRefreshTest, TheHolderGoesWithItsController) {
  const auto number = std::make_shared<int>(7);
  plv_setRefreshProviderBlock(controller, loader, [number](auto, auto&&...) { return nullptr; });
  EXPECT_EQ(number.use_count(), 2);
  controller = nullptr;
  EXPECT_EQ(number.use_count(), 1);
}

TEST_F(PLVRefreshTest, AControllerAnswersByName) {
  plv_setRefreshProviderBlock(controller, loader, counting());
  EXPECT_TRUE(
      isKindOf<PLVPromise>(performSelector(Value(controller), "plv_refreshWithOptions:", 3)));
  EXPECT_EQ(calls, 1);
}

TEST(PLVRefreshProviderBlock, AHolderStartsEmpty) {
  const auto holder = PLVRefreshProviderBlock::init();
  EXPECT_FALSE(holder->provider());
  EXPECT_FALSE(holder->refreshBlock());
}

}  // namespace
}  // namespace JNFoundation
