#pragma once

#include <string>

#include <JNFoundation/deferred/Executor.h>

namespace browser {

using namespace JNFoundation;

/// Loads the JSON at a URL and gives the list of records in it, over HTTP. Blocks.
/// Returns: an NSArray, or a rejection with an NSError: of NSURLErrorDomain, with -1009 where the
/// server cannot be reached, or of the JSON decoder.
/// Threads: any. Takes: a token, which ends the transfer.
Value download(const std::string& url, const CancellationToken& token);

}  // namespace browser
