#include <gtest/gtest.h>

#include <JNFoundation/platform/net/NSURL.h>

namespace JNFoundation {
namespace {

TEST(NSURL, AnAddressIsTakenApart) {
  auto url = NSURL::URLWithString("HTTPS://ann@example.com:8080/a%20b/c?page=2&x=#top");
  ASSERT_TRUE(url);
  EXPECT_EQ(Value(url->scheme()), "https");
  EXPECT_EQ(Value(url->host()), "example.com");
  EXPECT_EQ(url->port(), Value(8080));
  EXPECT_EQ(Value(url->path()), "/a b/c");
  EXPECT_EQ(Value(url->query()), "page=2&x=");
  EXPECT_EQ(Value(url->fragment()), "top");
  EXPECT_FALSE(url->isFileURL());
}

TEST(NSURL, PartsThatAreMissingAreNull) {
  auto url = NSURL::URLWithString("feed/items");
  ASSERT_TRUE(url);
  EXPECT_FALSE(url->scheme());
  EXPECT_FALSE(url->host());
  EXPECT_TRUE(url->port().isNull());
  EXPECT_FALSE(url->query());
  EXPECT_EQ(Value(url->path()), "feed/items");
}

TEST(NSURL, AnAddressInBracketsKeepsItsColons) {
  auto url = NSURL::URLWithString("http://[::1]:80/");
  ASSERT_TRUE(url);
  EXPECT_EQ(Value(url->host()), "[::1]");
  EXPECT_EQ(url->port(), Value(80));
}

TEST(NSURL, TextThatIsNoAddressIsRefused) {
  for (const char* text :
       {"a b", "http://x/%zz", "http://x/%a", "http://\xC3\xA9", "<x>", "a\nb"}) {
    EXPECT_FALSE(NSURL::URLWithString(text)) << text;
  }
  EXPECT_FALSE(NSURL::URLWithString(nullptr));
}

TEST(NSURL, APathIsKeptAsItIsAndEscapedInTheText) {
  auto url = NSURL::fileURLWithPath("/tmp/a b?c#d.sqlite");
  EXPECT_TRUE(url->isFileURL());
  EXPECT_EQ(Value(url->path()), "/tmp/a b?c#d.sqlite");
  EXPECT_EQ(Value(url->absoluteString()), "file:///tmp/a%20b%3Fc%23d.sqlite");
  EXPECT_EQ(Value(NSURL::URLWithString(url->absoluteString())->path()), Value(url->path()));
}

TEST(NSURL, EqualTextsAreEqualAddresses) {
  EXPECT_EQ(Value(NSURL::URLWithString("http://x/")), Value(NSURL::URLWithString("http://x/")));
  EXPECT_NE(Value(NSURL::URLWithString("http://x/")), Value(NSURL::URLWithString("http://y/")));
  EXPECT_NE(Value(NSURL::URLWithString("http://x/")), Value("http://x/"));
}

}  // namespace
}  // namespace JNFoundation
