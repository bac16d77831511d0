#include "Download.h"

#include <cstdio>
#include <curl/curl.h>
#include <memory>

#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace example {
namespace {

struct Transfer {
  std::FILE* file;
  std::int64_t written = 0;
  const Block<void(std::int64_t, std::int64_t)>& progress;
  const CancellationToken& token;
};

std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* details) {
  auto& transfer = *static_cast<Transfer*>(details);
  const std::size_t taken = std::fwrite(bytes, size, count, transfer.file);
  transfer.written += static_cast<std::int64_t>(taken * size);
  return taken * size;
}

/// Called now and then. Returns: whether the transfer is to end.
int look(void* details, curl_off_t total, curl_off_t, curl_off_t, curl_off_t) {
  auto& transfer = *static_cast<Transfer*>(details);
  transfer.progress(transfer.written, total);
  return transfer.token.isCancelled() ? 1 : 0;
}

Value failure(NSInteger code, const Ref<NSString>& description) {
  return PLVRejected::withValue(NSError::errorWithDomainCodeUserInfo(
      NSURLErrorDomain, code,
      NSDictionary::dictionaryWithObjectForKey(description, NSLocalizedDescriptionKey)));
}

}  // namespace

Value download(const std::string& url, const std::string& file,
               const Block<void(std::int64_t, std::int64_t)>& progress,
               const CancellationToken& token) {
  const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
  if (!handle) return failure(NSURLErrorUnknown, "There is no memory for a transfer");
  Transfer transfer{std::fopen(file.c_str(), "wb"), 0, progress, token};
  if (!transfer.file) return failure(NSURLErrorUnknown, "The file cannot be written");
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(handle.get(), CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFOFUNCTION, look);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFODATA, &transfer);
  char details[CURL_ERROR_SIZE] = "";
  curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, details);
  const CURLcode result = curl_easy_perform(handle.get());
  const bool isWritten = std::fclose(transfer.file) == 0;
  if (result == CURLE_OK && isWritten) return transfer.written;
  std::remove(file.c_str());
  if (result == CURLE_ABORTED_BY_CALLBACK) return PLVRejected::cancellation();
  if (result == CURLE_OK) return failure(NSURLErrorUnknown, "The disk is full");
  return failure(NSURLErrorUnknown, *details ? details : curl_easy_strerror(result));
}

}  // namespace example
