#include "JNFoundation/platform/value/NSError.h"

#include <map>
#include <mutex>
#include <string>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSError::classObject = Class::of<NSError>("NSError");

namespace {

const ClassDeclaration<NSError> declarationOfNSError =
    ClassDeclaration<NSError>()
        .property("domain", &NSError::domain)
        .property("code", &NSError::code)
        .property("userInfo", &NSError::userInfo)
        .property("localizedDescription", &NSError::localizedDescription)
        .property("localizedFailureReason", &NSError::localizedFailureReason)
        .property("localizedRecoverySuggestion", &NSError::localizedRecoverySuggestion);

/// Errors describe the errors they hold; further down than this, details are left out.
constexpr int describedNestingLimit = 16;
thread_local int describedNesting = 0;

struct Providers {
  std::mutex mutex;
  std::map<std::string, NSError::UserInfoValueProvider, std::less<>> byDomain;

  static Providers& shared() {
    static Providers* providers = new Providers;  // outlives every static object
    return *providers;
  }
};

}  // namespace

NSError::NSError(const Ref<NSString>& domain, NSInteger code, const Ref<NSDictionary>& userInfo)
    : _domain(domain),
      _code(code),
      _userInfo(userInfo ? as<NSDictionary>(userInfo->copy()) : NSDictionary::dictionary()) {
  if (!domain) {
    raise(NSInvalidArgumentException,
          "+[NSError errorWithDomain:code:userInfo:]: the domain is null");
  }
}

NSError::~NSError() = default;

void NSError::setUserInfoValueProviderForDomainProvider(const Ref<NSString>& domain,
                                                        UserInfoValueProvider provider) {
  if (!domain) return;
  Providers& providers = Providers::shared();
  // The old provider goes after the lock is free: what it captured may come back here.
  UserInfoValueProvider old;
  const std::lock_guard lock(providers.mutex);
  UserInfoValueProvider& current = providers.byDomain[domain->toStdString()];
  old = std::exchange(current, std::move(provider));
}

Value NSError::detail(std::string_view key) const {
  const Value* found = _userInfo->findText(key);
  return found ? *found : Value();
}

Ref<NSString> NSError::textDetail(std::string_view key) const { return as<NSString>(detail(key)); }

Ref<NSString> NSError::providedText(std::string_view key) const {
  UserInfoValueProvider provider;
  {
    Providers& providers = Providers::shared();
    const std::lock_guard lock(providers.mutex);
    const auto found = providers.byDomain.find(_domain->utf8());
    if (found != providers.byDomain.end()) provider = found->second;
  }
  return provider ? as<NSString>(provider(*this, key)) : nullptr;
}

Ref<NSString> NSError::localizedDescription() const {
  if (Ref<NSString> text = textDetail(NSLocalizedDescriptionKey)) return text;
  const Ref<NSString> reason = localizedFailureReason();
  const std::string reasonBehind = reason ? " " + reason->toStdString() : std::string();
  if (const Ref<NSString> failure = textDetail(NSLocalizedFailureErrorKey)) {
    return failure->toStdString() + reasonBehind;
  }
  if (Ref<NSString> text = providedText(NSLocalizedDescriptionKey)) return text;
  if (const Ref<NSString> failure = providedText(NSLocalizedFailureErrorKey)) {
    return failure->toStdString() + reasonBehind;
  }
  constexpr std::string_view generic = "The operation couldn\u2019t be completed.";
  if (reason) return std::string(generic) + reasonBehind;
  const std::string_view domain = _domain->utf8() == NSCocoaErrorDomain ? "Cocoa" : _domain->utf8();
  return std::string(generic) + " (" + std::string(domain) + " error " + textFromInteger(_code) +
         ".)";
}

Ref<NSString> NSError::localizedFailureReason() const {
  if (Ref<NSString> text = textDetail(NSLocalizedFailureReasonErrorKey)) return text;
  return providedText(NSLocalizedFailureReasonErrorKey);
}

Ref<NSString> NSError::localizedRecoverySuggestion() const {
  if (Ref<NSString> text = textDetail(NSLocalizedRecoverySuggestionErrorKey)) return text;
  return providedText(NSLocalizedRecoverySuggestionErrorKey);
}

Ref<NSError> NSError::underlyingError() const { return as<NSError>(detail(NSUnderlyingErrorKey)); }

bool NSError::isEqual(const Value& other) const {
  // Errors caused by errors are compared link by link, so that a long chain needs no stack.
  const NSError* left = this;
  const NSError* right = as<NSError>(other);
  while (right && left != right) {
    if (left->_code != right->_code || !left->_domain->hasContentOf(*right->_domain) ||
        left->_userInfo->count() != right->_userInfo->count()) {
      return false;
    }
    const NSError* leftCause = nullptr;
    const NSError* rightCause = nullptr;
    for (auto at = left->_userInfo->begin(), end = left->_userInfo->end(); at != end; ++at) {
      const Value& value = at.entry().value;
      const Value* counterpart = right->_userInfo->find(at.entry().key);
      if (!counterpart) return false;
      const NSString* key = as<NSString>(at.entry().key);
      const NSError* mine = as<NSError>(value);
      const NSError* theirs = as<NSError>(*counterpart);
      // A descendant may know better what makes it equal.
      if (key && key->utf8() == NSUnderlyingErrorKey && mine && theirs &&
          &mine->class_() == &classObject && &theirs->class_() == &classObject) {
        leftCause = mine;
        rightCause = theirs;
      } else if (value != *counterpart) {
        return false;
      }
    }
    if (!leftCause) return true;
    left = leftCause;
    right = rightCause;
  }
  return right != nullptr;
}

std::size_t NSError::hash() const {
  return static_cast<std::size_t>(
      mixHash(31 * _domain->contentHash() + static_cast<std::uint64_t>(_code)));
}

Ref<NSString> NSError::description() const {
  struct Nesting {
    Nesting() { ++describedNesting; }
    ~Nesting() { --describedNesting; }
  } nesting;
  std::string text = "Error Domain=" + _domain->toStdString() + " Code=" + textFromInteger(_code);
  Ref<NSString> sentence = textDetail(NSLocalizedDescriptionKey);
  if (!sentence) sentence = providedText(NSLocalizedDescriptionKey);
  text += " \"" + (sentence ? sentence->toStdString() : "(null)") + "\"";
  if (_userInfo->count() == 0) return text;
  text += " UserInfo={";
  if (describedNesting > describedNestingLimit) return text + "...}";
  bool first = true;
  for (auto at = _userInfo->begin(), end = _userInfo->end(); at != end; ++at) {
    if (!std::exchange(first, false)) text += ", ";
    text += at.entry().key.description()->utf8();
    text += '=';
    if (const NSError* error = as<NSError>(at.entry().value)) {
      text += NSString::stringWithFormat("%p {", static_cast<const void*>(error))->utf8();
      text += error->description()->utf8();
      text += '}';
    } else {
      text += at.entry().value.description()->utf8();
    }
  }
  return text + "}";
}

}  // namespace JNFoundation
