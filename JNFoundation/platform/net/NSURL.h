#pragma once

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// The address of a resource: an absolute or relative reference as RFC 3986 writes it, or a file.
///
///     NSURL::URLWithString("https://example.com/feed?page=2")->host()   // "example.com"
///     NSURL::fileURLWithPath("build/catalog.sqlite")->path()            // the path as it was
///     given
///
/// Parts that the text does not have are null. Equal texts are equal addresses.
/// Threads: any; an address never changes.
class NSURL : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Returns: null for text that is no reference: one with characters that may not stand there
  /// (white space, controls, "<>\"{}|\\^`", anything that is not ASCII), or with a broken percent
  /// escape.
  static Ref<NSURL> URLWithString(const Ref<NSString>& text);
  /// The file at that path, which may be relative; characters are escaped as needed.
  /// Returns: null for a null path.
  static Ref<NSURL> fileURLWithPath(const Ref<NSString>& path);

  /// The text that the address was made of.
  const Ref<NSString>& absoluteString() const noexcept { return _text; }
  /// Without the colon, in lower case.
  const Ref<NSString>& scheme() const noexcept { return _scheme; }
  /// Percent escapes replaced; null where there is none.
  const Ref<NSString>& host() const noexcept { return _host; }
  /// A number, or null.
  const Value& port() const noexcept { return _port; }
  /// Percent escapes replaced; the empty text where there is none. Of a file, the path as it was
  /// given.
  const Ref<NSString>& path() const noexcept { return _path; }
  // As written, without the "?" or the "#"; null where there is none.
  const Ref<NSString>& query() const noexcept { return _query; }
  const Ref<NSString>& fragment() const noexcept { return _fragment; }
  /// Whether the scheme is "file".
  bool isFileURL() const noexcept;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// The text.
  Ref<NSString> description() const override;

 protected:
  explicit NSURL(const Ref<NSString>& text) : _text(text) {}

 private:
  void split();

  Ref<NSString> _text;
  Ref<NSString> _scheme;
  Ref<NSString> _host;
  Value _port;
  Ref<NSString> _path;
  Ref<NSString> _query;
  Ref<NSString> _fragment;
};

}  // namespace JNFoundation
