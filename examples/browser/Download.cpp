#include "Download.h"

#include <curl/curl.h>
#include <memory>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace browser {
namespace {

constexpr std::size_t mostBytes = 64u << 20;

std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* text) {
  auto& received = *static_cast<std::string*>(text);
  // Taking less than there is ends the transfer.
  if (received.size() + size * count > mostBytes) return 0;
  received.append(bytes, size * count);
  return size * count;
}

int askWhetherToEnd(void* token, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<const CancellationToken*>(token)->isCancelled() ? 1 : 0;
}

Value failure(NSInteger code, const Ref<NSString>& description) {
  return PLVRejected::withValue(NSError::errorWithDomainCodeUserInfo(
      NSURLErrorDomain, code,
      NSDictionary::dictionaryWithObjectForKey(description, NSLocalizedDescriptionKey)));
}

/// Whoever does not get through to the server is offline, as far as this application goes.
NSInteger codeOf(CURLcode result) {
  switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
      return NSURLErrorNotConnectedToInternet;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLErrorTimedOut;
    case CURLE_ABORTED_BY_CALLBACK:
      return NSURLErrorCancelled;
    default:
      return NSURLErrorUnknown;
  }
}

/// The only list that the object holds, or the list itself.
Value recordsIn(const Value& json) {
  if (isKindOf<NSArray>(json)) return json;
  const auto* object = as<NSDictionary>(json);
  if (!object || object->count() != 1) return nullptr;
  const Ref<NSArray> values = object->allValues();
  const Value only = values->firstObject();
  return isKindOf<NSArray>(only) ? only : Value();
}

}  // namespace

Value download(const std::string& url, const CancellationToken& token) {
  const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
  if (!handle) return failure(NSURLErrorUnknown, "There is no memory for a transfer");
  std::string text;
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle.get(), CURLOPT_NOPROXY, "127.0.0.1,localhost");
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, 30L);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &text);
  curl_easy_setopt(handle.get(), CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFOFUNCTION, askWhetherToEnd);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFODATA, const_cast<CancellationToken*>(&token));
  const CURLcode result = curl_easy_perform(handle.get());
  if (result != CURLE_OK) return failure(codeOf(result), curl_easy_strerror(result));
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  if (status != 200) {
    return failure(NSURLErrorBadServerResponse,
                   NSString::stringWithFormat("The server answered with %d", int(status)));
  }
  Ref<NSError> error;
  const Value json =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, &error);
  if (error) return PLVRejected::withValue(error);
  const Value records = recordsIn(json);
  return records ? records
                 : failure(NSURLErrorCannotParseResponse, "The answer holds no list of records");
}

}  // namespace browser
