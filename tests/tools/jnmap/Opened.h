#pragma once

#include <cstdio>
#include <cstdlib>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

/// Ends the program where something is not as it must be.
#define EXPECT(condition)                                                  \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::exit(1);                                                        \
    }                                                                      \
  } while (false)

/// A context over a store in memory, of the model that the classes were generated from.
inline Ref<NSManagedObjectContext> openedContext() {
  Ref<NSError> error;
  const auto model = NSManagedObjectModel::initWithContentsOfFileError(MODEL, &error);
  EXPECT(model);
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  EXPECT(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, nullptr, &error));
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}
