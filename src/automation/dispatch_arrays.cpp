#include "automation/dispatch_arrays.h"

#include <algorithm>

#include "automation/boundary.h"
#include "automation/foreign_unwind.h"

namespace zsupport {
namespace dispatch_detail {
namespace {

VARIANT elementAt(const ArrayLock& elements, VARTYPE type, size_t position) {
  VARIANT element;
  V_VT(&element) = static_cast<VARTYPE>(type | VT_BYREF);
  V_BYREF(&element) = elements.address(position);
  return element;
}

// Under its own number, which is what a failure to take arguments is told by.
void require(HRESULT result) {
  if (FAILED(result)) throw makeError(result);
}

// Converts to the type of the target's elements.
void storeElement(const VARIANT& target, const VARIANT& source, LCID locale) {
  VARIANT value;
  require(borrow(value, source));
  require(storeIn(target, value, locale));
}

// An array of the same bounds with converted elements.
SafeArray converted(SAFEARRAY& source, VARTYPE from, VARTYPE to, LCID locale) {
  ArrayLock elements(&source);
  auto result = SafeArray::make(to, {source.rgsabound, source.cDims});
  const ArrayLock copies(result.get());
  const auto convert = [&] {
    for (size_t i = 0; i < elements.size(); ++i) {
      storeElement(elementAt(copies, to, i), elementAt(elements, from, i), locale);
    }
  };
  passingExceptions(convert, [&] { elements.unlock(); });
  return result;
}

bool isSameText(const VARIANT& before, const VARIANT& after) {
  return typeOf(before) == (VT_BSTR | VT_BYREF) &&
         viewOf(*V_BSTRREF(&before)) == viewOf(*V_BSTRREF(&after));
}

// What a method changed in the copy, back into the array of VARIANT that it was made from.
void storeChanges(SAFEARRAY& target, SAFEARRAY& before, SAFEARRAY& copy, VARTYPE element,
                  LCID locale) {
  if (target.cDims == 1 && target.rgsabound[0].cElements < copy.rgsabound[0].cElements) {
    resize(target, copy.rgsabound[0]);
  }
  const ArrayLock places(&target), old(&before), fresh(&copy);
  for (size_t i = 0; i < std::min(places.size(), fresh.size()); ++i) {
    const VARIANT value = elementAt(fresh, element, i);
    if (i < old.size() && isSameText(elementAt(old, element, i), value)) continue;
    storeElement(elementAt(places, VT_VARIANT, i), value, locale);
  }
}

}  // namespace

HRESULT ArrayArgument::load(const VARIANT* argument, const Default*, LCID locale) {
  if (!argument) return DISP_E_PARAMNOTOPTIONAL;
  const VARIANT* const variable = variableOf(argument);
  if (!variable) return DISP_E_TYPEMISMATCH;
  const VARTYPE type = typeOf(*variable);
  if (type & VT_BYREF) {
    place_ = V_ARRAYREF(variable);
    if (!place_) return DISP_E_TYPEMISMATCH;
  } else if (variable != argument) {
    variable_ = const_cast<VARIANT*>(variable);
  }
  if ((type & ~VT_BYREF) == wanted()) return place_ || variable_ ? S_OK : loadValue(*variable);
  if (type & VT_ARRAY) return loadOther(*variable, locale);
  // An empty variable gets the array that the method makes.
  return type == VT_EMPTY && variable_ && use_ == Use::kChange ? S_OK : DISP_E_TYPEMISMATCH;
}

// The array in a mere value is the caller's: nothing may change it.
HRESULT ArrayArgument::loadValue(const VARIANT& value) {
  if (use_ == Use::kChange) return SafeArrayCopy(V_ARRAY(&value), own_.inout());
  place_ = &V_ARRAY(const_cast<VARIANT*>(&value));
  return S_OK;
}

HRESULT ArrayArgument::loadOther(const VARIANT& variable, LCID locale) {
  return atBoundary(IID_NULL, [&] {
    SAFEARRAY* const source = place_ ? *place_ : V_ARRAY(&variable);
    const auto from = source ? elementTypeOf(*source) : static_cast<VARTYPE>(VT_VARIANT);
    const bool isAlien = from == VT_EMPTY || from == VT_RECORD || element_ == VT_RECORD;
    const bool canTakeChanges = use_ == Use::kRead || from == VT_VARIANT;
    // A variable for an array that is not dimensioned yet may get one of another type.
    if (!source && variable_) return;
    if (isAlien || !canTakeChanges) throw makeError(DISP_E_TYPEMISMATCH);
    isConverted_ = true;
    if (!source) return;
    own_ = converted(*source, from, element_, locale);
    if (use_ == Use::kRead) return;
    require(SafeArrayCopy(own_.get(), before_.inout()));
    // What cannot grow must not seem to.
    if (!isResizable(*source)) own_.get()->fFeatures |= FADF_FIXEDSIZE;
  });
}

// Nothing runs between this and the method.
SAFEARRAY** ArrayArgument::pass() {
  if (isConverted_ || own_) return own_.inout();
  if (place_) return place_;
  return variable_ && typeOf(*variable_) == wanted() ? &V_ARRAY(variable_) : own_.inout();
}

// The caller's array from which the copy was made, or what is there by now.
SAFEARRAY* ArrayArgument::target() const {
  if (place_) return *place_;
  constexpr VARTYPE kScriptArray = VT_ARRAY | VT_VARIANT;
  return variable_ && typeOf(*variable_) == kScriptArray ? V_ARRAY(variable_) : nullptr;
}

HRESULT ArrayArgument::store(LCID locale) {
  if (use_ == Use::kRead || !own_) return S_OK;
  return atBoundary(IID_NULL, [&] {
    if (isConverted_) {
      SAFEARRAY* const changed = target();
      if (changed) storeChanges(*changed, *before_.get(), *own_.get(), element_, locale);
    } else if (variable_) {
      VariantClear(variable_);
      V_VT(variable_) = wanted();
      V_ARRAY(variable_) = own_.detach();
    }
  });
}

}  // namespace dispatch_detail
}  // namespace zsupport
