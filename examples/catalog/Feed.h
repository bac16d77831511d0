#pragma once

#include <string>

#include "Worker.h"

#include <JNFoundation/deferred/PLVDeferred.h>

namespace catalog {

using namespace JNFoundation;

/// A deferred of the records in a JSON file: an NSArray of NSDictionaries, from a list of records
/// or from an object that holds exactly one. The file is read and decoded by the worker. Fails:
/// rejects with an NSError whose description names the file and says in one line what is wrong.
Ref<PLVDeferred> recordsOfFile(const std::string& path, Worker& worker);

}  // namespace catalog
