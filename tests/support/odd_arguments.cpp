#include "support/odd_arguments.h"

#include "support/test_source.h"
#include "support/value_object.h"

namespace {

constexpr GUID kVersionStamp = {
    0xC6C0B0C3, 0x0C0C, 0x4C8E, {0x9B, 0x57, 0x7E, 0x1E, 0x4F, 0x5A, 0x7D, 0x21}};
constexpr int kDeepest = 3;

bool isArray(const VARIANT& value) {
  return (V_VT(&value) & (VT_ARRAY | VT_BYREF)) == VT_ARRAY && V_ARRAY(&value);
}

bool isSame(const VARIANT& a, const VARIANT& b) { return memcmp(&a, &b, sizeof a) == 0; }

// Records are the arguments' own, and what no type describes holds nothing.
void release(VARIANT& value) {
  while (isArray(value) && V_ARRAY(&value)->cLocks > 0) SafeArrayUnlock(V_ARRAY(&value));
  const bool isKnown = (V_VT(&value) <= VT_UINT && V_VT(&value) != 15) || (V_VT(&value) & VT_ARRAY);
  if (isKnown && !(V_VT(&value) & VT_BYREF)) {
    EXPECT_EQ(S_OK, VariantClear(&value)) << V_VT(&value);
  }
}

IRecordInfo* recordInfo() {
  static IRecordInfo* const info = [] {
    ComPtr<ITypeInfo> type;
    IRecordInfo* made = nullptr;
    EXPECT_EQ(S_OK, newSupport()->GetTypeInfo(0, 0, type.put()));
    ComPtr<ITypeLib> library;
    UINT index = 0;
    EXPECT_EQ(S_OK, type->GetContainingTypeLib(library.put(), &index));
    EXPECT_EQ(S_OK, library->GetTypeInfoOfGuid(kVersionStamp, type.put()));
    EXPECT_EQ(S_OK, GetRecordInfoFromTypeInfo(type.get(), &made));
    return made;
  }();
  return info;
}

}  // namespace

OddArguments::OddArguments(Random& random, size_t count, std::vector<IDispatch*> known)
    : random_(random), known_(std::move(known)) {
  for (; current_ < count; ++current_) list.push_back(argument(0));
  for (OddVariable& variable : variables_) variable.before = variable.content;
  before_ = list;
}

OddArguments::~OddArguments() {
  for (OddVariable& variable : variables_) release(variable.content);
  for (VARIANT& argument : list) release(argument);
}

bool OddArguments::isUntouched(size_t argument) const {
  if (!isSame(before_[argument], list[argument])) return false;
  for (const OddVariable& variable : variables_) {
    if (variable.argument == argument && !variable.isTouched &&
        !isSame(variable.before, variable.content)) {
      return false;
    }
  }
  return true;
}

long OddArguments::upTo(long most) {
  return static_cast<long>(random_() % (static_cast<unsigned long>(most) + 1));
}

VARIANT OddArguments::argument(int depth) {
  const long form = depth < kDeepest ? upTo(9) : 0;
  if (form < 5) return value(depth);
  if (form == 5) {
    constexpr VARTYPE kTypes[] = {VT_I4, VT_BSTR, VT_VARIANT, VT_BOOL, VT_ARRAY | VT_VARIANT, 0};
    return reference(oneOf(kTypes), nullptr);
  }
  if (form < 8) return referenceTo(argument(depth + 1), false);
  const VARIANT content = value(depth);
  if (V_VT(&content) != VT_RECORD) return referenceTo(content, true);
  VARIANT record = content;
  V_VT(&record) |= VT_BYREF;
  return record;
}

VARIANT OddArguments::referenceTo(VARIANT content, bool isTyped) {
  VARIANT& place = variables_.emplace_back(content, content, current_, isTyped, false).content;
  if (!isTyped) {
    if (upTo(50) == 0 && V_VT(&content) == VT_EMPTY) {
      place = reference(VT_VARIANT, &place);  // to itself
    }
    return reference(VT_VARIANT, &place);
  }
  return V_VT(&place) == VT_DECIMAL ? reference(VT_DECIMAL, &place)
                                    : reference(V_VT(&place), &V_BYREF(&place));
}

VARIANT OddArguments::value(int depth) {
  const long kind = upTo(15);
  if (kind == 0) return missing();
  if (kind == 1) return valueOfType(upTo(1) ? VT_EMPTY : VT_NULL);
  if (kind < 5) return text();
  if (kind < 8) return object();
  if (kind < 11 && depth < kDeepest) return array(depth);
  if (kind == 11 && depth == 0) return record();
  if (kind == 12 && depth == 0) return oddity();
  return number();
}

