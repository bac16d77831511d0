#pragma once

/// The release that these headers are of, by semantic versioning: before 1.0 a minor release may
/// change what exists, from then on only a major one. The build reads the numbers from here.
#define JN_VERSION_MAJOR 0
/// The second number of the release.
#define JN_VERSION_MINOR 1
/// The third number of the release.
#define JN_VERSION_PATCH 0

/// The same in one number, for the preprocessor: 1.2.3 is 10203.
#define JN_VERSION_NUMBER (JN_VERSION_MAJOR * 10000 + JN_VERSION_MINOR * 100 + JN_VERSION_PATCH)

/// The same as text: "1.2.3".
#define JN_VERSION JN_VERSION_TEXT(JN_VERSION_MAJOR, JN_VERSION_MINOR, JN_VERSION_PATCH)
/// Three numbers, or macros that stand for them, as the text of a release.
#define JN_VERSION_TEXT(major, minor, patch) JN_VERSION_JOINED(major, minor, patch)
/// The same of numbers only.
#define JN_VERSION_JOINED(major, minor, patch) #major "." #minor "." #patch
