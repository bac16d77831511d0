#include "FetchedRows.h"

#include <limits>

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

void FetchedRows::load(const NSFetchedResultsController& controller) {
  clear();
  const Ref<NSArray> sections = controller.sections();
  if (!sections) return;
  for (const Value& each : sections) {
    const auto* info = as<NSFetchedResultsSectionInfo>(each);
    FetchedRowSection& section = insertSection(sectionCount(), info->name());
    const Ref<NSArray> objects = info->objects();
    for (const Value& object : objects) {
      auto row = std::make_unique<FetchedRow>();
      row->object = Ref<NSManagedObject>(as<NSManagedObject>(object));
      row->section = &section;
      section.rows.insert(section.rows.size(), std::move(row));
    }
    Sections::setWeight(section, section.rows.size());
  }
  if (rowCount() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    fatalError("A model of Qt cannot number that many rows");
  }
}

void FetchedRows::clear() {
  _sectionsByIdentifier.clear();
  _sections.clear();
}

FetchedRowSection* FetchedRows::sectionOf(quintptr identifier) const {
  const auto found = _sectionsByIdentifier.find(identifier);
  return found == _sectionsByIdentifier.end() ? nullptr : found->second;
}

FetchedRow* FetchedRows::rowAt(std::size_t section, std::size_t item) const noexcept {
  const FetchedRowSection* const found = _sections.at(section);
  return found ? found->rows.at(item) : nullptr;
}

FetchedRow* FetchedRows::rowAt(std::size_t number) const noexcept {
  const FetchedRowSection* const section = _sections.atWeight(number);
  return section ? section->rows.at(number - rowsBefore(*section)) : nullptr;
}

FetchedRowSection& FetchedRows::insertSection(std::size_t number, const Ref<NSString>& name) {
  auto section = std::make_unique<FetchedRowSection>();
  section->name = name;
  section->identifier = ++_lastIdentifier;
  Sections::setWeight(*section, 0);
  FetchedRowSection& inserted = _sections.insert(number, std::move(section));
  _sectionsByIdentifier.emplace(inserted.identifier, &inserted);
  return inserted;
}

void FetchedRows::removeSection(FetchedRowSection& section) {
  _sectionsByIdentifier.erase(section.identifier);
  _sections.remove(section);
}

void FetchedRows::insertRow(FetchedRowSection& section, std::size_t item,
                            const Ref<NSManagedObject>& object) {
  auto row = std::make_unique<FetchedRow>();
  row->object = object;
  add(section, item, std::move(row));
}

void FetchedRows::removeRow(FetchedRow& row) { take(row); }

void FetchedRows::moveRow(FetchedRow& row, FetchedRowSection& section, std::size_t item) {
  if (row.section == &section && Rows::rank(row) < item) --item;
  add(section, item, take(row));
}

void FetchedRows::add(FetchedRowSection& section, std::size_t item,
                      std::unique_ptr<FetchedRow> row) {
  row->section = &section;
  section.rows.insert(item, std::move(row));
  Sections::setWeight(section, section.rows.size());
}

std::unique_ptr<FetchedRow> FetchedRows::take(FetchedRow& row) {
  FetchedRowSection& section = *row.section;
  std::unique_ptr<FetchedRow> taken = section.rows.remove(row);
  Sections::setWeight(section, section.rows.size());
  return taken;
}

}  // namespace JNFoundation
