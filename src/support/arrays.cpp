// GZSupport: arrays as texts, parallel arrays that grow, and what an array's descriptor says.
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "ZSupport_records.h"
#include "automation/error.h"
#include "automation/foreign_unwind.h"
#include "automation/number_text.h"
#include "automation/runtime_rules.h"
#include "automation/safe_array.h"
#include "automation/type_library.h"
#include "automation/variant.h"
#include "support/gzsupport.h"
#include "support/member.h"

namespace zsupport {
namespace {

// As many texts as the first stored dimension has elements. Each is moved, not copied, from where
// it was converted.
SafeArray textsOf(SAFEARRAY* values) {
  ArrayElements<VARIANT> source(values);
  const ULONG count = values && values->cDims > 0 ? values->rgsabound[0].cElements : 0;
  if (count > source.size()) throw makeError(runtime::kSubscriptOutOfRange);
  SafeArray result = SafeArray::vector(VT_BSTR, count);
  const ArrayElements<BSTR> texts(result.get());
  const auto convert = [&] {
    for (ULONG i = 0; i < count; ++i) {
      Variant holder, text;
      const bool isReference = typeOf(source[i]) & VT_BYREF;
      if (isReference && FAILED(copyIndirect(holder.inout(), source[i]))) continue;
      changeType(text.inout(), isReference ? holder.get() : source[i], LOCALE_NEUTRAL, VT_BSTR);
      if (typeOf(text.get()) == VT_BSTR) std::swap(texts[i], V_BSTR(text.inout()));
    }
  };
  passingExceptions(convert, [&] { source.unlock(); });
  return result;
}

SafeArray textsFromZero(SAFEARRAY* values) {
  VectorElements<VARIANT> source(values);
  if (source.upper() < 0) return {};
  source.at(0);  // before there is memory for as many as the index says
  SafeArray result = SafeArray::vector(VT_BSTR, static_cast<ULONG>(source.upper()) + 1);
  const ArrayElements<BSTR> texts(result.get());
  const auto convert = [&] {
    for (LONG i = 0; i <= source.upper(); ++i) {
      texts[static_cast<size_t>(i)] = toValueText(source.at(i)).detach();
    }
  };
  passingExceptions(convert, [&] { source.unlock(); });
  return result;
}

std::wstring joined(SAFEARRAY* numbers, std::wstring_view delimiter) {
  const VectorElements<LONG> source(numbers);
  std::wstring text;
  for (size_t i = 0; i < source.size(); ++i) {
    if (i > 0) text += delimiter;
    text += decimalText(source[i]);
  }
  return text;
}

// The slot for a new pair: the first one while its name is empty, then one behind the last.
LONG slotFor(SAFEARRAY* names) {
  const VectorElements<BSTR> elements(names);
  return viewOf(elements.at(0)).empty() ? 0 : addChecked(elements.upper(), 1);
}

void requireResizable(const SAFEARRAY& array) {
  if (!isResizable(array)) throw makeError(runtime::kArrayLocked);
  if (array.rgsabound[0].lLbound != 0) throw makeError(runtime::kSubscriptOutOfRange);
}

// Both or neither. Values that the arrays have no room for any more go to surplus.
void resizeBoth(SAFEARRAY& names, SAFEARRAY& values, LONG upper, SafeArray& surplus) {
  requireResizable(names);
  requireResizable(values);
  SAFEARRAYBOUND before = names.rgsabound[0];
  SAFEARRAYBOUND after = {static_cast<ULONG>(upper) + 1, 0};
  const ULONG count = values.rgsabound[0].cElements;
  if (count > after.cElements) surplus = SafeArray::vector(VT_VARIANT, count - after.cElements);
  resize(names, after);
  const auto swapSurplus = [&] {
    const ArrayElements<VARIANT> inside(&values), outside(surplus.get());
    for (size_t i = 0; i < outside.size(); ++i) {
      std::swap(outside[i], inside[after.cElements + i]);
    }
  };
  swapSurplus();
  try {
    resize(values, after);
  } catch (...) {
    swapSurplus();
    SafeArrayRedim(&names, &before);
    throw;
  }
}

void addPair(SAFEARRAY* names, SAFEARRAY* values, std::wstring_view name, const VARIANT& value) {
  // Copying and letting go run foreign code: the one while the arrays are locked, the other last.
  Text newName(name);
  Variant newValue;
  SafeArray surplus;
  LONG slot;
  {
    const VectorElements<VARIANT> valueElements(values);
    slot = slotFor(names);
    valueElements.at(0);
    const ArrayLock held(names);
    copyDereferenced(newValue, value);
  }
  if (slot > 0) resizeBoth(*names, *values, slot, surplus);
  const VectorElements<BSTR> nameElements(names);
  const VectorElements<VARIANT> valueElements(values);
  BSTR& nameSlot = nameElements.at(slot);
  VARIANT& valueSlot = valueElements.at(slot);
  std::swap(nameSlot, *newName.inout());
  std::swap(valueSlot, *newValue.inout());
}

// From an address that a caller gives; error 5 when nothing can be read there.
void readAt(ULONG_PTR address, void* content, size_t size) {
  SIZE_T read = 0;
  if (!ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), content, size,
                         &read) ||
      read != size) {
    throw makeError(runtime::kInvalidCall);
  }
}

