#pragma once

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

/// What is to be taken from a cache, and when the address itself is to be asked.
enum NSURLRequestCachePolicy : NSUInteger {
  NSURLRequestUseProtocolCachePolicy = 0,        ///< as the protocol says
  NSURLRequestReloadIgnoringLocalCacheData = 1,  ///< always from the address
  /// The same by its older name.
  NSURLRequestReloadIgnoringCacheData = NSURLRequestReloadIgnoringLocalCacheData,
  NSURLRequestReturnCacheDataElseLoad = 2,  ///< a cache, however old, before the address
  NSURLRequestReturnCacheDataDontLoad = 3,  ///< a cache or nothing
  NSURLRequestReloadIgnoringLocalAndRemoteCacheData = 4,  ///< no cache on the way either
  NSURLRequestReloadRevalidatingCacheData = 5,            ///< a cache that the address confirms
};

/// What is to be asked of an address: with which method, header fields and body. The library sends
/// no requests; an application hands them to its network code, or shows them (see
/// `cURLCommand`).
///
///     auto request = NSMutableURLRequest::requestWithURL(
///         NSURL::URLWithString("https://example.com/items"));
///     request->setHTTPMethod("POST");
///     request->setValueForHTTPHeaderField("application/json", "Content-Type");
///     request->setHTTPBody(NSData::dataWithText("{}"));
///
/// A new request has the method GET, no body and no header fields, a time-out of 60 seconds, and
/// follows the protocol's rules for caching. Requests are equal when everything about them is.
/// Threads: an immutable request may be read on any thread; a mutable one belongs to one at a time.
class NSURLRequest : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  // The address may be null; it then has to be set before the request is of use.
  static Ref<NSURLRequest> requestWithURL(const Ref<NSURL>& url);
  static Ref<NSURLRequest> requestWithURLCachePolicyTimeoutInterval(
      const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval);
  static Ref<NSURLRequest> initWithURL(const Ref<NSURL>& url) { return requestWithURL(url); }
  static Ref<NSURLRequest> initWithURLCachePolicyTimeoutInterval(
      const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval) {
    return requestWithURLCachePolicyTimeoutInterval(url, cachePolicy, timeoutInterval);
  }

  /// What is asked. May be null.
  const Ref<NSURL>& URL() const noexcept { return _contents.url; }
  /// How a cache is to be used.
  NSURLRequestCachePolicy cachePolicy() const noexcept { return _contents.cachePolicy; }
  /// Seconds without any data.
  NSTimeInterval timeoutInterval() const noexcept { return _contents.timeoutInterval; }
  /// Whether the request may go over a mobile network.
  bool allowsCellularAccess() const noexcept { return _contents.allowsCellularAccess; }
  /// Whether cookies are sent and kept.
  bool HTTPShouldHandleCookies() const noexcept { return _contents.handlesCookies; }

  /// Null only where null was set.
  const Ref<NSString>& HTTPMethod() const noexcept { return _contents.method; }
  /// Null for a request without a body, which is not the same as an empty one.
  const Ref<NSData>& HTTPBody() const noexcept { return _contents.body; }
  /// The header fields by name, in the order and the spelling in which the names were first set.
  /// Returns: a dictionary of its own, never null.
  Ref<NSDictionary> allHTTPHeaderFields() const;
  /// The value of the field of that name in any case. Returns: null if there is none.
  Ref<NSString> valueForHTTPHeaderField(const Ref<NSString>& field) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// The class, the object's address and the URL.
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;

 protected:
  /// What a request consists of.
  struct Contents {
    /// What is asked. May be null.
    Ref<NSURL> url;
    /// How a cache is to be used.
    NSURLRequestCachePolicy cachePolicy = NSURLRequestUseProtocolCachePolicy;
    /// Seconds without any data.
    NSTimeInterval timeoutInterval = 60;
    /// Whether the request may go over a mobile network.
    bool allowsCellularAccess = true;
    /// Whether cookies are sent and kept.
    bool handlesCookies = true;
    /// In upper case if it is one of HTTP; null if null was set.
    Ref<NSString> method = "GET"_s;
    /// Null for none.
    Ref<NSData> body;
    /// By name as it was first written.
    Ref<NSMutableDictionary> fields = NSMutableDictionary::dictionary();
    /// The name as it was first written, by the name in lower case.
    Ref<NSMutableDictionary> names = NSMutableDictionary::dictionary();
  };

  NSURLRequest() = default;
  explicit NSURLRequest(Contents contents) : _contents(std::move(contents)) {}

  /// The contents of a new request.
  static Contents contentsFor(const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy,
                              NSTimeInterval timeoutInterval);
  /// Contents of their own, with the same header fields.
  Contents copyOfContents() const;
  /// The name as it was first written. Returns: null for a field that is not there.
  Ref<NSString> writtenName(const Ref<NSString>& field) const;

  Contents _contents;  ///< of the request
};

/// A request that can be changed. `copy()` gives one that cannot.
class NSMutableURLRequest : public NSURLRequest {
 public:
  using Superclass = NSURLRequest;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  // The factories of NSURLRequest, for requests that can be changed.
  static Ref<NSMutableURLRequest> requestWithURL(const Ref<NSURL>& url);
  static Ref<NSMutableURLRequest> requestWithURLCachePolicyTimeoutInterval(
      const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval);
  static Ref<NSMutableURLRequest> initWithURL(const Ref<NSURL>& url) { return requestWithURL(url); }
  static Ref<NSMutableURLRequest> initWithURLCachePolicyTimeoutInterval(
      const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval) {
    return requestWithURLCachePolicyTimeoutInterval(url, cachePolicy, timeoutInterval);
  }

  /// Null takes the address away.
  void setURL(const Ref<NSURL>& url) { _contents.url = url; }
  /// How a cache is to be used.
  void setCachePolicy(NSURLRequestCachePolicy policy) { _contents.cachePolicy = policy; }
  /// Seconds without any data.
  void setTimeoutInterval(NSTimeInterval seconds) { _contents.timeoutInterval = seconds; }
  /// Whether the request may go over a mobile network.
  void setAllowsCellularAccess(bool allows) { _contents.allowsCellularAccess = allows; }
  /// Whether cookies are sent and kept.
  void setHTTPShouldHandleCookies(bool handles) { _contents.handlesCookies = handles; }

  /// The methods of HTTP are written in upper case whatever the case they are given in; any other
  /// text stays as it is. Null leaves the request without a method.
  void setHTTPMethod(const Ref<NSString>& method);
  /// Takes: a copy, if the data can be changed. Null takes the body away.
  void setHTTPBody(const Ref<NSData>& body);

  /// Puts these in the place of all fields. A pair that is not text to text is passed over; of
  /// names that differ in case only the last one's value stays. Null takes all fields away.
  void setAllHTTPHeaderFields(const Ref<NSDictionary>& fields);
  /// A field that is there, in any case, gets the value and keeps its place; null takes it away.
  /// Fails: raises NSInvalidArgumentException for a null field.
  void setValueForHTTPHeaderField(const Ref<NSString>& value, const Ref<NSString>& field);
  /// Appends the value to what the field has, behind a comma. Null adds nothing.
  /// Fails: raises NSInvalidArgumentException for a null field.
  void addValueForHTTPHeaderField(const Ref<NSString>& value, const Ref<NSString>& field);

  Value copy() const override;

 protected:
  NSMutableURLRequest() = default;
  using NSURLRequest::NSURLRequest;
};

}  // namespace JNFoundation
