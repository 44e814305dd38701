// What a collection must show, told as plainly as can be: a list, its keys, and who is held.
#pragma once

#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

class CollectionModel {
 public:
  struct Record {
    const void* item;
    bool connected;
    std::wstring text = {};  // what Key shows; stays when a put of Key has taken the key away
    bool alive = true;
  };
  using Held = std::shared_ptr<Record>;

  // Behind the last, or at a position, or at the item of a key when that is not empty.
  struct Place {
    enum Side { kLast, kBefore, kAfter } side = kLast;
    LONG position = 0;
    std::wstring key = {};
  };

  // The number of the error, or 0; so do the others that change something.
  LONG add(Record record, const std::wstring& key, const Place& place, LONG connectionFailure) {
    const LONG p = insertionPoint(place);
    if (p < 0 || p > count()) return 5;
    // A place among the others is made before the item is connected, and stays when that fails:
    // one record is listed twice then, and the last one lives on without a listing.
    const bool amongOthers = p < count();
    if (amongOthers) listed.insert(listed.begin() + p, listed[static_cast<size_t>(p)]);
    const LONG failure = connectionFailure ? connectionFailure : find(key) ? 457 : 0;
    if (failure && amongOthers) listed.pop_back();
    if (failure) return failure;

    record.text = stored(key);
    const auto held = std::make_shared<Record>(record);
    if (!amongOthers) listed.emplace_back();
    listed[static_cast<size_t>(p)] = held;
    records.push_back(held);
    if (!key.empty()) keyed_.push_back(held);
    return 0;
  }
  LONG removeAt(LONG position) {
    if (!isListed(position)) return 381;
    const Held record = listed[static_cast<size_t>(position - 1)];
    listed.erase(listed.begin() + position - 1);
    if (positionOf(record) == 0) end(record);  // else it lives for its other listing
    return 0;
  }
  LONG removeKey(const std::wstring& key) {
    const Held record = find(key);
    if (!record) return 5;
    record->text.clear();
    std::erase(keyed_, record);
    const LONG position = positionOf(record);
    if (position != 0) return removeAt(position);
    end(record);
    return 0;
  }
  // Takes the old key away and enters no new one.
  LONG putKey(LONG position, const std::wstring& key) {
    if (!isListed(position)) return 381;
    if (find(key)) return 457;
    std::erase(keyed_, listed[static_cast<size_t>(position - 1)]);
    return 0;
  }
  void clear() {
    for (const Held& record : records) record->alive = false;
    listed.clear();
    records.clear();
    keyed_.clear();
  }

  LONG count() const { return static_cast<LONG>(listed.size()); }
  bool isListed(LONG position) const { return position >= 1 && position <= count(); }
  Held find(const std::wstring& key) const {
    const auto found =
        std::ranges::find(keyed_, stored(key), [](const Held& r) { return r->text; });
    return found == keyed_.end() ? nullptr : *found;
  }
  LONG indexFromKey(const std::wstring& key) const {
    const Held record = find(key);
    if (!record) return -1;
    const LONG position = positionOf(record);
    return position == 0 ? count() + 1 : position;
  }
  // The first one; 0 for a record that lives without being listed.
  LONG positionOf(const Held& record) const {
    const auto found = std::ranges::find(listed, record);
    return found == listed.end() ? 0 : static_cast<LONG>(found - listed.begin()) + 1;
  }
  // In the order in which they were added.
  std::vector<Held> recordsOf(const void* item) const {
    std::vector<Held> found = records;
    std::erase_if(found, [item](const Held& record) { return record->item != item; });
    return found;
  }

  std::vector<Held> listed;
  std::vector<Held> records;
  bool ignoresCase = false;

 private:
  LONG insertionPoint(const Place& place) const {
    if (place.side == Place::kLast) return count();
    const bool isBefore = place.side == Place::kBefore;
    const LONG position = place.key.empty() ? place.position : indexFromKey(place.key);
    if (!place.key.empty()) return position == -1 ? -1 : position - isBefore;
    return position - isBefore < count() ? position - isBefore : -1;
  }
  void end(const Held& record) {
    record->alive = false;
    std::erase(records, record);
    std::erase(keyed_, record);
  }
  std::wstring stored(std::wstring key) const {
    if (ignoresCase) std::ranges::transform(key, key.begin(), towlower);
    return key;
  }

  std::vector<Held> keyed_;
};
