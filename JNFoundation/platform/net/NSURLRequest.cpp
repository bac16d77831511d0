#include "JNFoundation/platform/net/NSURLRequest.h"

#include <algorithm>
#include <string_view>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSURLRequest::classObject = Class::of<NSURLRequest>("NSURLRequest");
constinit const Class NSMutableURLRequest::classObject =
    Class::of<NSMutableURLRequest>("NSMutableURLRequest");

namespace {

const ClassDeclaration<NSURLRequest> declarationOfNSURLRequest =
    ClassDeclaration<NSURLRequest>()
        .property("URL", &NSURLRequest::URL)
        .property("cachePolicy", &NSURLRequest::cachePolicy)
        .property("timeoutInterval", &NSURLRequest::timeoutInterval)
        .property("allowsCellularAccess", &NSURLRequest::allowsCellularAccess)
        .property("HTTPShouldHandleCookies", &NSURLRequest::HTTPShouldHandleCookies)
        .property("HTTPMethod", &NSURLRequest::HTTPMethod)
        .property("HTTPBody", &NSURLRequest::HTTPBody)
        .property("allHTTPHeaderFields", &NSURLRequest::allHTTPHeaderFields)
        .operation("valueForHTTPHeaderField:", &NSURLRequest::valueForHTTPHeaderField);

const ClassDeclaration<NSMutableURLRequest> declarationOfNSMutableURLRequest =
    ClassDeclaration<NSMutableURLRequest>()
        .operation("setURL:", &NSMutableURLRequest::setURL)
        .operation("setCachePolicy:", &NSMutableURLRequest::setCachePolicy)
        .operation("setTimeoutInterval:", &NSMutableURLRequest::setTimeoutInterval)
        .operation("setAllowsCellularAccess:", &NSMutableURLRequest::setAllowsCellularAccess)
        .operation("setHTTPShouldHandleCookies:", &NSMutableURLRequest::setHTTPShouldHandleCookies)
        .operation("setHTTPMethod:", &NSMutableURLRequest::setHTTPMethod)
        .operation("setHTTPBody:", &NSMutableURLRequest::setHTTPBody)
        .operation("setAllHTTPHeaderFields:", &NSMutableURLRequest::setAllHTTPHeaderFields)
        .operation("setValue:forHTTPHeaderField:", &NSMutableURLRequest::setValueForHTTPHeaderField)
        .operation("addValue:forHTTPHeaderField:",
                   &NSMutableURLRequest::addValueForHTTPHeaderField);

constexpr std::string_view methodsOfHTTP[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                              "CONNECT", "OPTIONS", "TRACE", "PATCH"};

void requireField(const char* operation, const Ref<NSString>& field) {
  if (!field) {
    raise(NSInvalidArgumentException, "*** -[NSMutableURLRequest %s]: the field must not be null",
          operation);
  }
}

}  // namespace

NSURLRequest::Contents NSURLRequest::contentsFor(const Ref<NSURL>& url,
                                                 NSURLRequestCachePolicy cachePolicy,
                                                 NSTimeInterval timeoutInterval) {
  Contents contents;
  contents.url = url;
  contents.cachePolicy = cachePolicy;
  contents.timeoutInterval = timeoutInterval;
  return contents;
}

Ref<NSURLRequest> NSURLRequest::requestWithURL(const Ref<NSURL>& url) {
  Contents contents;
  contents.url = url;
  return makeObject<NSURLRequest>(std::move(contents));
}

Ref<NSURLRequest> NSURLRequest::requestWithURLCachePolicyTimeoutInterval(
    const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval) {
  return makeObject<NSURLRequest>(contentsFor(url, cachePolicy, timeoutInterval));
}

NSURLRequest::Contents NSURLRequest::copyOfContents() const {
  Contents contents = _contents;
  contents.fields = NSMutableDictionary::dictionaryWithDictionary(_contents.fields);
  contents.names = NSMutableDictionary::dictionaryWithDictionary(_contents.names);
  return contents;
}

Ref<NSDictionary> NSURLRequest::allHTTPHeaderFields() const {
  return NSDictionary::dictionaryWithDictionary(_contents.fields);
}

Ref<NSString> NSURLRequest::writtenName(const Ref<NSString>& field) const {
  return field ? as<NSString>(_contents.names->objectForKey(field->lowercaseString())) : nullptr;
}

