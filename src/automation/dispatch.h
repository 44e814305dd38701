// Late binding: IDispatch over a table of members.
//
// Each entry of a table is made from a method of the C++ interface; its thunk is generated from the
// method's signature. Arguments are matched to parameters (positions, names, defaults), converted,
// and handed to the method; what the method leaves in by-reference parameters goes back to the
// caller's variables. The platform's ITypeInfo::Invoke is not used: it refuses a script's variable
// for a typed by-reference parameter and misplaces defaults.
//
// How single parameters travel is in dispatch_slots.h, and how arrays do in dispatch_arrays.h.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <array>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

#include "automation/dispatch_arrays.h"
#include "automation/dispatch_slots.h"

namespace zsupport {

// One call on its way to a member.
struct Invocation {
  void* self;                             // the interface pointer
  std::span<const VARIANTARG*> supplied;  // by parameter; null: take the default
  std::span<const Default> defaults;      // of the last parameters
  LCID locale;
  VARIANT* result;        // may be null
  size_t badParameter{};  // set when an argument cannot be converted
  bool failed{};          // whether the member failed, and has described why

  const Default* defaultOf(size_t parameter) const {
    const size_t first = supplied.size() - defaults.size();
    return parameter < first ? nullptr : &defaults[parameter - first];
  }
};

inline constexpr size_t kMostParameters = 16;

struct Member {
  DISPID id;
  WORD kind;          // DISPATCH_METHOD, _PROPERTYGET or _PROPERTYPUT
  size_t parameters;  // without the result
  std::span<const Default> defaults;
  const VARTYPE* types;  // of the parameters, VT_BYREF for references
  VARTYPE resultType;    // VT_VOID for none
  HRESULT (*call)(Invocation&);
};

// The face of one interface to late-bound callers.
class MemberTable {
 public:
  constexpr MemberTable(REFIID id, std::span<const Member> members) : id_(id), members_(members) {}

  HRESULT typeInfo(UINT index, ITypeInfo** info) const noexcept;
  HRESULT idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept;
  HRESULT invoke(void* self, DISPID member, REFIID reserved, LCID locale, WORD flags,
                 DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                 UINT* badArgument) const noexcept;

  std::span<const Member> members() const { return members_; }

 private:
  const Member* find(DISPID id, WORD flags) const;

  const IID& id_;
  const std::span<const Member> members_;
};

// What the C++ signature of a method does not tell: that a double is a date or a short no Boolean,
// and what an array holds and whether the method changes it. The result counts as the last
// parameter.
struct Exactly {
  size_t parameter;
  VARTYPE type;
  ArrayUse use = ArrayUse::kRead;
};

namespace dispatch_detail {

template <class Method>
struct Signature;
template <class Interface, class... Parameters>
struct Signature<HRESULT (STDMETHODCALLTYPE Interface::*)(Parameters...)> {
  using Self = Interface;
  using Tuple = std::tuple<Parameters...>;
  static constexpr size_t kCount = sizeof...(Parameters);
};

// The slots of a method's first kCount parameters, loaded in order and stored after the call.
template <auto callee, bool hasResult, Exactly... exact>
class Thunk {
  using Sig = Signature<decltype(callee)>;
  template <size_t i>
  using ParameterAt = std::tuple_element_t<i, typename Sig::Tuple>;

  static constexpr Exactly exactly(size_t parameter) {
    Exactly found = {parameter, VT_EMPTY};
    ((exact.parameter == parameter ? void(found = exact) : void()), ...);
    return found;
  }
  template <size_t i>
  static constexpr auto slotAt() {
    constexpr Exactly known = exactly(i);
    if constexpr (std::is_same_v<ParameterAt<i>, SAFEARRAY**>) {
      static_assert(known.type & VT_ARRAY, "the signature does not tell what the array holds");
      return std::type_identity<ArraySlot<known.type, known.use>>();
    } else if constexpr (known.type == VT_DATE) {
      return std::type_identity<DateSlot>();
    } else {
      return std::type_identity<Slot<ParameterAt<i>>>();
    }
  }
  template <size_t i>
  using SlotAt = typename decltype(slotAt<i>())::type;

