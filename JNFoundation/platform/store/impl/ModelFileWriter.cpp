#include "JNFoundation/platform/store/impl/ModelFileWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#include <JNFoundation/platform/store/impl/ModelWriter.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

namespace fs = std::filesystem;

bool refuseFile(Ref<NSError>* error, const fs::path& path, const std::string& why) {
  return fail(error, cocoaError(NSFileWriteUnknownError,
                                NSString::stringWithFormat(
                                    "The data model %s cannot be written: %s", path.string(), why),
                                {{NSFilePathErrorKey, path.string()}}));
}

/// Fails: returns false with errno set.
bool writeBytes(const fs::path& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
                       std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  const int reason = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written) errno = reason;
  return written && closed;
}

}  // namespace

bool writeModelFile(const NSManagedObjectModel& model, const std::string& path,
                    Ref<NSError>* error) {
  fs::path file(path);
  if (!file.has_filename()) file = file.parent_path();
  if (file.empty()) return refuseFile(error, file, "it has no name");
  if (file.extension() == ".xcdatamodeld") {
    return refuseFile(error, file, "it is a bundle of versions; name one of them in it");
  }
  const Ref<NSString> text = modelText(model, error);
  if (!text) return false;
  if (file.extension() == ".xcdatamodel") {
    std::error_code trouble;
    fs::create_directories(file, trouble);
    if (trouble) return refuseFile(error, file, trouble.message());
    file /= "contents";
  }
  fs::path beside = file;
  beside += ".new-" + std::to_string(getpid());
  if (!writeBytes(beside, *text) || std::rename(beside.c_str(), file.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    std::remove(beside.c_str());
    return refuseFile(error, file, why);
  }
  return true;
}

}  // namespace JNFoundation::impl
