// What a collection must show, told as plainly as can be: a list, its keys, and who is held.
#pragma once

#include <windows.h>

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

  // These answer the number of the error, or 0.
  LONG add(Record record, const std::wstring& key, const Place& place, LONG connectionFailure);
  LONG removeAt(LONG position);
  LONG removeKey(const std::wstring& key);
  LONG putKey(LONG position, const std::wstring& key);
  void clear();

  LONG count() const { return static_cast<LONG>(listed.size()); }
  bool isListed(LONG position) const { return position >= 1 && position <= count(); }
  Held find(const std::wstring& key) const;
  LONG indexFromKey(const std::wstring& key) const;
  // The first one; 0 for a record that lives without being listed.
  LONG positionOf(const Held& record) const;
  // In the order in which they were added.
  std::vector<Held> recordsOf(const void* item) const;

  std::vector<Held> listed;
  std::vector<Held> records;
  bool ignoresCase = false;

 private:
  LONG insertionPoint(const Place& place) const;
  void unlist(LONG position);
  std::wstring stored(std::wstring key) const;

  std::vector<Held> keyed_;
};
