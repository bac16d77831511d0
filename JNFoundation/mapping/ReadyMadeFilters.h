#pragma once

#include <string_view>

#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/platform/value/Block.h>

/// Filter actions that most feeds need, and blocks as actions. Nothing here is there by itself: a
/// filter has the actions that somebody registers.
///
///     registerReadyMadeFilters(filter);                             // all that need no pattern
///     setBlockForFilter(filter, trimmedText, "tidy");               // one of them, by any name
///     setBlockForFilter(filter, dateFilter("dd.MM.yyyy"), "day");   // a form of dates
///     setBlockForFilter(filter, [](const Value& value) {            // one made of others
///       return nullIfEmpty(trimmedText(value));
///     }, "text");
namespace JNFoundation::inline v0_1 {

/// What a filter does with a value, which may be null.
using FilterBlock = Block<Value(const Value& value)>;

/// Registers the block under the name; replaces what the name stood for. The filter keeps the
/// block. Fails: raises NSInvalidArgumentException for a null name. Requires: a block that is not
/// null.
void setBlockForFilter(const Ref<PLVDataMapFilter>& filter, const FilterBlock& block,
                       const Ref<NSString>& name);

/// Registers those below under "trim", "lowercase", "uppercase", "emptyToNull", "number", "url",
/// "seconds" and "day" (dates as "yyyy-MM-dd").
void registerReadyMadeFilters(const Ref<PLVDataMapFilter>& filter);

// ---- The actions: functions of the value, which may be null -----------------------------------
// What they are not made for they give back as it came, so that mapping judges and reports it.

/// Text without white space around it.
Value trimmedText(const Value& value);
/// Text in full lower case.
Value lowercaseText(const Value& value);
/// Text in full upper case.
Value uppercaseText(const Value& value);
/// Null for empty text, an empty array and an empty dictionary.
Value nullIfEmpty(const Value& value);
/// The number that the whole text is, white space around it aside: an integer where 64 bits hold
/// it, a double where not and for text with a fraction or an exponent, which double attributes
/// would lose without this. Null for text that is no number or is beyond the doubles.
Value numberOfText(const Value& value);
/// Text, or the text of an NSURL, if it is an address with a scheme; null for any other text.
Value textOfURL(const Value& value);
/// The date that many seconds after 1970-01-01 00:00:00 UTC, of a number or of text that is one;
/// null for any other text. Numbers in date attributes are milliseconds without this.
Value dateOfSeconds(const Value& value);

/// An action that reads text of the form (see DatePattern.h), white space around it aside, as a
/// date; null for any other text. Fails: raises NSInvalidArgumentException for what is no pattern.
FilterBlock dateFilter(std::string_view pattern);

}  // namespace JNFoundation
