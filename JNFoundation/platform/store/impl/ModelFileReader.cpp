#include "JNFoundation/platform/store/impl/ModelFileReader.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <pugixml.hpp>

#include <JNFoundation/platform/store/impl/ModelReader.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

namespace fs = std::filesystem;

std::nullptr_t refuseFile(Ref<NSError>* error, NSInteger code, const std::string& path,
                          const char* why) {
  fail(error,
       cocoaError(code,
                  NSString::stringWithFormat("The data model %s cannot be read: %s", path, why),
                  {{NSFilePathErrorKey, path}}));
  return nullptr;
}

std::optional<std::string> contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) return std::nullopt;
  return text;
}

/// The name of the current version that a property list of a bundle has.
/// Returns: nothing where it has none, and for what is no name of a version.
std::optional<std::string> currentVersionFrom(const std::string& list) {
  pugi::xml_document document;
  if (!document.load_buffer(list.data(), list.size())) return std::nullopt;
  for (const pugi::xml_node& key : document.child("plist").child("dict").children("key")) {
    if (std::string_view(key.text().get()) != "_XCCurrentVersionName") continue;
    pugi::xml_node value = key.next_sibling();
    while (value && value.type() != pugi::node_element) value = value.next_sibling();
    const std::string name = value.text().get();
    const bool isName = std::string_view(value.name()) == "string" && fs::path(name).has_stem() &&
                        fs::path(name).extension() == ".xcdatamodel" &&
                        name.find('/') == std::string::npos;
    return isName ? std::optional(name) : std::nullopt;
  }
  return std::nullopt;
}

/// The version that `.xccurrentversion` names, else the only one.
/// Fails: returns nothing and sets the error.
std::optional<fs::path> currentVersionIn(const fs::path& bundle, Ref<NSError>* error) {
  std::error_code trouble;
  const fs::path list = bundle / ".xccurrentversion";
  if (fs::exists(list, trouble)) {
    const auto text = contentsOf(list);
    const auto name = text ? currentVersionFrom(*text) : std::nullopt;
    if (!name) {
      refuseFile(error, NSFileReadCorruptFileError, list.string(),
                 "it is no property list that names a version");
      return std::nullopt;
    }
    if (fs::exists(bundle / *name / "contents", trouble)) return bundle / *name;
    refuseFile(error, NSFileReadNoSuchFileError, list.string(),
               ("the current version '" + *name + "' is missing").c_str());
    return std::nullopt;
  }
  fs::path only;
  std::size_t versions = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(bundle, trouble)) {
    if (entry.path().extension() != ".xcdatamodel") continue;
    only = entry.path();
    ++versions;
  }
  if (versions == 1) return only;
  refuseFile(error, NSFileReadCorruptFileError, bundle.string(),
             versions == 0 ? "it has neither contents nor a version"
                           : "it has several versions, and no .xccurrentversion says which is the "
                             "current one");
  return std::nullopt;
}

}  // namespace

Ref<NSManagedObjectModel> readModelFile(const std::string& path, Ref<NSError>* error) {
  std::error_code trouble;
  fs::path file(path);
  if (!fs::exists(file, trouble)) {
    return refuseFile(error, NSFileReadNoSuchFileError, path, "there is no such file");
  }
  if (fs::is_directory(file, trouble) && !fs::exists(file / "contents", trouble)) {
    const auto version = currentVersionIn(file, error);
    if (!version) return nullptr;
    file = *version;
  }
  if (fs::is_directory(file, trouble)) file /= "contents";
  if (!fs::is_regular_file(file, trouble)) {
    return refuseFile(error, NSFileReadNoSuchFileError, file.string(), "there is no such file");
  }
  const auto text = contentsOf(file);
  if (!text) return refuseFile(error, NSFileReadUnknownError, file.string(), "it cannot be opened");
  const std::string name = file.string();
  return readModelText(*text, name, error);
}

}  // namespace JNFoundation::impl