Ref<NSString> NSURLRequest::valueForHTTPHeaderField(const Ref<NSString>& field) const {
  const Ref<NSString> name = writtenName(field);
  return name ? as<NSString>(_contents.fields->objectForKey(name)) : nullptr;
}

bool NSURLRequest::isEqual(const Value& other) const {
  const auto* request = as<NSURLRequest>(other);
  if (!request) return false;
  const Contents &mine = _contents, &its = request->_contents;
  if (mine.cachePolicy != its.cachePolicy || mine.timeoutInterval != its.timeoutInterval ||
      mine.allowsCellularAccess != its.allowsCellularAccess ||
      mine.handlesCookies != its.handlesCookies || Value(mine.url) != Value(its.url) ||
      Value(mine.method) != Value(its.method) || Value(mine.body) != Value(its.body) ||
      mine.fields->count() != its.fields->count()) {
    return false;
  }
  for (const auto& [name, value] : mine.fields) {
    if (value != Value(request->valueForHTTPHeaderField(as<NSString>(Value(name))))) return false;
  }
  return true;
}

std::size_t NSURLRequest::hash() const {
  return Value(_contents.url).hash() * 31 + Value(_contents.method).hash();
}

Ref<NSString> NSURLRequest::description() const {
  return NSString::stringWithFormat("<%s: %p> { URL: %@ }", class_().name(),
                                    static_cast<const void*>(this), _contents.url);
}

Value NSURLRequest::copy() const { return Value(const_cast<NSURLRequest*>(this)); }

Value NSURLRequest::mutableCopy() const {
  return makeObject<NSMutableURLRequest>(copyOfContents());
}

Ref<NSMutableURLRequest> NSMutableURLRequest::requestWithURL(const Ref<NSURL>& url) {
  Contents contents;
  contents.url = url;
  return makeObject<NSMutableURLRequest>(std::move(contents));
}

Ref<NSMutableURLRequest> NSMutableURLRequest::requestWithURLCachePolicyTimeoutInterval(
    const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy, NSTimeInterval timeoutInterval) {
  return makeObject<NSMutableURLRequest>(contentsFor(url, cachePolicy, timeoutInterval));
}

void NSMutableURLRequest::setHTTPMethod(const Ref<NSString>& method) {
  _contents.method = method;
  if (!method) return;
  const Ref<NSString> upper = method->uppercaseString();
  const auto known = std::find(std::begin(methodsOfHTTP), std::end(methodsOfHTTP), upper->utf8());
  if (known != std::end(methodsOfHTTP)) _contents.method = upper;
}

void NSMutableURLRequest::setHTTPBody(const Ref<NSData>& body) {
  _contents.body = body ? as<NSData>(body->copy()) : nullptr;
}

void NSMutableURLRequest::setAllHTTPHeaderFields(const Ref<NSDictionary>& fields) {
  const Ref<NSDictionary> given = NSDictionary::dictionaryWithDictionary(fields);
  _contents.fields = NSMutableDictionary::dictionary();
  _contents.names = NSMutableDictionary::dictionary();
  for (const auto& [name, value] : given) {
    if (!name.isString() || !value.isString()) continue;
    setValueForHTTPHeaderField(as<NSString>(Value(value)), as<NSString>(Value(name)));
  }
}

void NSMutableURLRequest::setValueForHTTPHeaderField(const Ref<NSString>& value,
                                                     const Ref<NSString>& field) {
  requireField("setValue:forHTTPHeaderField:", field);
  Ref<NSString> name = writtenName(field);
  if (value) {
    if (!name) {
      name = field;
      _contents.names->setObjectForKey(field, field->lowercaseString());
    }
    _contents.fields->setObjectForKey(value, name);
  } else if (name) {
    _contents.fields->removeObjectForKey(name);
    _contents.names->removeObjectForKey(field->lowercaseString());
  }
}

void NSMutableURLRequest::addValueForHTTPHeaderField(const Ref<NSString>& value,
                                                     const Ref<NSString>& field) {
  requireField("addValue:forHTTPHeaderField:", field);
  if (!value) return;
  const Ref<NSString> present = valueForHTTPHeaderField(field);
  setValueForHTTPHeaderField(present ? NSString::stringWithFormat("%@,%@", present, value) : value,
                             field);
}

Value NSMutableURLRequest::copy() const { return makeObject<NSURLRequest>(copyOfContents()); }

}  // namespace JNFoundation
