// The arguments of one call that no program would make: values of every type, by value and by
// reference to any depth, null references, arrays of odd bounds, and objects whose values
// change the caller's variables while they are read.
#pragma once

#include <deque>
#include <random>

#include "support/test_source.h"
#include "support/value_object.h"

class OddArguments {
 public:
  // Some of the objects among the arguments are these.
  OddArguments(std::mt19937& random, size_t count, std::vector<IDispatch*> known)
      : random_(random), known_(std::move(known)) {
    for (; current_ < count; ++current_) list.push_back(argument(0));
    for (Variable& variable : variables_) variable.before = variable.content;
    before_ = list;
  }
  OddArguments(const OddArguments&) = delete;
  OddArguments& operator=(const OddArguments&) = delete;
  ~OddArguments() {
    for (Variable& variable : variables_) release(variable.content);
    for (VARIANT& argument : list) release(argument);
  }

  // In the order of a call, the last one first.
  std::vector<VARIANT> list;

  // Whether an argument, and all that it refers to, is what it was, but for what foreign code did.
  bool isUntouched(size_t argument) const {
    return isSame(before_[argument], list[argument]) &&
           std::ranges::all_of(variables_, [argument](const Variable& variable) {
             return variable.argument != argument || variable.isTouched ||
                    isSame(variable.before, variable.content);
           });
  }

 private:
  // What a caller refers to: a VARIANT, or the content of one for a typed reference.
  struct Variable {
    VARIANT content, before;
    size_t argument;
    bool isTyped;
    bool isTouched;  // by foreign code
  };

  static constexpr int kDeepest = 3;

  static bool isSame(const VARIANT& a, const VARIANT& b) { return memcmp(&a, &b, sizeof a) == 0; }

  static bool isLocked(const VARIANT& value) {
    return (V_VT(&value) & (VT_ARRAY | VT_BYREF)) == VT_ARRAY && V_ARRAY(&value) &&
           V_ARRAY(&value)->cLocks > 0;
  }

  // Records are nobody's, and what no type describes holds nothing.
  static bool isOwner(const VARIANT& value) {
    const VARTYPE type = V_VT(&value);
    return !(type & VT_BYREF) && ((type <= VT_UINT && type != 15) || (type & VT_ARRAY));
  }

  static void release(VARIANT& value) {
    while (isLocked(value)) SafeArrayUnlock(V_ARRAY(&value));
    if (isOwner(value)) {
      EXPECT_EQ(S_OK, VariantClear(&value)) << V_VT(&value);
    }
  }

  long upTo(long most) {
    return static_cast<long>(random_() % (static_cast<unsigned long>(most) + 1));
  }
  template <class T, size_t n>
  T oneOf(const T (&choices)[n]) {
    return choices[upTo(n - 1)];
  }

  VARIANT argument(int depth) {
    const long form = depth < kDeepest ? upTo(9) : 0;
    if (form < 5) return value(depth);
    if (form == 5) {
      return reference(
          oneOf<VARTYPE>({VT_I4, VT_BSTR, VT_VARIANT, VT_BOOL, VT_ARRAY | VT_VARIANT, 0}), nullptr);
    }
    if (form < 8) return referenceTo(argument(depth + 1), false);
    return referenceTo(value(depth), true);
  }

  VARIANT referenceTo(VARIANT content, bool isTyped) {
    VARIANT& place = variables_.emplace_back(content, content, current_, isTyped, false).content;
    const VARTYPE type = V_VT(&content);
    if (isTyped && type != VT_DECIMAL) return reference(type, &V_BYREF(&place));
    if (type == VT_EMPTY && upTo(50) == 0) place = reference(VT_VARIANT, &place);  // to itself
    return reference(isTyped ? type : VARTYPE{VT_VARIANT}, &place);
  }

