#include "events/event_name.h"

#include <utility>

#include "events/procedure.h"
#include "events/type_information.h"

namespace zsupport {
namespace {

struct StandardEvent {
  DISPID id;
  const wchar_t* name;
};

// -601, the double click, is left out on purpose.
constexpr StandardEvent kStandardEvents[] = {
    {-600, L"Click"},     {-602, L"KeyDown"},   {-603, L"KeyPress"}, {-604, L"KeyUp"},
    {-605, L"MouseDown"}, {-606, L"MouseMove"}, {-607, L"MouseUp"},
};

Text toldName(ITypeInfo* info, REFIID sourceIID, DISPID event) {
  const auto source = describedBeside(info, sourceIID);
  Text name;
  UINT count = 0;
  if (!source || FAILED(source->GetNames(event, name.inout(), 1, &count))) return {};
  return name;
}

Text untoldName(DISPID event) {
  for (const auto& [id, name] : kStandardEvents) {
    if (id == event) return Text(name);
  }
  wchar_t digits[9];
  const int length = wsprintfW(digits, L"%X", static_cast<UINT>(event));
  return Text({digits, static_cast<size_t>(length)});
}

}  // namespace

EventName pvGetEventName(IDispatch* item, REFIID sourceIID, DISPID event, SourceMemory& memory) {
  return framed(procedure(L"Function pvGetEventName"), [&] {
    const auto info = typeInfoOfItem(item);
    auto known = info ? memory.classOf(info.get()) : ComPtr<KnownClass>();
    if (const BSTR kept = known ? known->nameOf(sourceIID, event) : nullptr) {
      return EventName(std::move(known), kept);
    }
    Text told = toldName(info.get(), sourceIID, event);
    if (told.view().empty()) return EventName(untoldName(event));
    const BSTR kept = known ? known->rememberName(sourceIID, event, told.view()) : nullptr;
    return kept ? EventName(std::move(known), kept) : EventName(std::move(told));
  });
}

}  // namespace zsupport