  static constexpr auto resultSlot() {
    using Result = ParameterAt<Sig::kCount - 1>;
    constexpr VARTYPE known = exactly(Sig::kCount - 1).type;
    if constexpr (std::is_same_v<Result, SAFEARRAY**>) {
      return std::type_identity<ArrayResultSlot<known>>();
    } else {
      return std::type_identity<ResultSlot<Result, known>>();
    }
  }

 public:
  static constexpr size_t kParameters = Sig::kCount - (hasResult ? 1 : 0);

  static HRESULT call(Invocation& invocation) {
    return callWith(invocation, std::make_index_sequence<kParameters>());
  }

  static constexpr VARTYPE resultType() {
    if constexpr (hasResult) {
      return decltype(resultSlot())::type::kType;
    } else {
      return VT_VOID;
    }
  }

  static constexpr auto types() {
    return []<size_t... i>(std::index_sequence<i...>) {
      return std::array<VARTYPE, kParameters + 1>{SlotAt<i>::kType..., VT_VOID};
    }
    (std::make_index_sequence<kParameters>());
  }
  static constexpr auto kTypes = types();

 private:
  // All slots are stored by now; the last failure is what the caller hears.
  template <class... Results>
  static HRESULT storeAll(Results... results) {
    HRESULT outcome = S_OK;
    ((outcome = FAILED(results) ? results : outcome), ...);
    return outcome;
  }

  template <size_t... i>
  static HRESULT callWith(Invocation& invocation, std::index_sequence<i...>) {
    std::tuple<SlotAt<i>...> slots;
    HRESULT outcome = S_OK;
    [[maybe_unused]] const auto load = [&](auto& slot, size_t parameter) {
      outcome = slot.load(invocation.supplied[parameter], invocation.defaultOf(parameter),
                          invocation.locale);
      invocation.badParameter = parameter;
      return SUCCEEDED(outcome);
    };
    if (!(load(std::get<i>(slots), i) && ...)) return outcome;

    auto* const self = static_cast<typename Sig::Self*>(invocation.self);
    if constexpr (hasResult) {
      typename decltype(resultSlot())::type result;
      outcome = (self->*callee)(std::get<i>(slots).pass()..., result.pass());
      invocation.failed = FAILED(outcome);
      if (SUCCEEDED(outcome)) outcome = storeAll(std::get<i>(slots).store(invocation.locale)...);
      if (SUCCEEDED(outcome)) outcome = result.handOver(invocation.result);
    } else {
      outcome = (self->*callee)(std::get<i>(slots).pass()...);
      invocation.failed = FAILED(outcome);
      if (SUCCEEDED(outcome)) outcome = storeAll(std::get<i>(slots).store(invocation.locale)...);
    }
    return outcome;
  }
};

template <auto callee, bool hasResult, Exactly... exact>
constexpr Member makeMember(DISPID id, WORD kind, std::span<const Default> defaults) {
  using T = Thunk<callee, hasResult, exact...>;
  static_assert(T::kParameters <= kMostParameters);
  return {id, kind, T::kParameters, defaults, T::kTypes.data(), T::resultType(), T::call};
}

}  // namespace dispatch_detail

// Entries of a table. The last parameter of a getter and of a function is its result.
template <auto callee>
constexpr Member propertyGet(DISPID id, std::span<const Default> defaults = {}) {
  return dispatch_detail::makeMember<callee, true>(id, DISPATCH_PROPERTYGET, defaults);
}
template <auto callee>
constexpr Member propertyPut(DISPID id) {
  return dispatch_detail::makeMember<callee, false>(id, DISPATCH_PROPERTYPUT, {});
}
template <auto callee, Exactly... exact>
constexpr Member function(DISPID id, std::span<const Default> defaults = {}) {
  return dispatch_detail::makeMember<callee, true, exact...>(id, DISPATCH_METHOD, defaults);
}
template <auto callee, Exactly... exact>
constexpr Member method(DISPID id, std::span<const Default> defaults = {}) {
  return dispatch_detail::makeMember<callee, false, exact...>(id, DISPATCH_METHOD, defaults);
}

}  // namespace zsupport
