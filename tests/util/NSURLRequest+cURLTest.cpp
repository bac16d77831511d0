#include <gtest/gtest.h>
#include <string>

#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/NSURLRequest+cURL.h>

namespace JNFoundation {
namespace {

Ref<NSMutableURLRequest> request() {
  return NSMutableURLRequest::requestWithURL(NSURL::URLWithString("http://example.com/items?x=1"));
}
Ref<NSMutableURLRequest> bareRequest() {
  auto bare = request();
  bare->setHTTPMethod(nullptr);
  return bare;
}
std::string plain(const Ref<NSURLRequest>& request) { return cURLCommand(request)->toStdString(); }
std::string quoted(const Ref<NSURLRequest>& request, const Ref<NSArray>& redacted = nullptr) {
  return cURLCommandQuoted(request, redacted)->toStdString();
}

TEST(EscapedText, HasABackslashBeforeEachDoubleQuoteAndNowhereElse) {
  EXPECT_EQ(Value(escapeTerminalString("say \"a\"")), "say \\\"a\\\"");
  EXPECT_EQ(Value(escapeTerminalString("\"\"")), "\\\"\\\"");
  EXPECT_EQ(Value(escapeTerminalString("$HOME `ls` \\ ' ! \n é")), "$HOME `ls` \\ ' ! \n é");
  EXPECT_EQ(Value(escapeTerminalString("\\\"")), "\\\\\"") << "the backslash stays as it is";
  EXPECT_EQ(Value(escapeTerminalString("")), "");
  EXPECT_FALSE(escapeTerminalString(nullptr));
}

TEST(CURLCommand, OfARequestWithoutAnythingIsTheURLAlone) {
  EXPECT_EQ(plain(bareRequest()), "curl \\\n\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, NamesTheMethod) {
  EXPECT_EQ(plain(request()), "curl -X GET \\\n\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, HasMethodAndBodyInTheFirstLineAndEachFieldInOneOfItsOwn) {
  const auto full = request();
  full->setHTTPMethod("post");
  full->setHTTPBody(NSData::dataWithText(R"({"name":"Ann"})"));
  full->setValueForHTTPHeaderField("application/json", "Content-Type");
  full->setValueForHTTPHeaderField("*/*", "Accept");
  EXPECT_EQ(plain(full),
            "curl -X POST -d \"{\\\"name\\\":\\\"Ann\\\"}\" \\\n"
            "    -H \"Content-Type: application/json\" \\\n"
            "    -H \"Accept: */*\" \\\n"
            "\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, EscapesQuotesInNamesAndValues) {
  const auto quoting = bareRequest();
  quoting->setValueForHTTPHeaderField("\"v1\"", "If-\"Match");
  EXPECT_EQ(plain(quoting),
            "curl \\\n    -H \"If-\\\"Match: \\\"v1\\\"\" \\\n"
            "\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, LeavesABodyOutThatIsNotUTF8) {
  const auto binary = bareRequest();
  for (const char* bytes : {"\xFF", "abc\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    binary->setHTTPBody(NSData::dataWithText(bytes));
    EXPECT_EQ(plain(binary), plain(bareRequest()));
  }
}

TEST(CURLCommand, AnEmptyBodyIsABody) {
  const auto empty = bareRequest();
  empty->setHTTPBody(NSData::data());
  EXPECT_EQ(plain(empty), "curl -d \"\" \\\n\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, LeavesEverythingButQuotesToTheShell) {
  const auto risky = bareRequest();
  risky->setHTTPBody(NSData::dataWithText("$HOME `ls` \\n\nnext"));
  EXPECT_EQ(plain(risky),
            "curl -d \"$HOME `ls` \\n\nnext\" \\\n"
            "\"http://example.com/items?x=1\" -i -v");
}

TEST(CURLCommand, OfNullIsNull) {
  EXPECT_FALSE(cURLCommand(nullptr));
  EXPECT_FALSE(cURLCommandQuoted(nullptr));
}

TEST(CURLCommand, TheRuntimePerformsIt) {
  const auto made = request();
  EXPECT_EQ(performSelector(made, "cURLCommand"), Value(cURLCommand(made)));
  EXPECT_EQ(performSelector(made->copy(), "cURLCommand"), Value(cURLCommand(made)));
}

TEST(CURLCommandDeathTest, ARequestWithoutAURLStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto aimless = NSURLRequest::requestWithURL(nullptr);
  EXPECT_DEATH(cURLCommand(aimless), "cURLCommand: the request has no URL");
  EXPECT_DEATH(cURLCommandQuoted(aimless), "cURLCommand: the request has no URL");
}

// The quoted form

TEST(QuotedCURLCommand, HasEverythingInSingleQuotes) {
  const auto full = request();
  full->setHTTPMethod("PUT");
  full->setHTTPBody(NSData::dataWithText("it's $HOME `ls` \\ \"x\""));
  full->setValueForHTTPHeaderField("$(id)", "X-Note");
  EXPECT_EQ(quoted(full),
            "curl -g --path-as-is -X 'PUT' --data-raw 'it'\\''s $HOME `ls` \\ \"x\"' \\\n"
            "    -H 'X-Note: $(id)' \\\n"
            "--url 'http://example.com/items?x=1' -i -v");
}

TEST(QuotedCURLCommand, OfARequestWithoutAnythingIsTheURLAlone) {
  EXPECT_EQ(quoted(bareRequest()),
            "curl -g --path-as-is \\\n--url 'http://example.com/items?x=1' -i -v");
}

TEST(QuotedCURLCommand, HidesTheValuesOfFieldsInAnyCase) {
  const auto secret = request();
  secret->setValueForHTTPHeaderField("Bearer abc", "authorization");
  secret->setValueForHTTPHeaderField("k=v", "Cookie");
  secret->setValueForHTTPHeaderField("", "X-Own");
  secret->setValueForHTTPHeaderField("*/*", "Accept");
  const std::string shown = quoted(secret, NSArray::arrayWithObjects("AUTHORIZATION", 7, "x-own"));
  EXPECT_EQ(shown.find("abc"), std::string::npos);
  EXPECT_NE(shown.find("-H 'authorization: <redacted>'"), std::string::npos) << shown;
  EXPECT_NE(shown.find("-H 'X-Own: <redacted>'"), std::string::npos) << "nor that it is empty";
  EXPECT_NE(shown.find("-H 'Cookie: k=v'"), std::string::npos) << "nobody asked to hide it";
  EXPECT_NE(shown.find("-H 'Accept: */*'"), std::string::npos);
  EXPECT_NE(quoted(secret).find("Bearer abc"), std::string::npos);
  EXPECT_NE(quoted(secret, NSArray::array()).find("Bearer abc"), std::string::npos);
}

TEST(QuotedCURLCommand, TheUsualSecretsAreListed) {
  const auto secret = request();
  const Ref<NSArray> names = secretHTTPHeaderFields();
  EXPECT_TRUE(names->containsObject("Authorization"));
  EXPECT_TRUE(names->containsObject("Cookie"));
  for (const Value& name : names) {
    secret->setValueForHTTPHeaderField("hush", as<NSString>(Value(name)));
  }
  EXPECT_EQ(quoted(secret, names).find("hush"), std::string::npos);
}

TEST(QuotedCURLCommand, PrintsWhatNoWordHoldsIntoAPipe) {
  const auto binary = bareRequest();
  binary->setHTTPBody(NSData::dataWithBytesLength("a\0\xFF'", 4));
  EXPECT_EQ(quoted(binary),
            "printf '\\141\\000\\377\\047' | curl -g --path-as-is --data-binary @- \\\n"
            "--url 'http://example.com/items?x=1' -i -v");
  binary->setHTTPBody(NSData::dataWithText(std::string(200000, '\'')));
  EXPECT_EQ(quoted(binary).rfind("printf %s ''\\'''\\''", 0), 0u);
}

TEST(QuotedCURLCommand, ANULInAFieldIsLeftOut) {
  const auto made = bareRequest();
  made->setValueForHTTPHeaderField(std::string_view("a\0b", 3), "X");
  EXPECT_NE(quoted(made).find("-H 'X: ab'"), std::string::npos);
}

}  // namespace
}  // namespace JNFoundation
