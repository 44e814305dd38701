// The arguments of one event: from the firing call into an array for the handler, and back.
#pragma once

#include <windows.h>
#include <oaidl.h>

namespace zsupport {

// The array that a handler gets: zero-based, in the order of the event's declaration, every
// argument dereferenced. A handler may resize or replace it.
class EventArguments {
 public:
  // Nothing is read before take.
  EventArguments() = default;
  EventArguments(const EventArguments&) = delete;
  EventArguments& operator=(const EventArguments&) = delete;
  ~EventArguments() { giveBack(); }

  // The firing call's arguments must stay valid as long as they are used here. They may be null,
  // and a number that no event can have counts as none.
  void take(DISPPARAMS* fired) noexcept;

  // As an event argument by reference; null only when there was no memory for it.
  SAFEARRAY** array() { return &array_; }

  // Takes what the handler left in the array into the by-reference arguments of the firing call
  // that could be read.
  void writeBack() noexcept;

  // Lets go of the array.
  void giveBack() noexcept;

 private:
  VARIANT* element(LONG index) const;
  void setUnread(LONG argument);
  bool isUnread(LONG argument) const;

  VARIANTARG* fired_ = nullptr;
  LONG count_ = 0;
  ULONGLONG unread_ = 0;  // by argument; the last bit stands for all from there on
  SAFEARRAY* array_ = nullptr;
};

}  // namespace zsupport
