#pragma once

#include <string>
#include <vector>

#include "Merge.h"
#include "Worker.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace catalog {

/// The application's data: its model, and one context over a store in a file.
class Catalog {
 public:
  /// The model comes from the .xcdatamodel at that path. Fails: null, with the error set.
  static Ref<NSManagedObjectModel> readModel(const std::string& path, Ref<NSError>* error);

  Catalog(Ref<NSManagedObjectModel> model, std::string storePath)
      : _model(std::move(model)), _storePath(std::move(storePath)) {}

  const Ref<NSManagedObjectModel>& model() const { return _model; }
  /// Null until `open`.
  const Ref<NSManagedObjectContext>& context() const { return _context; }

  /// Opens the store, or makes it, with the folder that it stands in.
  /// Fails: false, with the error set; a file that is no store of this model is left as it is.
  bool open(Ref<NSError>* error);

  /// How many objects of the entity the store holds.
  NSUInteger countOf(const Ref<NSString>& entityName) const;
  /// Some of them, chosen at random, without repeats.
  Ref<NSArray> sampleOf(const Ref<NSString>& entityName, NSUInteger count) const;

 private:
  Ref<NSManagedObjectModel> _model;
  std::string _storePath;
  Ref<NSManagedObjectContext> _context;
};

/// One file, and the entity that its records are.
struct FeedFile {
  std::string path;
  Ref<NSString> entityName;
  MergeCounts counts;
};

/// Imports the files: reads and decodes all of them, then opens the store, merges file by file, and
/// saves once. Until that save the store's file is as it was; after a failure it still is.
/// Returns: a deferred of null. Fails: rejects with an NSError.
/// Requires: catalog, files and worker outlive the deferred's chain.
Ref<PLVDeferred> importFiles(Catalog& catalog, std::vector<FeedFile>& files, Worker& worker,
                             const MergeProgress& progress);

}  // namespace catalog
