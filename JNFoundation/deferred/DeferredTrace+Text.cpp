#include <JNFoundation/deferred/DeferredTrace.h>
#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {
namespace {

using TraceEntry = DeferredTrace::Entry;

const char* nameOf(DeferredTrace::State state) {
  switch (state) {
    case DeferredTrace::State::Pending:
      return "pending";
    case DeferredTrace::State::Waiting:
      return "waiting";
    case DeferredTrace::State::Running:
      return "running";
    case DeferredTrace::State::Resolved:
      return "resolved";
    case DeferredTrace::State::Rejected:
      return "rejected";
    case DeferredTrace::State::Cancelled:
      return "cancelled";
    case DeferredTrace::State::Idle:
      return "idle";
  }
  return "";
}

std::string numberOf(const TraceEntry& entry) { return "#" + std::to_string(entry.number); }

/// With the quotation marks and line ends of the name kept from ending the string that it goes
/// into.
std::string escaped(const Ref<NSString>& text) {
  std::string escaped;
  for (const char character : text->toStdString()) {
    if (character == '"' || character == '\\') escaped += '\\';
    if (character == '\n') {
      escaped += "\\n";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

}  // namespace

Ref<NSString> DeferredTrace::text() const {
  std::string lines;
  for (const TraceEntry& entry : _entries) {
    lines += numberOf(entry) + " " + entry.className->toStdString();
    if (entry.label) lines += " “" + entry.label->toStdString() + "”";
    lines += std::string(" ") + nameOf(entry.state);
    const char* before = entry.state == State::Waiting ? " for #" : ", waits for #";
    for (const NSUInteger awaited : entry.waitsFor) {
      lines += before + std::to_string(awaited);
      before = ", #";
    }
    lines += NSString::stringWithFormat(", %.3f s", entry.age)->toStdString();
    if (entry.place) lines += ", " + impl::Watch::lineOf(entry.place);
    if (entry.isInCycle) lines += ", in a cycle";
    lines += "\n";
  }
  return lines;
}

Ref<NSString> DeferredTrace::dot() const {
  std::string graph = "digraph deferreds {\n  rankdir=LR;\n  node [shape=box];\n";
  for (const TraceEntry& entry : _entries) {
    const std::string node = "n" + std::to_string(entry.number);
    graph += "  " + node + " [label=\"" + numberOf(entry) + " " + escaped(entry.className);
    if (entry.label) graph += "\\n" + escaped(entry.label);
    graph += std::string("\\n") + nameOf(entry.state);
    if (entry.place) graph += "\\n" + escaped(impl::Watch::lineOf(entry.place));
    graph += entry.isInCycle ? "\", color=red];\n" : "\"];\n";
    for (const NSUInteger awaited : entry.waitsFor) {
      graph += "  " + node + " -> n" + std::to_string(awaited);
      graph += entry.isInCycle ? " [color=red];\n" : ";\n";
    }
  }
  return graph + "}\n";
}

Ref<NSString> DeferredTrace::json() const {
  Ref<NSMutableArray> list = NSMutableArray::array();
  const auto orNull = [](const Value& value) { return value ? value : Value(NSNull::null()); };
  for (const TraceEntry& entry : _entries) {
    Ref<NSMutableDictionary> object = NSMutableDictionary::dictionary();
    Ref<NSMutableArray> waitsFor = NSMutableArray::array();
    for (const NSUInteger awaited : entry.waitsFor) waitsFor->addObject(awaited);
    object->setObjectForKey(entry.number, "number");
    object->setObjectForKey(entry.className, "class");
    object->setObjectForKey(orNull(entry.label), "label");
    object->setObjectForKey(nameOf(entry.state), "state");
    object->setObjectForKey(entry.age, "age");
    object->setObjectForKey(orNull(entry.place ? Value(entry.place.file) : Value()), "file");
    object->setObjectForKey(orNull(entry.place ? Value(entry.place.line) : Value()), "line");
    object->setObjectForKey(waitsFor, "waitsFor");
    object->setObjectForKey(entry.isInCycle, "inCycle");
    list->addObject(object);
  }
  return NSJSONSerialization::stringWithJSONObjectOptionsError(list, NSJSONWritingPrettyPrinted,
                                                               nullptr);
}

}  // namespace JNFoundation
