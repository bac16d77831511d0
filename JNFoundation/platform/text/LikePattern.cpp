#include <JNFoundation/platform/text/TextMatch.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/LikeSubject.h>

namespace JNFoundation::inline v0_1 {

LikePattern::LikePattern(std::string_view pattern, Fold fold) : _fold(fold), _segments(1) {
  Step step;
  const auto finishStep = [&] {
    // Folded as a whole, because a letter and its marks may become one code point.
    step.literal = folded(sanitizedUTF8(step.literal), fold);
    if (step.skip > 0 || !step.literal.empty()) _segments.back().push_back(std::move(step));
    step = Step{};
  };
  for (std::size_t offset = 0; offset < pattern.size(); ++offset) {
    char byte = pattern[offset];
    if (byte == '*') {
      finishStep();
      _segments.emplace_back();
      continue;
    }
    if (byte == '?') {
      if (!step.literal.empty()) finishStep();
      ++step.skip;
      continue;
    }
    if (byte == '\\' && offset + 1 < pattern.size()) byte = pattern[++offset];
    step.literal += byte;
  }
  finishStep();
}

bool LikePattern::matches(std::string_view text) const {
  return matchesSubject(impl::LikeSubject(text, _fold));
}

bool LikePattern::matchesSubject(const impl::LikeSubject& subject) const {
  const std::size_t size = subject.text().size();
  std::optional<std::size_t> position = endOfMatch(_segments.front(), subject, 0);
  if (!position) return false;
  if (_segments.size() == 1) return *position == size;
  const std::optional<std::size_t> lastStart = startOfMatch(_segments.back(), subject, size);
  if (!lastStart) return false;
  // Each segment where it first fits leaves the most room for the next ones; no other place can
  // help.
  for (std::size_t index = 1; index + 1 < _segments.size(); ++index) {
    position = endOfFirstMatch(_segments[index], subject, *position);
    if (!position || *position > *lastStart) return false;
  }
  return *position <= *lastStart;
}

std::optional<std::size_t> LikePattern::endOfMatch(const Segment& segment,
                                                   const impl::LikeSubject& subject,
                                                   std::size_t position) {
  for (const Step& step : segment) {
    if (!subject.skipForward(position, step.skip)) return std::nullopt;
    if (subject.text().substr(position, step.literal.size()) != step.literal) return std::nullopt;
    position += step.literal.size();
  }
  return position;
}

std::optional<std::size_t> LikePattern::startOfMatch(const Segment& segment,
                                                     const impl::LikeSubject& subject,
                                                     std::size_t position) {
  for (auto step = segment.rbegin(); step != segment.rend(); ++step) {
    const std::size_t size = step->literal.size();
    if (size > position) return std::nullopt;
    if (subject.text().substr(position - size, size) != step->literal) return std::nullopt;
    position -= size;
    if (!subject.skipBackward(position, step->skip)) return std::nullopt;
  }
  return position;
}

std::optional<std::size_t> LikePattern::endOfFirstMatch(const Segment& segment,
                                                        const impl::LikeSubject& subject,
                                                        std::size_t position) {
  if (segment.empty()) return position;
  if (!subject.skipForward(position, segment.front().skip)) return std::nullopt;
  const Segment::value_type& first = segment.front();
  while (true) {
    position = subject.text().find(first.literal, position);
    if (position == std::string_view::npos) return std::nullopt;
    std::size_t end = position + first.literal.size();
    bool fits = true;
    for (std::size_t index = 1; fits && index < segment.size(); ++index) {
      const Step& step = segment[index];
      fits = subject.skipForward(end, step.skip) &&
             subject.text().substr(end, step.literal.size()) == step.literal;
      end += step.literal.size();
    }
    if (fits) return end;
    ++position;
  }
}

}  // namespace JNFoundation
