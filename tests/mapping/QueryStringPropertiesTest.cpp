#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/NSString+Extensions.h>

/// Percent escapes and query strings of random text, held against the shortest model that there is.
namespace JNFoundation {
namespace {

// ---- The model

std::string modelEncoded(const std::string& text) {
  std::string encoded;
  for (const char byte : text) {
    const bool stays = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= '0' && byte <= '9') || std::string("-._~").find(byte) < 4;
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(byte));
    encoded += stays ? std::string(1, byte) : escape;
  }
  return encoded;
}

std::optional<std::string> modelDecoded(const std::string& text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const std::string digits = text.substr(i + 1, 2);
    if (digits.size() < 2 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      return std::nullopt;
    }
    const int code = std::stoi(digits, nullptr, 16);
    if (code >= 0x80) return std::nullopt;
    decoded += static_cast<char>(code);
    i += 2;
  }
  return decoded;
}

std::map<std::string, std::string> modelSplit(const std::string& query) {
  std::map<std::string, std::string> entries;
  std::vector<std::string> pieces{""};
  for (const char character : query) {
    if (character == '&') {
      pieces.emplace_back();
    } else {
      pieces.back() += character;
    }
  }
  for (const std::string& piece : pieces) {
    if (piece.empty()) continue;
    const std::size_t equals = piece.find('=');
    const auto key = modelDecoded(piece.substr(0, equals));
    const auto value =
        equals == std::string::npos ? std::string() : modelDecoded(piece.substr(equals + 1));
    if (key && value) entries[*key] = *value;
  }
  return entries;
}

// ---- What the library says, in the model's terms

std::string encoded(const std::string& text) {
  return jn_stringWithUrlEncoding(text)->toStdString();
}

std::optional<std::string> decoded(const std::string& text) {
  const Ref<NSString> result = jn_stringWithUrlDecoding(text);
  return result ? std::optional(result->toStdString()) : std::nullopt;
}

std::map<std::string, std::string> split(const std::string& query) {
  std::map<std::string, std::string> entries;
  const Ref<NSMutableDictionary> dictionary = dictionaryFromURLQueryString(query);
  for (const auto& [key, value] : *dictionary) {
    entries[as<NSString>(key)->toStdString()] = as<NSString>(value)->toStdString();
  }
  return entries;
}

class QueryStringProperties : public ::testing::Test {
 protected:
  /// Text of up to that many parts: ASCII of all kinds, escapes good and bad, letters beyond ASCII.
  std::string randomText(std::uint64_t length) {
    static const std::vector<std::string> parts = {"a",    "B",   "0",
                                                   "-",    ".",   "_",
                                                   "~",    " ",   "&",
                                                   "&",    "=",   "=",
                                                   "+",    "%",   "%",
                                                   "%41",  "%7f", "%7F",
                                                   "%80",  "%C3", "%c3%a9",
                                                   "%2",   "%zz", "%26",
                                                   "%3D",  "/",   "?",
                                                   "é",    "€",   "😀",
                                                   "'",    "\"",  std::string(1, '\0'),
                                                   "\x7f", "%00", "%%",
                                                   "\n"};
    std::string text;
    for (std::uint64_t count = randomness.below(length + 1); count > 0; --count) {
      text += parts[randomness.below(parts.size())];
    }
    return text;
  }

  std::string randomASCII() {
    std::string text(randomness.below(12), ' ');
    for (char& character : text) character = static_cast<char>(randomness.below(0x80));
    return text;
  }

  testing::Randomness randomness;
  const int rounds = testing::rounds(50'000, 1'000'000);
};

TEST_F(QueryStringProperties, EncodingAgreesWithTheModelAndLeavesOnlyWhatMayStand) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds; ++round) {
    const std::string text = randomText(12);
    const std::string result = encoded(text);
    ASSERT_EQ(result, modelEncoded(text)) << text;
    ASSERT_EQ(result.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789-._~%"),
              std::string::npos)
        << text;
  }
}

TEST_F(QueryStringProperties, DecodingAgreesWithTheModel) {
  JN_TRACE_SEED(randomness);
  int refused = 0;
  for (int round = 0; round < rounds; ++round) {
    const std::string text = randomText(6);
    const auto result = decoded(text);
    ASSERT_EQ(result, modelDecoded(text)) << text;
    refused += result ? 0 : 1;
  }
  EXPECT_GT(refused, rounds / 10);
  EXPECT_LT(refused, rounds * 9 / 10);
}

TEST_F(QueryStringProperties, WhatIsEncodedComesBackExactlyIfItIsASCII) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds; ++round) {
    const std::string text = round % 2 == 0 ? randomASCII() : randomText(6);
    bool isASCII = true;
    for (const char byte : text) isASCII = isASCII && static_cast<unsigned char>(byte) < 0x80;
    ASSERT_EQ(decoded(encoded(text)), isASCII ? std::optional(text) : std::nullopt) << text;
  }
}

TEST_F(QueryStringProperties, SplittingAgreesWithTheModel) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds; ++round) {
    const std::string query = randomText(30);
    ASSERT_EQ(split(query), modelSplit(query)) << query;
  }
}

TEST_F(QueryStringProperties, AQueryMadeOfEncodedPairsIsSplitIntoThem) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds / 5; ++round) {
    std::map<std::string, std::string> entries;
    for (std::uint64_t count = randomness.below(8); count > 0; --count) {
      entries[randomASCII()] = randomASCII();
    }
    std::string query;
    for (const auto& [key, value] : entries) {
      if (randomness.below(4) == 0) query += '&';
      query += encoded(key) + '=' + encoded(value) + '&';
    }
    ASSERT_EQ(split(query), entries) << query;
  }
}

}  // namespace
}  // namespace JNFoundation