  VARIANT value(int depth) {
    const long kind = upTo(15);
    if (kind == 0) return missing();
    if (kind == 1) return valueOfType(upTo(1) ? VT_EMPTY : VT_NULL);
    if (kind < 5) return text();
    if (kind < 8) return object();
    if (kind < 11 && depth < kDeepest) return array(depth);
    if (kind == 12 && depth == 0) {
      return valueOfType(
          oneOf<VARTYPE>({15, VT_VOID, VT_SAFEARRAY, VT_RECORD, VT_VECTOR | VT_I4, 0xFFF}));
    }
    // Of whole numbers, and of broken, endless and undefined ones.
    VARIANT number =
        makeValue(oneOf(kNumericTypes),
                  oneOf<LONGLONG>({0, 1, 2, -1, 26, 32'768, LONG_MAX, LONG_MIN, LLONG_MAX,
                                   LLONG_MIN, 0x3FF8'0000'0000'0000, 0x40E5'F908'0000'0000,
                                   0x4202'A05F'2000'0000, 0x7FF0'0000'0000'0000}));
    if (V_VT(&number) == VT_DECIMAL) V_DECIMAL(&number).scale = static_cast<BYTE>(upTo(28));
    return number;
  }

  VARIANT text() {
    const auto chosen = oneOf<std::wstring_view>({L"",
                                                  L"026",
                                                  L"-1",
                                                  L"k1",
                                                  L"1.2.0.5RC3",
                                                  kNoEvents,
                                                  L"\u4e2d",
                                                  L"a:b|c?",
                                                  L"1/2/2000",
                                                  {L"a\0b", 3},
                                                  L"\xD800"});
    const auto bytes = static_cast<UINT>(chosen.size() * 2);
    if (upTo(9) == 0) return valueOfType(VT_BSTR);
    if (upTo(9) == 0) return makeValue(VT_BSTR, SysAllocStringLen(nullptr, bytes * 100));
    // Or of an odd number of bytes.
    return makeValue(VT_BSTR, SysAllocStringByteLen(reinterpret_cast<const char*>(chosen.data()),
                                                    upTo(9) || !bytes ? bytes : bytes - 1));
  }

  VARIANT object() {
    ComPtr<IDispatch> made(known_[static_cast<size_t>(upTo(long(known_.size()) - 1))]);
    const auto become = [&](const auto& object) { made = ComPtr<IDispatch>(object.get()); };
    const long kind = upTo(6);
    if (kind == 0) made.reset();
    if (kind == 1) become(TestSource::make());
    if (kind == 2) become(ValueObject::endless());
    if (kind == 3) become(ValueObject::of(longValue(upTo(9))));
    if (kind == 4) {
      become(ValueObject::make([this](VARIANT* read) {
        touchVariables();
        *read = longValue(1);
        return S_OK;
      }));
    }
    return makeValue(upTo(3) ? VT_DISPATCH : VT_UNKNOWN, made.detach());
  }

  VARIANT array(int depth) {
    const auto type = oneOf<VARTYPE>({VT_VARIANT, VT_VARIANT, VT_BSTR, VT_I4, VT_UI1, VT_DISPATCH});
    if (upTo(9) == 0) return arrayValue(type, nullptr);
    std::vector<SAFEARRAYBOUND> bounds(upTo(5) ? 1 : 2);
    ULONG count = 1;
    for (auto& [elements, lower] : bounds) {
      count *= elements = static_cast<ULONG>(upTo(4));
      lower = oneOf<LONG>({0, 0, 1, -1, LONG_MIN, LONG_MAX - 5, 1 << 28, (1 << 30) - 1});
    }
    SAFEARRAY* const made = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
    EXPECT_TRUE(made);
    for (ULONG i = 0; i < count; ++i) {
      if (type == VT_VARIANT) {
        static_cast<VARIANT*>(made->pvData)[i] = argument(depth + 1);
      } else if (type == VT_BSTR) {
        const VARIANT element = text();
        static_cast<BSTR*>(made->pvData)[i] = V_BSTR(&element);
      }
    }
    if (upTo(15) == 0) made->fFeatures |= FADF_FIXEDSIZE;
    if (upTo(15) == 0 && depth == 0) SafeArrayLock(made);
    return arrayValue(type, made);
  }

  // What a handler may do to its own variables while the library reads a value.
  void touchVariables() {
    for (Variable& variable : variables_) {
      VARIANT& content = variable.content;
      if (upTo(2) || isLocked(content) || !isOwner(content)) continue;
      variable.isTouched = true;
      const VARTYPE type = V_VT(&content);
      if (SUCCEEDED(VariantClear(&content)) && variable.isTyped) content = valueOfType(type);
    }
  }

  std::mt19937& random_;
  const std::vector<IDispatch*> known_;
  size_t current_ = 0;
  std::deque<Variable> variables_;
  std::vector<VARIANT> before_;
};
