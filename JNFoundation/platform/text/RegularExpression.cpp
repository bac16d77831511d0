#define PCRE2_CODE_UNIT_WIDTH 8
#include <array>
#include <cstdint>
#include <new>
#include <pcre2.h>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/TextMatch.h>
#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

struct CompiledExpression {
  ~CompiledExpression() {
    pcre2_match_context_free(context);
    pcre2_code_free(code);
  }

  Fold fold = Fold::None;
  pcre2_code* code = nullptr;
  pcre2_match_context* context = nullptr;
};

}  // namespace impl

namespace {

// A pattern that backtracks without end reaches these within a second. A text of a megabyte stays
// below them, also when every character of it is a turn of a group.
constexpr std::uint32_t matchLimit = 20'000'000;
constexpr std::uint32_t depthLimit = 4'000'000;
constexpr std::uint32_t heapLimitInKiB = 256 * 1024;
constexpr std::size_t smallStack = 64 * 1024;
constexpr std::size_t largeStack = 256 * 1024 * 1024;

/// The number that the hexadecimal digits stand for, if that many follow.
std::optional<char32_t> hexAt(std::string_view pattern, std::size_t offset, std::size_t digits) {
  if (offset + digits > pattern.size()) return std::nullopt;
  char32_t number = 0;
  for (const char digit : pattern.substr(offset, digits)) {
    const int value = impl::hexadecimalValue(digit);
    if (value < 0) return std::nullopt;
    number = number << 4 | static_cast<char32_t>(value);
  }
  return number;
}

void appendHexEscape(std::string& pattern, char32_t codePoint) {
  constexpr std::string_view digits = "0123456789abcdef";
  pattern += "\\x{";
  for (int shift = 28; shift >= 0; shift -= 4) pattern += digits[codePoint >> shift & 0xF];
  pattern += '}';
}

/// Writes \uhhhh and \Uhhhhhhhh as the library of regular expressions knows them; a pair of
/// surrogates is one code point.
std::string withKnownEscapes(std::string_view pattern) {
  std::string result;
  result.reserve(pattern.size());
  for (std::size_t offset = 0; offset < pattern.size();) {
    if (pattern[offset] != '\\' || offset + 1 == pattern.size()) {
      result += pattern[offset++];
      continue;
    }
    const char kind = pattern[offset + 1];
    if (kind == 'Q') {
      const std::size_t end = pattern.find("\\E", offset + 2);
      const std::size_t next = end == std::string_view::npos ? pattern.size() : end + 2;
      result.append(pattern.substr(offset, next - offset));
      offset = next;
      continue;
    }
    const std::size_t digits = kind == 'u' ? 4 : 8;
    const std::optional<char32_t> number =
        kind == 'u' || kind == 'U' ? hexAt(pattern, offset + 2, digits) : std::nullopt;
    if (!number) {
      result.append(pattern.substr(offset, 2));
      offset += 2;
      continue;
    }
    char32_t codePoint = *number;
    offset += 2 + digits;
    if (kind == 'u' && codePoint >= 0xD800 && codePoint <= 0xDBFF &&
        pattern.substr(offset, 2) == "\\u") {
      const std::optional<char32_t> low = hexAt(pattern, offset + 2, 4);
      if (low && *low >= 0xDC00 && *low <= 0xDFFF) {
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (*low - 0xDC00);
        offset += 6;
      }
    }
    appendHexEscape(result, codePoint);
  }
  return result;
}

std::string messageForError(int code) {
  std::array<PCRE2_UCHAR, 256> buffer{};
  pcre2_get_error_message(code, buffer.data(), buffer.size());
  return reinterpret_cast<const char*>(buffer.data());
}

/// Hands what the library of regular expressions made back to it.
template <auto Free>
struct Freeing {
  template <class T>
  void operator()(T* made) const {
    Free(made);
  }
};

using CompileContext = std::unique_ptr<pcre2_compile_context, Freeing<pcre2_compile_context_free>>;
using MatchContext = std::unique_ptr<pcre2_match_context, Freeing<pcre2_match_context_free>>;
using JITStack = std::unique_ptr<pcre2_jit_stack, Freeing<pcre2_jit_stack_free>>;
using MatchData = std::unique_ptr<pcre2_match_data, Freeing<pcre2_match_data_free>>;

}  // namespace

