#pragma once

#include <string>

#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

/// What an application may choose of a connection, read from a store's options and checked: what is
/// not understood is refused, never passed on to SQLite and never passed over.
struct ConnectionSettings {
  /// How many seconds to wait for another connection that holds the file.
  double timeout = 5;
  /// Statements for a connection that has been opened, each ended with a semicolon; may be empty.
  std::string pragmas;

  /// Takes: the options, which may be null. Returns: false with a sentence in `problem` for an
  /// option with a value that it cannot have and for a setting that is not one of ours.
  bool read(const Ref<NSDictionary>& options, std::string& problem);

 private:
  bool readPragma(const std::string& name, const Value& value, std::string& problem);
};

}  // namespace JNFoundation::impl
