#include "events/event_arguments.h"

#include <oleauto.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "automation/com_ptr.h"
#include "automation/variant.h"
#include "events/procedure.h"

namespace zsupport {
namespace {

constexpr VARTYPE kLongArray = VT_ARRAY | VT_I4;
constexpr VARTYPE kTextArray = VT_ARRAY | VT_BSTR;
constexpr VARTYPE kTextVector = VT_VECTOR | VT_BSTR;

constexpr UINT kMostParameters = SHRT_MAX;  // of a member, as type information counts them
constexpr LONG kLastBit = 63;

void copyData(void* place, const VARIANT& value, size_t bytes) {
  std::memcpy(place, &V_UI1(&value), bytes);
}

// All but the type field, and to the very start of the place: deliberate.
void copyDecimal(void* place, const VARIANT& value) {
  std::memcpy(place, reinterpret_cast<const std::byte*>(&value) + sizeof(VARTYPE),
              sizeof(DECIMAL) - sizeof(VARTYPE));
}

void replaceText(BSTR* place, const VARIANT& value) {
  Text text = toText(value);
  // A text of its own even when it is empty.
  if (!text.get()) text = Text(std::wstring_view());
  std::swap(*place, *text.inout());
}

template <class Interface>
void replaceObject(Interface** place, ComPtr<Interface> object) {
  // The old object goes last: its Release may call back.
  const auto old = ComPtr<Interface>::attach(std::exchange(*place, object.detach()));
}

void replaceDispatch(IDispatch** place, const VARIANT& value) {
  replaceObject(place,
                ComPtr<IDispatch>(typeOf(value) == VT_DISPATCH ? V_DISPATCH(&value) : nullptr));
}

void replaceUnknown(IUnknown** place, const VARIANT& value) {
  const bool isObject = typeOf(value) == VT_DISPATCH || typeOf(value) == VT_UNKNOWN;
  replaceObject(place, ComPtr<IUnknown>::from(isObject ? V_UNKNOWN(&value) : nullptr));
}

// What cannot be copied, or freed, leaves the variable as it is.
void replaceVariant(VARIANT* place, const VARIANT& value) {
  Variant copy;
  checkPlatform(copyIndirect(copy.inout(), value));
  checkPlatform(VariantClear(place));
  std::swap(*place, *copy.inout());
}

// The handler's array moves to the firing object. The array that was there is not freed: whoever
// fired may hold it elsewhere.
void moveArray(VARIANTARG& target, VARIANT& value) {
  SAFEARRAY** const place = V_ARRAYREF(&target);
  if (!(typeOf(value) & VT_ARRAY) || (typeOf(value) & VT_BYREF)) return;
  if (static_cast<void*>(V_ARRAY(&value)) == static_cast<void*>(place)) return;
  VariantClear(&target);
  *place = std::exchange(V_ARRAY(&value), nullptr);
}

void moveVector(VARIANTARG& target, VARIANT& value) {
  void* const place = V_BYREF(&target);
  if (!(typeOf(value) & VT_VECTOR)) return;
  // VariantClear does not know vectors and would leave the type as it is.
  VariantInit(&target);
  copyData(place, value, 8);
  V_UI8(&value) = 0;
}

// Stores value where target, a by-reference argument, points; does nothing for other targets. The
// type of a value is not held against the target's: numbers are copied byte for byte.
void pvCopyValue(VARIANTARG& target, VARIANT& value) {
  framed(procedure(L"Sub pvCopyValue"), [&] {
    if (!(typeOf(target) & VT_BYREF) || !V_BYREF(&target)) return;
    void* const place = V_BYREF(&target);
    switch (typeOf(target) & ~VT_BYREF) {
      case VT_I1:
        return copyData(place, value, 1);
      case VT_I2:
      case VT_BOOL:
        return copyData(place, value, 2);
      case VT_I4:
      case VT_R4:
      case VT_ERROR:
        return copyData(place, value, 4);
      case VT_R8:
      case VT_CY:
      case VT_DATE:
        return copyData(place, value, 8);
      case VT_DECIMAL:
        return copyDecimal(place, value);
      case VT_BSTR:
        return replaceText(V_BSTRREF(&target), value);
      case VT_DISPATCH:
        return replaceDispatch(V_DISPATCHREF(&target), value);
      case VT_UNKNOWN:
        return replaceUnknown(V_UNKNOWNREF(&target), value);
      case VT_VARIANT:
        return replaceVariant(V_VARIANTREF(&target), value);
      case kLongArray:
      case kTextArray:
        return moveArray(target, value);
      case kTextVector:
        return moveVector(target, value);
      default:  // bytes among them: never written back
        return;
    }
  });
}

}  // namespace

void EventArguments::take(DISPPARAMS* fired) noexcept {
  if (fired && fired->rgvarg && fired->cArgs <= kMostParameters) {
    fired_ = fired->rgvarg;
    count_ = static_cast<LONG>(fired->cArgs);
  }
  // Not what the platform calls a vector: a handler could not resize that.
  SAFEARRAYBOUND bound = {static_cast<ULONG>(count_), 0};
  array_ = SafeArrayCreate(VT_VARIANT, 1, &bound);
  if (!array_) return;
  auto* const elements = static_cast<VARIANT*>(array_->pvData);
  for (LONG i = 0; i < count_; ++i) {
    // What only goes back cannot be read, and nothing of it can be lost.
    const bool isRead = SUCCEEDED(copyIndirect(&elements[count_ - 1 - i], fired_[i]));
    if (!isRead && typeOf(fired_[i]) != (VT_BYREF | kTextVector)) setUnread(i);
  }
}

void EventArguments::setUnread(LONG argument) { unread_ |= 1ull << std::min(argument, kLastBit); }

bool EventArguments::isUnread(LONG argument) const {
  return unread_ >> std::min(argument, kLastBit) & 1;
}

void EventArguments::giveBack() noexcept {
  if (SAFEARRAY* const array = std::exchange(array_, nullptr)) SafeArrayDestroy(array);
}

void EventArguments::writeBack() noexcept {
  for (LONG i = 0; i < count_; ++i) {
    VARIANT* const value = isUnread(i) ? nullptr : element(count_ - 1 - i);
    if (!value) continue;
    try {
      pvCopyValue(fired_[i], *value);
    } catch (...) {
      // Reported by its frame; the other arguments still go back.
    }
  }
}

VARIANT* EventArguments::element(LONG index) const {
  // The handler may have put any array, or none, in place of ours.
  VARTYPE type = VT_EMPTY;
  if (!array_ || SafeArrayGetDim(array_) != 1 || FAILED(SafeArrayGetVartype(array_, &type)) ||
      type != VT_VARIANT) {
    return nullptr;
  }
  void* found = nullptr;
  return SUCCEEDED(SafeArrayPtrOfIndex(array_, &index, &found)) ? static_cast<VARIANT*>(found)
                                                                : nullptr;
}

}  // namespace zsupport
