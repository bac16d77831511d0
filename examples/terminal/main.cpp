// terminal [FILE]: a list of things to do in the terminal, which follows its store: also what
// another context saves shows at once. Keys: a adds, space is done or not, d deletes, i imports a
// few in the background, the arrows move, q leaves.
#include <clocale>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <ncurses.h>
#include <string>
#include <thread>

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

using namespace JNFoundation;

namespace {

constexpr const char* modelText = R"(
<model>
  <entity name="Task">
    <attribute name="text" attributeType="String"/>
    <attribute name="isDone" attributeType="Boolean" defaultValueString="NO"/>
  </entity>
</model>)";

/// A thread of the application for what would hold up the main one.
class Worker {
 public:
  ~Worker() {
    execute(nullptr);
    _thread.join();
  }
  void execute(Block<void()> task) {
    const std::lock_guard guard(_mutex);
    _tasks.push_back(std::move(task));
    _wakes.notify_one();
  }

 private:
  void run() {
    while (true) {
      std::unique_lock lock(_mutex);
      _wakes.wait(lock, [this] { return !_tasks.empty(); });
      const Block<void()> task = std::move(_tasks.front());
      _tasks.pop_front();
      lock.unlock();
      if (!task) return;
      task();
    }
  }

  std::mutex _mutex;
  std::condition_variable _wakes;
  std::deque<Block<void()>> _tasks;
  std::thread _thread{[this] { run(); }};
};

Ref<NSManagedObject> insertTask(const Ref<NSManagedObjectContext>& context, const char* text) {
  auto task =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Task", context);
  task->setValueForKey(text, "text");
  return task;
}

/// The list on the screen. The delegate is all that it needs to stay true: the selection stays on
/// its object wherever that moves.
class TaskList : public Subclass<TaskList, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void show(const Ref<NSFetchedResultsController>& tasks) {
    _tasks = tasks;
    _tasks->setDelegate(Ref<NSFetchedResultsControllerDelegate>(this));
    Ref<NSError> error;
    if (!_tasks->performFetch(&error)) _message = error->localizedDescription()->toStdString();
    draw();
  }
  void close() { _tasks->setDelegate(nullptr); }

  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>&,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>&) override {
    ++_counts[type];
  }
  void controllerDidChangeContent(Controller) override {
    _message = "changes: " + std::to_string(_counts[NSFetchedResultsChangeInsert]) + " in, " +
               std::to_string(_counts[NSFetchedResultsChangeDelete]) + " out, " +
               std::to_string(_counts[NSFetchedResultsChangeMove]) + " moved, " +
               std::to_string(_counts[NSFetchedResultsChangeUpdate]) + " updated";
    std::fill(std::begin(_counts), std::end(_counts), 0);
    draw();
  }

  Ref<NSManagedObject> selected() const { return _selected; }

  void select(NSInteger step) {
    const Ref<NSArray> all = _tasks->fetchedObjects();
    if (all->count() == 0) return;
    const auto last = static_cast<NSInteger>(all->count()) - 1;
    const auto place = std::clamp<NSInteger>(row() + step, 0, last);
    _selected = as<NSManagedObject>(all->objectAtIndex(static_cast<NSUInteger>(place)));
    draw();
  }

  void draw() {
    erase();
    int line = 0;
    const Ref<NSArray> sections = _tasks->sections();
    for (const Value& entry : sections) {
      const auto* section = as<NSFetchedResultsSectionInfo>(entry);
      const bool isDone = section->name()->integerValue() != 0;
      mvprintw(line++, 0, "%s (%d)", isDone ? "Done" : "To do",
               static_cast<int>(section->numberOfObjects()));
      const Ref<NSArray> objects = section->objects();
      for (const Value& object : objects) {
        const auto* task = as<NSManagedObject>(object);
        if (task == _selected.get()) attron(A_REVERSE);
        mvprintw(line++, 0, " [%c] %s", isDone ? 'x' : ' ',
                 task->valueForKey("text").description()->UTF8String());
        attroff(A_REVERSE);
      }
    }
    mvprintw(LINES - 2, 0, "%s", _message.c_str());
    mvprintw(LINES - 1, 0, "a add  space done  d delete  i import  q leave");
    refresh();
  }

 private:
  NSInteger row() const {
    const NSUInteger found = _tasks->fetchedObjects()->indexOfObjectIdenticalTo(_selected);
    return found == static_cast<NSUInteger>(NSNotFound) ? -1 : static_cast<NSInteger>(found);
  }

  Ref<NSFetchedResultsController> _tasks;
  Ref<NSManagedObject> _selected;
  int _counts[5] = {};
  std::string _message;
};

std::string askForText() {
  char text[200] = "";
  timeout(-1);
  echo();
  mvprintw(LINES - 2, 0, "new: ");
  clrtoeol();
  getnstr(text, sizeof text - 1);
  noecho();
  timeout(0);
  return text;
}

Ref<NSPersistentStoreCoordinator> openStore(const char* file) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(
      NSManagedObjectModel::modelWithXMLError(modelText));
  Ref<NSError> error;
  const auto store = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      file ? NSSQLiteStoreType : NSInMemoryStoreType, nullptr,
      file ? NSURL::fileURLWithPath(file) : nullptr, nullptr, &error);
  if (store) return coordinator;
  std::fprintf(stderr, "%s\n", error->localizedDescription()->UTF8String());
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  std::setlocale(LC_ALL, "");
  const auto coordinator = openStore(count > 1 ? arguments[1] : nullptr);
  if (!coordinator) return 1;
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  context->setAutomaticallyMergesChangesFromParent(true);
  Worker worker;
  const auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType,
      [&worker](Block<void()> task) { worker.execute(std::move(task)); });
  background->setPersistentStoreCoordinator(coordinator);

  const auto request = NSFetchRequest::fetchRequestWithEntityName("Task");
  request->setSortDescriptors(
      NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("isDone", true),
                                NSSortDescriptor::sortDescriptorWithKeyAscending("text", true)));
  const auto tasks = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(request, context,
                                                                          "isDone", nullptr);

  initscr();
  cbreak();
  noecho();
  keypad(stdscr, TRUE);
  curs_set(0);
  timeout(0);
  const auto list = makeObject<TaskList>();
  list->show(tasks);

  const auto loop = NSRunLoop::currentRunLoop();
  for (int key = ERR; key != 'q'; key = getch()) {
    const Ref<NSManagedObject> selected = list->selected();
    if (key == KEY_UP || key == KEY_DOWN) {
      list->select(key == KEY_UP ? -1 : 1);
    } else if (key == 'a') {
      const std::string text = askForText();
      if (!text.empty()) insertTask(context, text.c_str());
    } else if (key == ' ' && selected && !selected->isDeleted()) {
      selected->setValueForKey(!selected->valueForKey("isDone").boolValue(), "isDone");
    } else if (key == 'd' && selected) {
      list->select(1);
      context->deleteObject(selected);
    } else if (key == 'i') {
      background->performBlock([background] {
        for (const char* text : {"read the feed", "reply to Ann", "buy bread"}) {
          insertTask(background, text);
        }
        background->save(nullptr);
      });
    }
    if (context->hasChanges()) context->save(nullptr);
    // What the store has to tell comes here; keys are looked for twenty times a second.
    loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(0.05));
  }
  list->close();
  endwin();
  return 0;
}