RegularExpression::RegularExpression(std::unique_ptr<impl::CompiledExpression> compiled)
    : _compiled(std::move(compiled)) {}

RegularExpression::RegularExpression(RegularExpression&& other) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&& other) noexcept = default;
RegularExpression::~RegularExpression() = default;

std::optional<RegularExpression> RegularExpression::compile(std::string_view pattern, Fold fold,
                                                            std::string* error) {
  std::string known = withKnownEscapes(sanitizedUTF8(pattern));
  if (includes(fold, Fold::Diacritics)) known = folded(known, Fold::Diacritics);

  const CompileContext options(pcre2_compile_context_create(nullptr));
  auto compiled = std::make_unique<impl::CompiledExpression>();
  compiled->fold = fold;
  compiled->context = pcre2_match_context_create(nullptr);
  if (!options || !compiled->context) throw std::bad_alloc();
  pcre2_set_newline(options.get(), PCRE2_NEWLINE_ANY);
  pcre2_set_match_limit(compiled->context, matchLimit);
  pcre2_set_depth_limit(compiled->context, depthLimit);
  pcre2_set_heap_limit(compiled->context, heapLimitInKiB);

  std::uint32_t flags = PCRE2_UTF | PCRE2_UCP | PCRE2_NO_UTF_CHECK | PCRE2_NEVER_BACKSLASH_C |
                        PCRE2_ANCHORED | PCRE2_ENDANCHORED;
  if (includes(fold, Fold::Case)) flags |= PCRE2_CASELESS;
  int code = 0;
  PCRE2_SIZE place = 0;
  compiled->code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(known.data()), known.size(), flags,
                                 &code, &place, options.get());
  if (!compiled->code) {
    if (error) {
      *error = messageForError(code);
      if (known == pattern) *error += " at byte " + std::to_string(place);
    }
    return std::nullopt;
  }
  // Where the system allows no compiled code, the expression is interpreted.
  pcre2_jit_compile(compiled->code, PCRE2_JIT_COMPLETE);
  return RegularExpression(std::move(compiled));
}

std::optional<bool> RegularExpression::match(std::string_view text) const {
  std::string prepared;
  if (!isASCII(text)) {
    if (includes(_compiled->fold, Fold::Diacritics)) {
      text = prepared = folded(text, Fold::Diacritics);
    } else if (!isValidUTF8(text)) {
      text = prepared = sanitizedUTF8(text);
    }
  }
  const MatchData data(pcre2_match_data_create(1, nullptr));
  if (!data) throw std::bad_alloc();
  const auto run = [&](pcre2_match_context* context, std::uint32_t flags) {
    // An empty view may have no bytes to point at.
    const char* start = text.empty() ? "" : text.data();
    return pcre2_match(_compiled->code, reinterpret_cast<PCRE2_SPTR>(start), text.size(), 0,
                       PCRE2_NO_UTF_CHECK | flags, data.get(), context);
  };
  int result = run(_compiled->context, 0);
  if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
    // Compiled code has used up its 32 KiB of the machine's stack. Few texts need more, so only
    // they pay for a stack aside.
    const JITStack stack(pcre2_jit_stack_create(smallStack, largeStack, nullptr));
    const MatchContext context(pcre2_match_context_copy(_compiled->context));
    if (!context) throw std::bad_alloc();
    if (stack) pcre2_jit_stack_assign(context.get(), nullptr, stack.get());
    result = run(context.get(), stack ? 0 : PCRE2_NO_JIT);
  }
  if (result >= 0) return true;
  if (result == PCRE2_ERROR_NOMATCH) return false;
  if (result == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
  return std::nullopt;
}

}  // namespace JNFoundation
