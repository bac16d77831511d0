#pragma once

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace examples {

using namespace JNFoundation;

Ref<NSManagedObjectModel> makeModel();
Ref<NSManagedObjectContext> open(const Ref<NSString>& path);

void relate(const Ref<NSManagedObjectContext>& context);
void workApart(const Ref<NSManagedObjectContext>& context);
void ask(const Ref<NSManagedObjectContext>& context);
void list(const Ref<NSManagedObjectContext>& context);
void sum(const Ref<NSManagedObjectContext>& context);
void changeMany(const Ref<NSManagedObjectContext>& context);
void merge(const Ref<NSManagedObjectContext>& context);
void keep(const Ref<NSManagedObjectContext>& context, const Ref<NSString>& path);

}  // namespace examples
