// Late binding: IDispatch over a table of members.
//
// The tables are not written by hand. tools/list_members.py reads the finished type library and
// writes, for each interface, an array of Member: names, ids, defaults and types as the library has
// them, and the C++ method to call. Here the compiler makes the rest of an entry, a thunk, from the
// method's signature, which must agree with the types. What neither of them tells is said of a
// method in a specialisation of kExactly, in front of the table.
//
// Arguments are matched to parameters (positions, names, defaults), converted, and handed to the
// method; what the method leaves in by-reference parameters goes back to the caller's variables.
// The platform's ITypeInfo::Invoke is not used: it refuses a script's variable for a typed
// by-reference parameter and misplaces defaults.
//
// How single parameters travel is in dispatch_slots.h and dispatch_references.h, and how arrays do
// in dispatch_arrays.h.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <algorithm>
#include <array>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

#include "automation/com_ptr.h"
#include "automation/dispatch_arrays.h"
#include "automation/dispatch_references.h"
#include "automation/dispatch_slots.h"
#include "automation/name_index.h"

namespace zsupport {

// One call on its way to a member.
struct Invocation {
  void* self;                             // the interface pointer
  std::span<const VARIANTARG*> supplied;  // by parameter; null: take the default
  std::span<const Default> defaults;      // of the last parameters
  LCID locale;
  VARIANT* result;             // may be null
  size_t badParameter{};       // set when an argument cannot be converted, or a result stored
  bool failed{};               // whether the member failed
  ComPtr<IErrorInfo> error{};  // how it described why

  // Takes the description before storing results runs foreign code, which may leave another.
  void noteFailure() {
    failed = true;
    GetErrorInfo(0, error.put());
  }

  const Default* defaultOf(size_t parameter) const {
    const size_t first = supplied.size() - defaults.size();
    return parameter < first ? nullptr : &defaults[parameter - first];
  }
};

inline constexpr size_t kMostParameters = 16;

struct Member {
  DISPID id;
  WORD kind;  // DISPATCH_METHOD, _PROPERTYGET or _PROPERTYPUT
  const wchar_t* name;
  std::span<const wchar_t* const> parameterNames;  // a new value has none
  size_t parameters;                               // without the result
  std::span<const Default> defaults;
  const VARTYPE* types;  // of the parameters, VT_BYREF for references
  VARTYPE resultType;    // VT_VOID for none
  HRESULT (*call)(Invocation&);

  constexpr bool isPut() const { return kind == DISPATCH_PROPERTYPUT; }
};

// The face of one interface to late-bound callers. The compiler makes it, indexes included: a call
// needs neither the type library nor a lock.
class MemberTable {
 public:
  consteval MemberTable(REFIID id, std::span<const Member> members) : id_(id), members_(members) {
    for (size_t place = 0; place < members.size(); ++place) {
      const Member& member = members[place];
      byName_.add(hashOfName(member.name), place);
      byId_.add(hashOfId(member.id, member.isPut()), place);
    }
  }

  HRESULT typeInfo(UINT index, ITypeInfo** info) const noexcept;
  HRESULT idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const noexcept;
  HRESULT invoke(void* self, DISPID member, REFIID reserved, LCID locale, WORD flags,
                 DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                 UINT* badArgument) const noexcept;

  std::span<const Member> members() const { return members_; }

 private:
  static constexpr size_t hashOfId(DISPID id, bool isPut) {
    return static_cast<size_t>(id) * 2 + isPut;
  }
  const Member* find(DISPID id, WORD flags) const;
  bool knows(LPOLESTR* names, UINT count, DISPID* ids) const;

  const IID& id_;
  const std::span<const Member> members_;
  PlaceIndex byName_;
  PlaceIndex byId_;
};

// What a thunk is told of a parameter beyond its C++ type. The type is the type library's.
struct Exactly {
  size_t parameter;
  VARTYPE type;
  Use use = Use::kRead;
};
constexpr Exactly changes(size_t parameter) { return {parameter, VT_EMPTY, Use::kChange}; }
constexpr Exactly answers(size_t parameter) { return {parameter, VT_EMPTY, Use::kAnswer}; }

// Specialised for methods that write parameters by reference, which the type library does not tell.
template <auto callee>
inline constexpr std::array<Exactly, 0> kExactly{};

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
template <auto callee, bool hasResult, VARTYPE... type>
class Thunk {
  using Sig = Signature<decltype(callee)>;
  template <size_t i>
  using ParameterAt = std::tuple_element_t<i, typename Sig::Tuple>;
  static_assert(sizeof...(type) == Sig::kCount + (hasResult ? 0 : 1));

