#pragma once

#include <utility>

#include <JNFoundation/deferred/Executor.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>

/// What a context does in its own queue, as deferreds. All may be called on any thread; outcomes
/// arrive on the main thread. Cancelling a deferred whose work has not begun skips the work.
namespace JNFoundation::inline v0_1 {

/// The queue of a context, as an Executor. Takes: the context, until its last task has run.
class ContextExecutor {
 public:
  /// Takes: the context; not null.
  explicit ContextExecutor(Ref<NSManagedObjectContext> context) : _context(std::move(context)) {}
  /// Runs the task in the context's queue, later.
  void execute(Block<void()> task) { _context->performBlock(std::move(task)); }

 private:
  Ref<NSManagedObjectContext> _context;
};

/// Runs the function in the context's queue and gives its result on the main thread, as `runOn`
/// does; pending changes are processed after it. The result must be something that may leave the
/// queue: identifiers, dictionaries, numbers, not objects of a private context.
///
///     runIn(context, [context] { return markAllAsRead(context); })
///         .thenResolved([badge](int count) { badge->subtract(count); });
template <class Function>
auto runIn(const Ref<NSManagedObjectContext>& context, Function&& function,
           CreationPlace place = CreationPlace::here()) {
  return runOn(ContextExecutor(context), std::forward<Function>(function), place);
}

/// Executes the request in the context's queue. A context of the main queue gives what it found; in
/// the result of a private one every object is replaced by its permanent identifier, since objects
/// do not leave their queue (an object that has none yet, and gets none, is left out). Fails: is
/// rejected with the NSError of the fetch.
/// Takes: the request, which must not be changed until the outcome is there.
Deferred<Ref<NSArray>> fetchIn(const Ref<NSManagedObjectContext>& context,
                               const Ref<NSFetchRequest>& request,
                               CreationPlace place = CreationPlace::here());

/// Finds the objects in the queue of one context and gives them, in their order, as objects of
/// another one, which belongs to the main queue: only what was found holds up the main thread, to
/// be read in one statement. What the receiver has deleted, or the store has no longer, is left
/// out.
/// Fails: is rejected with the NSError of a fetch. Requires: a receiver of the main queue.
Deferred<Ref<NSArray>> fetchInto(const Ref<NSManagedObjectContext>& receiver,
                                 const Ref<NSManagedObjectContext>& context,
                                 const Ref<NSFetchRequest>& request,
                                 CreationPlace place = CreationPlace::here());

/// How many objects the request would find. Fails: is rejected with the NSError of the fetch.
Deferred<NSUInteger> countIn(const Ref<NSManagedObjectContext>& context,
                             const Ref<NSFetchRequest>& request,
                             CreationPlace place = CreationPlace::here());

/// Saves the context. Fails: is rejected with the NSError of the save; the changes stay pending.
Deferred<void> saveIn(const Ref<NSManagedObjectContext>& context,
                      CreationPlace place = CreationPlace::here());

}  // namespace JNFoundation
