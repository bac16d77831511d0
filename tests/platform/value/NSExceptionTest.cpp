#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

static_assert(std::is_base_of_v<std::exception, Raised>);
static_assert(std::is_nothrow_copy_constructible_v<Raised>);

class Refusal : public Subclass<Refusal, NSException> {
 public:
  Refusal() : Subclass("Refusal", "no", nullptr) {}
};

TEST(NSException, IsRaisedWithANameAndAFormattedReason) {
  try {
    raise(NSRangeException, "index %d beyond %@", 7, "the end");
    FAIL();
  } catch (const Raised& raised) {
    EXPECT_EQ(raised.exception()->name()->utf8(), "NSRangeException");
    EXPECT_EQ(raised.exception()->reason()->utf8(), "index 7 beyond the end");
    EXPECT_EQ(raised.exception()->userInfo(), nullptr);
    EXPECT_STREQ(raised.what(), "index 7 beyond the end");
  }
}

TEST(NSException, IsAStandardException) {
  try {
    NSException::raiseFormat("Mine", "%@", Value(3));
    FAIL();
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "3");
  }
}

TEST(NSException, IsTheSameObjectWhereItIsCaught) {
  testing::LiveObjects live;
  {
    const Ref<NSDictionary> details = NSDictionary::dictionaryWithObjectForKey(1, "code");
    const Ref<NSException> exception =
        NSException::exceptionWithNameReasonUserInfo("Name", "reason", details);
    try {
      exception->raise();
    } catch (const Raised& raised) {
      EXPECT_EQ(raised.exception(), exception);
      EXPECT_EQ(raised.exception()->userInfo(), details);
      EXPECT_EQ(exception->retainCount(), 2u);
    }
    EXPECT_EQ(exception->retainCount(), 1u);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(NSException, NamesAreThoseOfThePlatform) {
  EXPECT_STREQ(NSUndefinedKeyException, "NSUnknownKeyException");
  EXPECT_STREQ(NSInvalidArgumentException, "NSInvalidArgumentException");
  EXPECT_STREQ(NSRangeException, "NSRangeException");
  EXPECT_STREQ(NSInternalInconsistencyException, "NSInternalInconsistencyException");
  EXPECT_STREQ(NSObjectInaccessibleException, "NSObjectInaccessibleException");
  EXPECT_STREQ(NSGenericException, "NSGenericException");
}

TEST(NSException, DescribesItselfByItsReason) {
  const auto described = [](const Ref<NSString>& name, const Ref<NSString>& reason) {
    return NSException::exceptionWithNameReasonUserInfo(name, reason, nullptr)
        ->description()
        ->toStdString();
  };
  EXPECT_EQ(described("Name", "reason"), "reason");
  EXPECT_EQ(described("Name", nullptr), "Name");
  EXPECT_EQ(described(nullptr, nullptr), "(null)");
}

TEST(NSException, WithoutAReasonStillSaysSomething) {
  const auto what = [](const Ref<NSString>& name) {
    try {
      NSException::exceptionWithNameReasonUserInfo(name, nullptr, nullptr)->raise();
    } catch (const Raised& raised) {
      return std::string(raised.what());
    }
  };
  EXPECT_EQ(what("Name"), "Name");
  EXPECT_EQ(what(nullptr), "NSException");
}

TEST(NSException, AHandleNeverLosesItsException) {
  Raised raised(NSException::exceptionWithNameReasonUserInfo("Name", "reason", nullptr));
  const Raised other = std::move(raised);
  EXPECT_STREQ(raised.what(), "reason");
  EXPECT_EQ(raised.exception(), other.exception());
}

TEST(NSException, CrossesThreadsInAPointer) {
  std::exception_ptr carried;
  try {
    raise(NSGenericException, "carried");
  } catch (...) {
    carried = std::current_exception();
  }
  EXPECT_THROW(std::rethrow_exception(carried), Raised);
}

TEST(NSException, MayBeSubclassed) {
  try {
    makeObject<Refusal>()->raise();
    FAIL();
  } catch (const Raised& raised) {
    EXPECT_EQ(&raised.exception()->class_(), &Refusal::classObject);
    EXPECT_TRUE(isKindOf<NSException>(Value(raised.exception())));
  }
}

TEST(NSException, AnswersForItsPartsByName) {
  const Value exception = NSException::exceptionWithNameReasonUserInfo("Name", "reason", nullptr);
  EXPECT_EQ(performSelector(exception, "name"), Value("Name"));
  EXPECT_EQ(exception.object()->valueForKey("reason"), Value("reason"));
  EXPECT_TRUE(exception.object()->valueForKey("userInfo").isNull());
}

}  // namespace
}  // namespace JNFoundation
