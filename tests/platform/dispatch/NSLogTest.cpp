#include <ctime>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using Lines = std::vector<std::string>;

LogSink keeping(Lines& lines) {
  return [&lines](const Ref<NSString>& line) { lines.push_back(line->toStdString()); };
}

TEST(Log, FormatsItsArguments) {
  Lines lines;
  LogSinkScope scope(keeping(lines));
  NSLog("plain");
  NSLog("%@ and %@ of %d%%", "text", Value(), 7);
  NSLog("%s %@", std::string("name"), NSNull::null());
  EXPECT_EQ(lines, (Lines{"plain", "text and (null) of 7%", "name <null>"}));
}

TEST(Log, ScopesNestAndGiveBackTheSinkBefore) {
  Lines outer;
  Lines inner;
  LogSinkScope outerScope(keeping(outer));
  {
    LogSinkScope innerScope(keeping(inner));
    NSLog("inner");
  }
  NSLog("outer");
  EXPECT_EQ(outer, Lines{"outer"});
  EXPECT_EQ(inner, Lines{"inner"});
}

TEST(Log, GoesToTheErrorStreamWithDateProcessAndNumber) {
  ManualClock clock(1000000000);
  ClockScope scope(clock);
  clock.advance(0.125);
  testing::internal::CaptureStderr();
  NSLog("a line");
  const std::string text = testing::internal::GetCapturedStderr();
  const std::regex form(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}) (\S+)\[(\d+)\] a line\n)");
  std::smatch match;
  ASSERT_TRUE(std::regex_match(text, match, form)) << text;
  EXPECT_EQ(match[2], "test_dispatch");
  EXPECT_EQ(match[3], std::to_string(::getpid()));
  const std::time_t seconds = 1000000000;
  char local[32];
  std::strftime(local, sizeof local, "%Y-%m-%d %H:%M:%S.125", std::localtime(&seconds));
  EXPECT_EQ(match[1], local);
}

TEST(Log, ALineMayHoldAnyText) {
  testing::internal::CaptureStderr();
  NSLog("%@", NSString::fromText(std::string_view("a\0b\nc %@ %n", 11)));
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find(std::string_view("] a\0b\nc %@ %n\n", 14)), std::string::npos);
}

TEST(Log, WhatASinkLogsGoesToTheErrorStream) {
  Lines lines;
  LogSinkScope scope([&](const Ref<NSString>& line) {
    NSLog("from the sink: %@", line);
    lines.push_back(line->toStdString());
  });
  testing::internal::CaptureStderr();
  NSLog("once");
  NSLog("twice");
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(lines, (Lines{"once", "twice"}));
  EXPECT_NE(text.find("from the sink: once\n"), std::string::npos);
  EXPECT_NE(text.find("from the sink: twice\n"), std::string::npos);
}

TEST(Log, ASinkMayReplaceItself) {
  Lines second;
  setLogSink([&second, word = std::string("still here")](const Ref<NSString>&) {
    setLogSink(keeping(second));
    EXPECT_EQ(word, "still here");
  });
  NSLog("first");
  NSLog("second");
  setLogSink(nullptr);
  EXPECT_EQ(second, Lines{"second"});
}

TEST(Log, ASinkThatThrowsLeavesTheLogInOrder) {
  Lines lines;
  LogSinkScope scope([&](const Ref<NSString>& line) {
    lines.push_back(line->toStdString());
    if (lines.size() == 1) throw 1;
  });
  EXPECT_THROW(NSLog("first"), int);
  NSLog("second");
  EXPECT_EQ(lines, (Lines{"first", "second"}));
}

TEST(Log, LinesOfManyThreadsComeOneAtATime) {
  constexpr int threads = 8;
  constexpr int perThread = 2000;
  Lines lines;
  std::vector<int> next(threads);
  {
    LogSinkScope scope(keeping(lines));
    std::vector<std::thread> loggers;
    for (int thread = 0; thread < threads; ++thread) {
      loggers.emplace_back([thread] {
        for (int i = 0; i < perThread; ++i) NSLog("%d %d", thread, i);
      });
    }
    for (std::thread& logger : loggers) logger.join();
  }
  ASSERT_EQ(lines.size(), std::size_t{threads * perThread});
  for (const std::string& line : lines) {
    const int thread = line.at(0) - '0';
    ASSERT_EQ(line, std::to_string(thread) + " " + std::to_string(next.at(thread)++));
  }
}

}  // namespace
}  // namespace JNFoundation
