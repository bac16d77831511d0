#pragma once

#include <string>

#include <JNFoundation/deferred/Executor.h>

namespace example {

using namespace JNFoundation;

/// Writes what a URL has into a file. Blocks. `progress` is told how many bytes are there and how
/// many there will be, 0 while that is unknown; on the calling thread.
/// Returns: the number of bytes, or a rejection with an NSError of NSURLErrorDomain; a cancelled
/// transfer leaves no file.
/// Threads: any.
Value download(const std::string& url, const std::string& file,
               const Block<void(std::int64_t, std::int64_t)>& progress,
               const CancellationToken& token);

}  // namespace example