// Of the array whose variable is at the address; 0 when it is not dimensioned.
ULONG_PTR descriptorAt(LONG variable) {
  ULONG_PTR descriptor = 0;
  readAt(static_cast<ULONG_PTR>(variable), &descriptor, sizeof descriptor);
  return descriptor;
}

template <class Record>
HRESULT returnDescriptor(LONG variable, Record* record) {
  return atBoundary(__uuidof(_GZSupport), {record}, [&] {
    *record = {};
    if (const ULONG_PTR descriptor = descriptorAt(variable)) {
      readAt(descriptor, record, sizeof *record);
    }
  });
}

constexpr size_t kBoundsOffset = sizeof(ArrayHeader);
static_assert(sizeof(ArrayHeader) == offsetof(SAFEARRAY, rgsabound));
static_assert(sizeof(ArrayHeader1D) == sizeof(SAFEARRAY));

// In the order of storage.
std::vector<SAFEARRAYBOUND> boundsAt(LONG variable) {
  std::vector<SAFEARRAYBOUND> bounds;
  const ULONG_PTR descriptor = descriptorAt(variable);
  if (!descriptor) return bounds;
  USHORT dimensions = 0;
  readAt(descriptor, &dimensions, sizeof dimensions);
  if (dimensions > SHRT_MAX) throw makeError(runtime::kOverflow);
  bounds.resize(dimensions);
  readAt(descriptor + kBoundsOffset, bounds.data(), dimensions * sizeof(SAFEARRAYBOUND));
  return bounds;
}

SafeArray toArray(const std::vector<SAFEARRAYBOUND>& bounds) {
  if (bounds.empty()) return {};
  const auto info = recordInfoOf(RecordId<SAFEARRAYBOUND>::kId);
  SAFEARRAYBOUND size = {static_cast<ULONG>(bounds.size()), 0};
  auto result = SafeArray::attach(SafeArrayCreateEx(VT_RECORD, 1, &size, info.get()));
  std::memcpy(ArrayLock(result.get()).address(0), bounds.data(),
              bounds.size() * sizeof(SAFEARRAYBOUND));
  return result;
}

// Puts an array in the place of another one of records.
void replace(SAFEARRAY*& place, SafeArray array) {
  if (place) {
    if (elementTypeOf(*place) != VT_RECORD || place->cbElements != sizeof(SAFEARRAYBOUND)) {
      throw makeError(runtime::kTypeMismatch);
    }
    if (!isResizable(*place)) throw makeError(runtime::kArrayLocked);
    checkPlatform(SafeArrayDestroy(place));
  }
  place = array.detach();
}

}  // namespace

HRESULT GZSupportObject::StringArray(SAFEARRAY** values, SAFEARRAY** texts) {
  return atBoundary(__uuidof(_GZSupport), {values, texts}, [&] {
    *texts = nullptr;
    *texts = textsOf(*values).detach();
  });
}

HRESULT GZSupportObject::StringArray2(SAFEARRAY** values, SAFEARRAY** texts) {
  return kSupport.give(L"Function StringArray2", {values}, texts,
                       [&] { return textsFromZero(*values); });
}

HRESULT GZSupportObject::JoinLongs(SAFEARRAY** numbers, BSTR* delimiter, BSTR* text) {
  return kSupport.give(L"Function JoinLongs", {numbers, delimiter}, text,
                       [&] { return joined(*numbers, viewOf(*delimiter)); });
}

HRESULT GZSupportObject::AddSVParameter(SAFEARRAY** names, SAFEARRAY** values, BSTR* name,
                                        VARIANT* value) {
  return kSupport.run(L"Sub AddSVParameter", {names, values, name, value},
                      [&] { addPair(*names, *values, viewOf(*name), *value); });
}

HRESULT GZSupportObject::ArrayDescriptor(LONG address, ArrayHeader* descriptor) {
  return returnDescriptor(address, descriptor);
}

HRESULT GZSupportObject::ArrayDescriptor1D(LONG address, ArrayHeader1D* descriptor) {
  return returnDescriptor(address, descriptor);
}

HRESULT GZSupportObject::ArrayBounds(LONG address, SAFEARRAY** bounds, SHORT* dimensions) {
  return atBoundary(__uuidof(_GZSupport), {bounds, dimensions}, [&] {
    *dimensions = 0;
    const auto found = boundsAt(address);
    replace(*bounds, toArray(found));
    *dimensions = static_cast<SHORT>(found.size());
  });
}

}  // namespace zsupport
