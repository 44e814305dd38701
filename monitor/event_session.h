// Objects in a Zollection, and what becomes of them: every event is a row.
#pragma once

#include <ocidl.h>

#include <functional>
#include <string>
#include <vector>

#include "com.h"
#include "library.h"
#include "row.h"

namespace monitor {

enum EventCell { kEventTime, kPosition, kEventSource, kEvent, kArguments, kEventClass };

struct WatchedItem {
  std::wstring name;  // of its class, or the one it was found by
  std::wstring key;   // may be empty
  size_t events = 0;
};

// A source interface that an object enumerates.
struct SourceInterface {
  std::wstring id;    // in braces
  std::wstring name;  // may be empty
};

class EventSession {
 public:
  // show: a row, on the thread of this object, in the midst of the event that it tells of.
  explicit EventSession(std::function<void(Row)> show);
  EventSession(const EventSession&) = delete;
  EventSession& operator=(const EventSession&) = delete;
  ~EventSession();

  // The items, in the collection's order: position 1 is the first.
  const std::vector<WatchedItem>& items() const { return items_; }

  void setIds(bool ids);

  // Makes a new object, or takes a running one, and listens to it: to the interface with the id, to
  // its default one when that is empty, to none with kNoInterface. An object that could not be
  // heard is kept, so that another interface of it can be tried by the same call. Throws a Failure.
  void watch(const std::wstring& name, bool isRunning, const std::wstring& key,
             const std::wstring& interfaceId);
  static const wchar_t kNoInterface[];

  // Whether the last object could not be heard, and what it offers instead.
  bool wasRefused() const { return refused_ != nullptr; }
  const std::vector<SourceInterface>& alternatives() const { return alternatives_; }

  // Positions count from 1. Throw a Failure; an item that does not let go has left all the same.
  void remove(size_t position);
  void clear();

  // Of the item at a position. The answer is what the member returned, in words.
  enum class Access { kGet, kSet, kCall };
  std::wstring use(size_t position, Access access, const std::wstring& member,
                   const std::wstring& arguments);

 private:
  class Handler;

  void raised(LONG position, IDispatch* source, const VARIANT& event, SAFEARRAY* arguments);
  void failed(IDispatch* source, LONG reason);
  void add(const Ptr<IDispatch>& object, bool isRunning, const std::wstring& name,
           const std::wstring& key, const std::wstring& interfaceId);
  void note(Kind kind, const std::wstring& position, const std::wstring& source,
            const std::wstring& event, const std::wstring& text);

  const std::function<void(Row)> show_;
  const Ptr<_Zollection> collection_;
  Ptr<IConnectionPoint> events_;
  Ptr<IDispatch> handler_;
  DWORD cookie_ = 0;
  std::vector<WatchedItem> items_;
  Ptr<IDispatch> refused_;  // could not be heard
  std::wstring refusedName_;
  bool wasRunning_ = false;
  std::wstring refusal_;
  std::vector<SourceInterface> alternatives_;
};

// A new object of a class, or a running one, which may also be named as it is registered in the
// table of running objects. Throw a Failure that says why not.
Ptr<IDispatch> createObject(const std::wstring& className);
Ptr<IDispatch> runningObject(const std::wstring& name);

}  // namespace monitor
