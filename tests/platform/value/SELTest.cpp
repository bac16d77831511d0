#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/value/SEL.h>

namespace JNFoundation {
namespace {

TEST(SEL, OfEqualNamesIsOne) {
  const std::string built = std::string("map") + "Value:toObject:";
  EXPECT_EQ(SEL("mapValue:toObject:"), SEL(built));
  EXPECT_NE(SEL("mapValue:toObject:"), SEL("mapValue:toObject"));
  EXPECT_NE(SEL("mapValue"), SEL("mapvalue"));
  EXPECT_EQ(NSSelectorFromString("a:b:"), SEL("a:b:"));
}

TEST(SEL, KeepsItsName) {
  SEL selector;
  {
    const std::string temporary(100, 'k');
    selector = SEL(temporary);
  }
  EXPECT_EQ(selector.name(), std::string(100, 'k'));
  EXPECT_EQ(NSStringFromSelector("count"), "count");
}

TEST(SEL, CountsItsArguments) {
  EXPECT_EQ(SEL("count").argumentCount(), 0u);
  EXPECT_EQ(SEL("a:").argumentCount(), 1u);
  EXPECT_EQ(SEL("mapValue:toObject:filter:").argumentCount(), 3u);
  EXPECT_EQ(SEL("::").argumentCount(), 2u);
}

TEST(SEL, WithoutANameIsNull) {
  EXPECT_FALSE(SEL());
  EXPECT_FALSE(SEL(nullptr));
  EXPECT_FALSE(SEL(""));
  EXPECT_FALSE(SEL(static_cast<const char*>(nullptr)));
  EXPECT_EQ(SEL(""), SEL());
  EXPECT_EQ(SEL().name(), "");
  EXPECT_EQ(SEL().argumentCount(), 0u);
  EXPECT_TRUE(SEL("x"));
}

TEST(SEL, IsNotMadeByAQuestion) {
  EXPECT_FALSE(SEL::ifKnown("neverNamedBefore:"));
  EXPECT_FALSE(SEL::ifKnown("neverNamedBefore:")) << "asking must not name it";
  const SEL named("neverNamedBefore:");
  EXPECT_EQ(SEL::ifKnown("neverNamedBefore:"), named);
  EXPECT_FALSE(SEL::ifKnown(""));
}

TEST(SEL, IsAKey) {
  std::unordered_map<SEL, int> numbers;
  numbers["one"] = 1;
  numbers["two:"] = 2;
  EXPECT_EQ(numbers.at(SEL("one")), 1);
  EXPECT_EQ(numbers.count("two"), 0u);
}

TEST(SEL, IsOneOnEveryThread) {
  constexpr int names = 500;
  std::vector<std::vector<SEL>> found(8, std::vector<SEL>(names));
  std::vector<std::thread> threads;
  for (auto& own : found) {
    threads.emplace_back([&own] {
      for (int i = 0; i < names; ++i) own[i] = SEL("selectorOfThreads" + std::to_string(i));
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& own : found) EXPECT_EQ(own, found.front());
  EXPECT_EQ(found.front()[7].name(), "selectorOfThreads7");
}

}  // namespace
}  // namespace JNFoundation
