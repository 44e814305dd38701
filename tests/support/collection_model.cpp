#include "support/collection_model.h"

#include <algorithm>

LONG CollectionModel::add(Record record, const std::wstring& key, const Place& place,
                          LONG connectionFailure) {
  const LONG p = insertionPoint(place);
  if (p < 0 || p > count()) return 5;
  // A place among the others is made before the item is connected, and stays when that fails: one
  // record is listed twice then, and the last one lives on without a listing.
  const bool amongOthers = p < count();
  if (amongOthers) listed.insert(listed.begin() + p, listed[static_cast<size_t>(p)]);
  const LONG failure = connectionFailure ? connectionFailure : find(key) ? 457 : 0;
  if (failure && amongOthers) listed.pop_back();
  if (failure) return failure;

  const auto held = std::make_shared<Record>(record);
  held->text = stored(key);
  if (!amongOthers) listed.emplace_back();
  listed[static_cast<size_t>(p)] = held;
  records.push_back(held);
  if (!key.empty()) keyed_.push_back(held);
  return 0;
}

LONG CollectionModel::insertionPoint(const Place& place) const {
  if (place.side == Place::kLast) return count();
  const bool isBefore = place.side == Place::kBefore;
  if (!place.key.empty()) {
    const LONG position = indexFromKey(place.key);
    return position == -1 ? -1 : position - isBefore;
  }
  const LONG p = place.position - isBefore;
  return p < count() ? p : -1;
}

LONG CollectionModel::removeAt(LONG position) {
  if (!isListed(position)) return 381;
  const Held record = listed[static_cast<size_t>(position - 1)];
  listed.erase(listed.begin() + position - 1);
  if (positionOf(record) != 0) return 0;  // it lives for its other listing
  record->alive = false;
  std::erase(records, record);
  std::erase(keyed_, record);
  return 0;
}

LONG CollectionModel::removeKey(const std::wstring& key) {
  const Held record = find(key);
  if (!record) return 5;
  record->text.clear();
  std::erase(keyed_, record);
  const LONG position = positionOf(record);
  if (position != 0) return removeAt(position);
  record->alive = false;
  std::erase(records, record);
  return 0;
}

// Takes the old key away and enters no new one.
LONG CollectionModel::putKey(LONG position, const std::wstring& key) {
  if (!isListed(position)) return 381;
  if (find(key)) return 457;
  std::erase(keyed_, listed[static_cast<size_t>(position - 1)]);
  return 0;
}

void CollectionModel::clear() {
  for (const Held& record : records) record->alive = false;
  listed.clear();
  records.clear();
  keyed_.clear();
}

CollectionModel::Held CollectionModel::find(const std::wstring& key) const {
  const auto found =
      std::ranges::find_if(keyed_, [&](const Held& record) { return record->text == stored(key); });
  return found == keyed_.end() ? nullptr : *found;
}

LONG CollectionModel::indexFromKey(const std::wstring& key) const {
  const Held record = find(key);
  if (!record) return -1;
  const LONG position = positionOf(record);
  return position == 0 ? count() + 1 : position;
}

LONG CollectionModel::positionOf(const Held& record) const {
  const auto found = std::ranges::find(listed, record);
  return found == listed.end() ? 0 : static_cast<LONG>(found - listed.begin()) + 1;
}

std::vector<CollectionModel::Held> CollectionModel::recordsOf(const void* item) const {
  std::vector<Held> found;
  std::ranges::copy_if(records, std::back_inserter(found),
                       [item](const Held& record) { return record->item == item; });
  return found;
}

std::wstring CollectionModel::stored(std::wstring key) const {
  if (ignoresCase) std::ranges::transform(key, key.begin(), towlower);
  return key;
}
