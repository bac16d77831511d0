#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "util/LoopbackServer.h"

#include <JNFoundation/util/NSURLRequest+cURL.h>

namespace JNFoundation {
namespace {

using testing::LoopbackServer;
using testing::Randomness;
using testing::runInShell;
using testing::ShellRun;

/// Pastes commands into a shell, whose curl sends them to a server of the test's own.
class CURLInShell : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(runInShell("command -v curl").status, 0)
        << "these tests need the program curl, of the package of that name";
  }

  Ref<NSMutableURLRequest> request(const std::string& place = "/items") {
    auto made = NSMutableURLRequest::requestWithURL(NSURL::URLWithString(server.address() + place));
    EXPECT_TRUE(made->URL()) << place;
    return made;
  }

  /// What arrives of the command, which has to be one request and to succeed.
  LoopbackServer::Arrival arrivalOf(const Ref<NSString>& command) {
    const ShellRun run = runInShell(command->toStdString());
    EXPECT_EQ(run.status, 0) << command->UTF8String() << "\n" << run.output;
    auto arrivals = server.takeArrivals();
    EXPECT_EQ(arrivals.size(), 1u) << command->UTF8String() << "\n" << run.output;
    return arrivals.empty() ? LoopbackServer::Arrival() : arrivals.front();
  }

  LoopbackServer server;
};

/// What a double-quoted word keeps as it is: no dollars, backquotes and backslashes.
const std::vector<std::string> plainTexts = {
    "text",
    "say \"hello\"",
    "\"",
    "it's",
    "line\nbreak",
    "ends in a break\n",
    "carriage\r\nreturn",
    "tab\tand  blanks  ",
    "Zürich, 東京, 🙂",
    "a & b; c | d > e < f (g) {h} [i] *?~#!",
    "100%d%s",
    "{\"name\":\"Ann\",\n \"tags\":[\"a\",\"b\"]}",
};

TEST_F(CURLInShell, BodiesArriveAsTheyAre) {
  for (const std::string& text : plainTexts) {
    const auto made = request();
    made->setHTTPMethod("POST");
    made->setHTTPBody(NSData::dataWithText(text));
    EXPECT_EQ(arrivalOf(cURLCommand(made)).body, text);
    EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).body, text);
  }
}

TEST_F(CURLInShell, HeaderFieldsArriveAsTheyAre) {
  const auto made = request();
  made->setValueForHTTPHeaderField("say \"hello\" and it's so", "X-Quotes");
  made->setValueForHTTPHeaderField("Zürich, 東京, 🙂", "X-Text");
  made->setValueForHTTPHeaderField("a & b; c | d > e (g) {h} [i] *?~#! %d", "X-Signs");
  // The one line break that a field may have: it goes on in the next line.
  made->setValueForHTTPHeaderField("first\r\n second", "X-Folded");
  made->setValueForHTTPHeaderField("own", "User-Agent");
  for (const auto& command : {cURLCommand(made), cURLCommandQuoted(made)}) {
    const auto arrival = arrivalOf(command);
    for (const auto& [name, value] : made->allHTTPHeaderFields()) {
      const std::string line =
          name.description()->toStdString() + ": " + value.description()->toStdString();
      EXPECT_TRUE(arrival.hasLine(line)) << line << "\n" << arrival.head;
    }
  }
}

TEST_F(CURLInShell, MethodAndAddressArriveAsTheyAre) {
  for (const char* method : {"GET", "POST", "DELETE", "PATCH", "PURGE"}) {
    const auto made = request("/a%20b/c?x='1'&y=(2);z=%22#top");
    made->setHTTPMethod(method);
    const std::string expected = method + std::string(" /a%20b/c?x='1'&y=(2);z=%22 HTTP/1.1");
    EXPECT_EQ(arrivalOf(cURLCommand(made)).requestLine(), expected);
    EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).requestLine(), expected);
  }
}

TEST_F(CURLInShell, WithoutAMethodTheBodyDecides) {
  const auto made = request();
  made->setHTTPMethod(nullptr);
  EXPECT_EQ(arrivalOf(cURLCommand(made)).requestLine(), "GET /items HTTP/1.1");
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).requestLine(), "GET /items HTTP/1.1");
  made->setHTTPBody(NSData::data());
  EXPECT_EQ(arrivalOf(cURLCommand(made)).requestLine(), "POST /items HTTP/1.1");
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).requestLine(), "POST /items HTTP/1.1");
}

TEST_F(CURLInShell, ABodyThatIsNotUTF8DoesNotArriveFromThePlainForm) {
  const auto made = request();
  made->setHTTPMethod("POST");
  made->setHTTPBody(NSData::dataWithText("\xFF\xFE"));
  EXPECT_EQ(arrivalOf(cURLCommand(made)).body, "");
}

// What the plain form leaves to the shell, and the quoted one does not.