  static constexpr Exactly exactly(size_t parameter) {
    Exactly found = {parameter, static_cast<VARTYPE>(kTypes[parameter] & ~VT_BYREF)};
    for (const Exactly& said : kExactly<callee>) {
      if (said.parameter == parameter) found.use = said.use;
    }
    return found;
  }
  template <size_t i>
  static constexpr auto slotAt() {
    constexpr Exactly known = exactly(i);
    if constexpr (std::is_same_v<ParameterAt<i>, SAFEARRAY**>) {
      static_assert(known.type & VT_ARRAY, "the signature does not tell what the array holds");
      return std::type_identity<ArraySlot<known.type, known.use>>();
    } else if constexpr (known.type == VT_DATE) {
      return std::type_identity<DateSlot<known.use>>();
    } else {
      return std::type_identity<Slot<ParameterAt<i>, known.use>>();
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

  static constexpr VARTYPE kTypes[] = {type...};

 private:
  template <size_t... i>
  static HRESULT callWith(Invocation& invocation, std::index_sequence<i...>) {
    static_assert(((SlotAt<i>::kType == kTypes[i]) && ...), "the type library says otherwise");
    static_assert(
        std::ranges::all_of(kExactly<callee>,
                            [](const Exactly& said) { return kTypes[said.parameter] & VT_BYREF; }),
        "only references change");
    std::tuple<SlotAt<i>...> slots;
    HRESULT outcome = S_OK;
    [[maybe_unused]] const auto load = [&](auto& slot, size_t parameter) {
      outcome = slot.load(invocation.supplied[parameter], invocation.defaultOf(parameter),
                          invocation.locale);
      invocation.badParameter = parameter;
      return SUCCEEDED(outcome);
    };
    if (!(load(std::get<i>(slots), i) && ...)) return outcome;

    // All slots are stored, and the last failure is what the caller hears; of a member that failed,
    // too, results by reference go back, but it is the member's failure that is told.
    [[maybe_unused]] HRESULT stored = S_OK;
    [[maybe_unused]] const auto store = [&](auto& slot, size_t parameter) {
      const HRESULT result = slot.store(invocation.locale);
      if (SUCCEEDED(result)) return;
      stored = result;
      invocation.badParameter = parameter;
    };
    const auto finish = [&] {
      if (FAILED(outcome)) invocation.noteFailure();
      (store(std::get<i>(slots), i), ...);
      return FAILED(outcome) ? outcome : stored;
    };
    auto* const self = static_cast<typename Sig::Self*>(invocation.self);
    if constexpr (hasResult) {
      typename decltype(resultSlot())::type result;
      outcome = (self->*callee)(std::get<i>(slots).pass()..., result.pass());
      outcome = finish();
      // Callers may not want the result.
      const bool isWanted = SUCCEEDED(outcome) && invocation.result;
      return isWanted ? result.handOver(*invocation.result) : outcome;
    } else {
      outcome = (self->*callee)(std::get<i>(slots).pass()...);
      return finish();
    }
  }
};

}  // namespace dispatch_detail

// An entry of a table: the types are those of the parameters and, behind them, of the result, which
// is the method's last parameter; VT_VOID: it has none.
template <auto callee, VARTYPE... type>
constexpr Member member(DISPID id, WORD kind, const wchar_t* name,
                        std::span<const wchar_t* const> parameterNames,
                        std::span<const Default> defaults) {
  constexpr VARTYPE result = std::array{type...}.back();
  using Thunk = dispatch_detail::Thunk<callee, result != VT_VOID, type...>;
  static_assert(Thunk::kParameters <= kMostParameters);
  return {id,       kind,          name,   parameterNames, Thunk::kParameters,
          defaults, Thunk::kTypes, result, Thunk::call};
}

}  // namespace zsupport
