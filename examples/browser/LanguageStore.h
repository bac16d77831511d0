#pragma once

#include <string>

#include "WorkThread.h"

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace browser {

using namespace JNFoundation;

/// The languages of the catalogue in a store, with one context for the window and another, on a
/// thread of its own, for imports, whose saves the window's context merges. It loads them from a
/// server; as the refresh provider of a controller it is what a button asks.
class LanguageStore : public Subclass<LanguageStore, NSObject> {
 public:
  /// Takes: the file of the store, or an empty path for one in memory; and where languages are
  /// loaded from. Fails: null, with the error set.
  static Ref<LanguageStore> open(const std::string& path, const std::string& url,
                                 WorkThread& thread, Ref<NSError>* error);

  const Ref<NSManagedObjectContext>& context() const { return _context; }
  /// Imports, in the background, what the server has, and deletes what it has no longer.
  /// Returns: a promise of an ImportReport; it is rejected with an NSError.
  Ref<PLVPromise> load();
  /// Ends a load.
  void cancel();

  LanguageStore(std::string url, WorkThread& thread) : _url(std::move(url)), _thread(thread) {}
  ~LanguageStore() override { cancel(); }

 private:
  const std::string _url;
  WorkThread& _thread;
  Ref<NSManagedObjectContext> _context, _importContext;
  Ref<PLVDeferred> _loading;
};

}  // namespace browser