TEST_F(CURLInShell, TheShellReadsDollarsBackquotesAndBackslashesInThePlainForm) {
  const auto arrived = [&](const char* body) {
    const auto made = request();
    made->setHTTPMethod("POST");
    made->setHTTPBody(NSData::dataWithText(body));
    EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).body, body);
    return arrivalOf(cURLCommand(made)).body;
  };
  EXPECT_EQ(arrived("$((6*7))"), "42");
  EXPECT_EQ(arrived("$(echo run)"), "run");
  EXPECT_EQ(arrived("`echo run`"), "run");
  EXPECT_EQ(arrived("a\\\\b"), "a\\b");
  EXPECT_EQ(arrived("$HOME"), "/nonexistent");
}

TEST_F(CURLInShell, CURLReadsNoFilesForTheQuotedForm) {
  const auto made = request();
  made->setHTTPMethod("POST");
  made->setHTTPBody(NSData::dataWithText("@/dev/null"));
  EXPECT_EQ(arrivalOf(cURLCommand(made)).body, "") << "the plain form sends the file";
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).body, "@/dev/null");
}

TEST_F(CURLInShell, AnEmptyFieldArrivesFromTheQuotedForm) {
  const auto made = request();
  made->setValueForHTTPHeaderField("", "X-Empty");
  made->setValueForHTTPHeaderField("", "Accept");
  const auto arrival = arrivalOf(cURLCommandQuoted(made));
  EXPECT_TRUE(arrival.hasLine("X-Empty:")) << arrival.head;
  EXPECT_TRUE(arrival.hasLine("Accept:")) << arrival.head;
  EXPECT_EQ(arrivalOf(cURLCommand(made)).head.find("X-Empty"), std::string::npos);
}

TEST_F(CURLInShell, AddressesAreNoPatternsInTheQuotedForm) {
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(request("/a/../b/[1-3]?q=$HOME'"))).requestLine(),
            "GET /a/../b/[1-3]?q=$HOME' HTTP/1.1");
}

TEST_F(CURLInShell, HEADWaitsForNoBodyInTheQuotedForm) {
  const auto made = request();
  made->setHTTPMethod("HEAD");
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).requestLine(), "HEAD /items HTTP/1.1");
}

TEST_F(CURLInShell, HiddenValuesDoNotArrive) {
  const auto made = request();
  made->setValueForHTTPHeaderField("Bearer abc", "Authorization");
  const auto arrival = arrivalOf(cURLCommandQuoted(made, secretHTTPHeaderFields()));
  EXPECT_TRUE(arrival.hasLine("Authorization: <redacted>")) << arrival.head;
}

TEST_F(CURLInShell, EveryByteArrivesFromTheQuotedForm) {
  std::string bytes;
  for (int repeat = 0; repeat < 3; ++repeat) {
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  }
  const auto made = request();
  made->setHTTPMethod("POST");
  made->setHTTPBody(NSData::dataWithText(bytes));
  EXPECT_EQ(arrivalOf(cURLCommandQuoted(made)).body, bytes);
}

TEST_F(CURLInShell, LongBodiesArriveFromTheQuotedForm) {
  std::string text;
  while (text.size() < 2000000) text += "it's \"long\" $HOME \\ %s Zürich\n";
  const auto made = request();
  made->setHTTPMethod("POST");
  made->setHTTPBody(NSData::dataWithText(text));
  EXPECT_TRUE(arrivalOf(cURLCommandQuoted(made)).body == text);
}

TEST_F(CURLInShell, WhateverIsInARequestArrivesFromTheQuotedForm) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  const std::vector<std::string> pieces = {"'",  "\"", "\\",   "$",  "`",    "$(", ")",   "!",
                                           "\n", "é",  "🙂", "@",  "%s",   "\t", " ",   "a",
                                           ";",  "&",  "|",    "<<", "${x}", "*",  "\\n", "-"};
  const auto text = [&](const std::string& excluded) {
    std::string made;
    for (auto count = randomness.below(30); count > 0; --count) {
      const std::string& piece = pieces[randomness.below(pieces.size())];
      if (piece.find_first_of(excluded) == std::string::npos) made += piece;
    }
    return made;
  };
  for (int round = 0; round < testing::rounds(60, 600); ++round) {
    const auto made = request();
    made->setHTTPMethod("POST");
    std::string body = text("");
    if (randomness.below(4) == 0) body += std::string("\0\xFF", 2);
    made->setHTTPBody(NSData::dataWithText(body));
    const std::string value = "v" + text("\n");
    made->setValueForHTTPHeaderField(value, "X-Value");
    const auto arrival = arrivalOf(cURLCommandQuoted(made));
    ASSERT_EQ(arrival.body, body);
    ASSERT_TRUE(arrival.hasLine("X-Value: " + value)) << arrival.head;
  }
}

}  // namespace
}  // namespace JNFoundation
