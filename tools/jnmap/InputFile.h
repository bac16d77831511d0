#pragma once

#include <string>

namespace jnmap {

/// The bytes of a file, or of standard input for "-".
/// Fails: throws Failure, which names the file, where it cannot be read and where it is longer.
std::string readInput(const std::string& path, std::size_t longest);

}  // namespace jnmap
