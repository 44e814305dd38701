// How the members of an interface run: one call around the algorithm of each.
//
//   return kSupport.give(L"Function JoinLongs", {numbers, delimiter}, text,
//                        [&] { return joined(*numbers, viewOf(*delimiter)); });
//
// Null pointers are refused before the frame, unrecorded. In its error frame the result is emptied
// and the body runs; what escapes that frame becomes HRESULT and error object. A member that
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

// What surrounds every body, there once and not in each member. The result's pointer is one more
// that is required.
HRESULT runMember(REFIID interfaceId, const Procedure& procedure, RequiredPointers required,
                  RequiredPointers result, void (*body)(const void*), const void* context) noexcept;

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

// The members of one interface. In errors they name themselves by the class and a label: kind word
// and name.
template <class Interface>
struct MembersOf {
  const wchar_t* className;

  constexpr Procedure procedure(const wchar_t* label) const { return {className, label}; }

  template <class Body>
  HRESULT run(const wchar_t* label, RequiredPointers required, const Body& body,
              RequiredPointers result = {}) const noexcept {
    const auto call = [](const void* context) { (*static_cast<const Body*>(context))(); };
    return runMember(__uuidof(Interface), procedure(label), required, result, call, &body);
  }

  // Hands out what the body returns: a text, a reference, an array, a Boolean, a number, a record.
  template <class Result, class Body>
  HRESULT give(const wchar_t* label, RequiredPointers required, Result* result,
               const Body& body) const noexcept {
    const auto giving = [&] {
      *result = {};
      handOut(result, body());
    };
    return run(label, required, giving, {result});
  }
};

}  // namespace zsupport
