// The arguments of one event: from the firing call into an array for the handler, and back.
#pragma once

#include <windows.h>
#include <oaidl.h>

namespace zsupport {

// The array that a handler gets: zero-based, in the order of the event's declaration, every
// argument dereferenced. A handler may resize or replace it.
class EventArguments {
 public:
  // The firing call's arguments must stay valid for the life of the object. They may be null.
  explicit EventArguments(DISPPARAMS* fired) noexcept;
  EventArguments(const EventArguments&) = delete;
  EventArguments& operator=(const EventArguments&) = delete;
  ~EventArguments();

  // As an event argument by reference; null only when there was no memory for it.
  SAFEARRAY** array() { return &array_; }

  // Takes what the handler left in the array into the by-reference arguments of the firing call.
  void writeBack() noexcept;

 private:
  VARIANT* element(LONG index) const;

  VARIANTARG* fired_ = nullptr;
  LONG count_ = 0;
  SAFEARRAY* array_ = nullptr;
};

// Stores value where target, a by-reference argument, points; does nothing for other targets. The
// type of a value is not held against the target's: numbers are copied byte for byte.
void pvCopyValue(VARIANTARG& target, VARIANT& value);

}  // namespace zsupport
