// What an event is called.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "automation/com_ptr.h"
#include "automation/text.h"
#include "events/source_memory.h"

namespace zsupport {

// A name while it is out: one that is remembered with its class, or one of its own.
class EventName {
 public:
  EventName() = default;
  explicit EventName(Text own) : own_(std::move(own)) {}
  EventName(ComPtr<KnownClass> keeper, BSTR kept) : keeper_(std::move(keeper)), kept_(kept) {}

  BSTR get() const { return kept_ ? kept_ : own_.get(); }

 private:
  ComPtr<KnownClass> keeper_;
  BSTR kept_ = nullptr;
  Text own_;
};

// Name of an event of the item's interface sourceIID; a standard control event's name or the id
// in hexadecimal when type information does not tell.
EventName pvGetEventName(IDispatch* item, REFIID sourceIID, DISPID event, SourceMemory& memory);

}  // namespace zsupport
