// How the members of an interface run: one call around the algorithm of each.
//
//   return kSupport.give(L"Function JoinLongs", {numbers, delimiter}, text,
//                        [&] { return joined(*numbers, viewOf(*delimiter)); });
//
// Null pointers are refused before the frame, unrecorded. Then the result is emptied, and the body
// runs in its error frame; what escapes that frame becomes HRESULT and error object. A member that
// has no frame says so by running in atBoundary instead.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <type_traits>
#include <utility>

#include "automation/boundary.h"
#include "automation/text.h"
#include "automation/variant.h"
#include "frame/mdlErrorHandling.h"

namespace zsupport {

// One call of a member. The code around a body is there once, not in every member.
struct MemberCall {
  REFIID interfaceId;
  Procedure procedure;
  std::initializer_list<const void*> required;  // pointers that may not be null
  void* result;                                 // nor may this one
  size_t resultSize;                            // 0: there is no result
  void (*body)(void* context);
  void* context;

  HRESULT run() const noexcept;
};

// Hands a value out through the pointer of a member, with whatever it owns.
template <class Result, class Value>
void handOut(Result* result, Value&& value) {
  if constexpr (std::is_same_v<Result, BSTR>) {
    *result = Text(std::forward<Value>(value)).detach();
  } else if constexpr (std::is_same_v<std::decay_t<Value>, bool>) {
    *result = toBoolean(value);
  } else if constexpr (requires { value.detach(); }) {
    *result = value.detach();
  } else {
    *result = value;
  }
}

// The members of one interface, which name themselves in errors by the class and a label: kind word
// and name.
template <class Interface>
class MembersOf {
 public:
  consteval explicit MembersOf(const wchar_t* className) : className_(className) {}

  constexpr Procedure procedure(const wchar_t* label) const { return {className_, label}; }

  template <class Body>
  HRESULT run(const wchar_t* label, std::initializer_list<const void*> required,
              Body&& body) const noexcept {
    return call(label, required, nullptr, 0, body);
  }

  // Hands out what the body returns: a text, a reference, an array, a Boolean, a number, a record.
  template <class Result, class Body>
  HRESULT give(const wchar_t* label, std::initializer_list<const void*> required, Result* result,
               Body&& body) const noexcept {
    const auto giving = [&] { handOut(result, body()); };
    return call(label, required, result, sizeof *result, giving);
  }

 private:
  template <class Body>
  HRESULT call(const wchar_t* label, std::initializer_list<const void*> required, void* result,
               size_t resultSize, Body& body) const noexcept {
    const auto runBody = [](void* context) { (*static_cast<Body*>(context))(); };
    return MemberCall{__uuidof(Interface),
                      procedure(label),
                      required,
                      result,
                      resultSize,
                      runBody,
                      const_cast<std::remove_const_t<Body>*>(&body)}
        .run();
  }

  const wchar_t* className_;
};

}  // namespace zsupport
