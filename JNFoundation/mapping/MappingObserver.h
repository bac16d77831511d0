#pragma once

#include <JNFoundation/mapping/MappingEvent.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/Block.h>

/// Seeing what becomes of every value of every record: for the author of a model, for tools and for
/// tests. What mapping logs is logged all the same.
///
///     setMappingObserver(context, [](const MappingEvent& event) {
///       if (event.kind() == MappingEvent::Kind::Ignored) NSLog("%@", event.text());
///     });
///
/// One mapping alone is observed with `mapDictionaryToObjectFilterObserver` of its map. Without an
/// observer, a mapping pays one look at a variable; with one, nothing is allocated for a value
/// until its event is asked for texts or paths.
namespace JNFoundation::inline v0_1 {

/// Calls: on the mapping's thread, after the value has found its end and before the next one is
/// looked at. What it raises ends the mapping.
using MappingObserver = Block<void(const MappingEvent&)>;

/// Has all mappings onto objects of this context observed, those that run now excepted; in place of
/// the observer that it had. Null ends it. Does nothing for a null context. Threads: any.
void setMappingObserver(const Ref<NSManagedObjectContext>& context,
                        const MappingObserver& observer);

/// Returns: null where there is none, and for a null context. Threads: any.
MappingObserver mappingObserver(const Ref<NSManagedObjectContext>& context);

}  // namespace JNFoundation
