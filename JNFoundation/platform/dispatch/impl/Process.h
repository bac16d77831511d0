#pragma once

#include <string>

namespace JNFoundation::inline v0_1::impl {

/// The name of the program without its folder.
std::string processName();

/// The process's number.
long processIdentifier() noexcept;

/// The seconds since 1970 as "2001-09-09 01:46:40.125" in the local time zone.
std::string localTimeText(double secondsSince1970);

}  // namespace JNFoundation::impl