VARIANT OddArguments::number() {
  // Of whole numbers, and of broken, endless and undefined ones.
  constexpr LONGLONG kBits[] = {0,
                                1,
                                2,
                                3,
                                -1,
                                26,
                                10'000,
                                32'768,
                                LONG_MAX,
                                LONG_MIN,
                                LLONG_MAX,
                                LLONG_MIN,
                                0x3FF8'0000'0000'0000,
                                0x40E5'F908'0000'0000,
                                0x4202'A05F'2000'0000,
                                0x7FF0'0000'0000'0000};
  VARIANT number = makeValue(oneOf(kNumericTypes), oneOf(kBits));
  if (V_VT(&number) == VT_DECIMAL) V_DECIMAL(&number).scale = static_cast<BYTE>(upTo(28));
  return number;
}

VARIANT OddArguments::text() {
  constexpr std::wstring_view kTexts[] = {
      L"",       L"0",      L"026",      L" 2 ",        L"-1",    L"1e99",
      L"k1",     L"word",   L"True",     L"1.2.0.5RC3", L"&HFF",  kNoEvents,
      L"\u4e2d", L"a:b|c?", L"1/2/2000", {L"a\0b", 3},  L"\xD800"};
  const std::wstring_view chosen = oneOf(kTexts);
  const auto bytes = static_cast<UINT>(chosen.size() * 2);
  if (upTo(9) == 0) return valueOfType(VT_BSTR);
  if (upTo(9) == 0) return makeValue(VT_BSTR, SysAllocStringLen(nullptr, bytes * 100));
  // Or of an odd number of bytes.
  return makeValue(VT_BSTR, SysAllocStringByteLen(reinterpret_cast<const char*>(chosen.data()),
                                                  upTo(9) || !bytes ? bytes : bytes - 1));
}

VARIANT OddArguments::object() {
  const auto made = [&]() -> ComPtr<IDispatch> {
    const auto from = [](const auto& object) { return ComPtr<IDispatch>(object.get()); };
    switch (upTo(8)) {
      case 0:
        return {};
      case 1:
        return from(TestSource::make());
      case 2:
        return from(ValueObject::endless());
      case 3:
        return from(ValueObject::make([](VARIANT*) { return DISP_E_MEMBERNOTFOUND; }));
      case 4:
        return from(ValueObject::make([this](VARIANT* read) {
          touchVariables();
          *read = longValue(1);
          return S_OK;
        }));
      case 5:
        return from(ValueObject::make([inner = ValueObject::of(longValue(2))](VARIANT* read) {
          *read = objectValue(ComPtr(inner).detach());
          return S_OK;
        }));
      case 6:
        return ComPtr<IDispatch>(known_[static_cast<size_t>(upTo(long(known_.size()) - 1))]);
      default:
        return from(ValueObject::of(upTo(1) ? longValue(upTo(9)) : doubleValue(2.5)));
    }
  }();
  return makeValue(upTo(3) ? VT_DISPATCH : VT_UNKNOWN,
                   made.get() ? ComPtr(made).detach() : nullptr);
}

VARIANT OddArguments::array(int depth) {
  constexpr VARTYPE kElements[] = {VT_VARIANT, VT_VARIANT,  VT_VARIANT, VT_BSTR,
                                   VT_BSTR,    VT_I4,       VT_I4,      VT_UI1,
                                   VT_R8,      VT_DISPATCH, VT_DECIMAL};
  constexpr LONG kLower[] = {0, 0, 0, 1, -1, -5, LONG_MIN, LONG_MAX - 5, 1 << 28, (1 << 30) - 1};
  const VARTYPE type = oneOf(kElements);
  if (upTo(9) == 0) return arrayValue(type, nullptr);
  std::vector<SAFEARRAYBOUND> bounds(upTo(5) ? 1 : 2);
  for (auto& bound : bounds) bound = {static_cast<ULONG>(upTo(4)), oneOf(kLower)};
  SAFEARRAY* const made = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
  EXPECT_TRUE(made);
  const ULONG count = bounds[0].cElements * (bounds.size() > 1 ? bounds[1].cElements : 1);
  for (ULONG i = 0; i < count; ++i) {
    if (type == VT_VARIANT) {
      static_cast<VARIANT*>(made->pvData)[i] = argument(depth + 1);
    } else if (type == VT_BSTR) {
      const VARIANT element = text();
      static_cast<BSTR*>(made->pvData)[i] = V_BSTR(&element);
    } else if (type == VT_I4) {
      static_cast<LONG*>(made->pvData)[i] = upTo(100);
    }
  }
  if (upTo(15) == 0) made->fFeatures |= FADF_FIXEDSIZE;
  if (upTo(15) == 0 && depth == 0) SafeArrayLock(made);
  return arrayValue(type, made);
}

VARIANT OddArguments::record() {
  VARIANT record = valueOfType(VT_RECORD);
  V_RECORD(&record) = upTo(5) ? &record_ : nullptr;
  V_RECORDINFO(&record) = upTo(5) ? recordInfo() : nullptr;
  return record;
}

VARIANT OddArguments::oddity() {
  constexpr VARTYPE kTypes[] = {15,      VT_VOID,  VT_PTR,    VT_SAFEARRAY,      VT_LPSTR,
                                VT_BLOB, VT_CLSID, VT_VECTOR, VT_VECTOR | VT_I4, 0xFFF};
  return valueOfType(oneOf(kTypes));
}

// What a handler may do to its own variables while the library reads a value.
void OddArguments::touchVariables() {
  for (OddVariable& variable : variables_) {
    VARIANT& content = variable.content;
    const VARTYPE type = V_VT(&content);
    if (upTo(2) || (isArray(content) && V_ARRAY(&content)->cLocks > 0) || type == VT_RECORD ||
        (type & VT_BYREF) || (type > VT_UINT && !(type & VT_ARRAY))) {
      continue;
    }
    variable.isTouched = true;
    if (FAILED(VariantClear(&content))) continue;
    content = variable.isTyped ? valueOfType(type) : valueOfType(VT_EMPTY);
  }
}
