#include "automation/dispatch_arrays.h"

#include <algorithm>
#include <new>
#include <vector>

#include "automation/boundary.h"

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
  const ArrayLock elements(&source);
  std::vector<SAFEARRAYBOUND> bounds(source.rgsabound, source.rgsabound + source.cDims);
  std::reverse(bounds.begin(), bounds.end());  // stored last dimension first
  auto result = SafeArray::attach(SafeArrayCreate(to, source.cDims, bounds.data()));
  const ArrayLock copies(result.get());
  for (size_t i = 0; i < elements.size(); ++i) {
    storeElement(elementAt(copies, to, i), elementAt(elements, from, i), locale);
  }
  return result;
}

bool isUnchanged(const VARIANT& before, const VARIANT& after) {
  return typeOf(before) == (VT_BSTR | VT_BYREF) &&
         viewOf(*V_BSTRREF(&before)) == viewOf(*V_BSTRREF(&after));
}

// What a method changed in the converted array, back into the array that it was made from.
void storeChanges(SAFEARRAY& target, SAFEARRAY& before, SAFEARRAY& after, VARTYPE element,
                  LCID locale) {
  if (after.cDims == 1 && after.rgsabound[0].cElements != target.rgsabound[0].cElements) {
    require(SafeArrayRedim(&target, &after.rgsabound[0]));
  }
  const VARTYPE own = elementTypeOf(target);
  const ArrayLock places(&target), old(&before), fresh(&after);
  for (size_t i = 0; i < std::min(places.size(), fresh.size()); ++i) {
    const VARIANT value = elementAt(fresh, element, i);
    if (i < old.size() && isUnchanged(elementAt(old, element, i), value)) continue;
    storeElement(elementAt(places, own, i), value, locale);
  }
}

}  // namespace

ArrayArgument::~ArrayArgument() { putBack(); }

HRESULT ArrayArgument::load(const VARIANT* argument, const Default*, LCID locale) {
  if (!argument) return DISP_E_PARAMNOTOPTIONAL;
  const VARIANT* const variable = variableOf(argument);
  if (!variable) return DISP_E_TYPEMISMATCH;
  const VARTYPE type = typeOf(*variable);
  const bool isInVariable = variable != argument;
  if ((type & VT_BYREF) && !V_BYREF(variable)) return DISP_E_TYPEMISMATCH;
  if (type == (wanted() | VT_BYREF)) {
    place_ = V_ARRAYREF(variable);
    return S_OK;
  }
  if (type == wanted()) return loadOwn(*variable, isInVariable);
  if (type & VT_ARRAY) return loadOther(*variable, isInVariable, locale);
  // An empty variable gets the array that the method makes.
  if (type != VT_EMPTY || !isInVariable || use_ != ArrayUse::kChange) return DISP_E_TYPEMISMATCH;
  variable_ = const_cast<VARIANT*>(variable);
  return S_OK;
}

HRESULT ArrayArgument::loadOwn(const VARIANT& variable, bool isInVariable) {
  if (!isInVariable) {
    if (use_ == ArrayUse::kChange) return SafeArrayCopy(V_ARRAY(&variable), own_.inout());
    place_ = &V_ARRAY(const_cast<VARIANT*>(&variable));
  } else if (use_ == ArrayUse::kChange) {
    take(variable);
  } else {
    variable_ = const_cast<VARIANT*>(&variable);
  }
  return S_OK;
}

HRESULT ArrayArgument::loadOther(const VARIANT& variable, bool isInVariable, LCID locale) {
  return atBoundary(IID_NULL, [&] {
    const bool isReference = typeOf(variable) & VT_BYREF;
    SAFEARRAY* const source = isReference ? *V_ARRAYREF(&variable) : V_ARRAY(&variable);
    if (!source) return;
    const VARTYPE from = elementTypeOf(*source);
    if (from == VT_EMPTY || from == VT_RECORD || element_ == VT_RECORD) {
      throw makeError(DISP_E_TYPEMISMATCH);
    }
    own_ = converted(*source, from, element_, locale);
    if (use_ == ArrayUse::kRead) return;
    require(SafeArrayCopy(own_.get(), before_.inout()));
    // What cannot grow must not seem to.
    if (!isResizable(*source)) own_.get()->fFeatures |= FADF_FIXEDSIZE;
    if (isReference) {
      place_ = V_ARRAYREF(&variable);
    } else if (isInVariable) {
      take(variable);
    }
  });
}

void ArrayArgument::take(const VARIANT& variable) {
  variable_ = const_cast<VARIANT*>(&variable);
  takenType_ = typeOf(variable);
  *taken_.inout() = V_ARRAY(&variable);
  V_VT(variable_) = VT_EMPTY;
}

void ArrayArgument::putBack() {
  if (takenType_ == VT_EMPTY) return;
  VariantClear(variable_);
  V_VT(variable_) = std::exchange(takenType_, static_cast<VARTYPE>(VT_EMPTY));
  V_ARRAY(variable_) = taken_.detach();
}

// Nothing runs between this and the method, which locks what it reads.
SAFEARRAY** ArrayArgument::pass() {
  if (own_) return own_.inout();
  if (place_) return place_;
  if (takenType_ == wanted()) return taken_.inout();
  if (variable_ && typeOf(*variable_) == wanted()) return &V_ARRAY(variable_);
  return own_.inout();
}

HRESULT ArrayArgument::store(LCID locale) {
  if (use_ == ArrayUse::kRead) return S_OK;
  return atBoundary(IID_NULL, [&] {
    if (before_ && own_) {
      own_.get()->fFeatures &= static_cast<USHORT>(~FADF_FIXEDSIZE);
      SAFEARRAY* const target = place_ ? *place_ : taken_.get();
      if (target) storeChanges(*target, *before_.get(), *own_.get(), element_, locale);
    } else if (own_ && variable_) {
      VariantClear(variable_);
      V_VT(variable_) = wanted();
      V_ARRAY(variable_) = own_.detach();
    }
    putBack();
  });
}

}  // namespace dispatch_detail
}  // namespace zsupport
