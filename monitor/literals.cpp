#include "literals.h"

#include <ocidl.h>

#include <algorithm>

#include "failure.h"
#include "text.h"

namespace monitor {
namespace {

constexpr size_t kLongestText = 100'000;  // characters of one value that are shown
constexpr ULONG kMostElements = 20;       // of an array

class Reader {
 public:
  explicit Reader(std::wstring_view text) : rest_(text) {}

  std::vector<_variant_t> all() {
    std::vector<_variant_t> values;
    skipBlanks();
    if (rest_.empty()) return values;
    for (;;) {
      values.push_back(one());
      skipBlanks();
      if (rest_.empty()) return values;
      if (rest_.front() != L',') throw Failure{L"Values are parted by commas: " + shown()};
      rest_.remove_prefix(1);
      skipBlanks();
    }
  }

 private:
  _variant_t one() {
    if (rest_.starts_with(L'"')) return quoted();
    if (rest_.starts_with(L'#')) return date();
    const std::wstring word(rest_.substr(0, rest_.find_first_of(L", \t")));
    if (word.empty()) throw Failure{L"A value is missing"};
    const _variant_t value = wordValue(word);
    rest_.remove_prefix(word.size());
    return value;
  }

  _variant_t quoted() {
    std::wstring text;
    for (size_t i = 1; i < rest_.size(); ++i) {
      if (rest_[i] == L'"') {
        if (i + 1 >= rest_.size() || rest_[i + 1] != L'"') {
          rest_.remove_prefix(i + 1);
          return _variant_t(bstrOf(text));
        }
        ++i;
      }
      text += rest_[i];
    }
    throw Failure{L"A quotation mark is missing at the end of " + shown()};
  }

  _variant_t date() {
    const size_t end = rest_.find(L'#', 1);
    if (end == rest_.npos) throw Failure{L"A # is missing at the end of " + shown()};
    std::wstring text(rest_.substr(1, end - 1));
    rest_.remove_prefix(end + 1);
    DATE value = 0;
    if (FAILED(VarDateFromStr(text.data(), LOCALE_INVARIANT, 0, &value))) {
      throw Failure{L"#" + text + L"# is no date: write #2026-01-31 14:05#"};
    }
    return _variant_t(value, VT_DATE);
  }

  static _variant_t wordValue(const std::wstring& word) {
    const std::wstring name = folded(word);
    if (name == L"TRUE" || name == L"FALSE") return _variant_t(name == L"TRUE");
    if (name == L"EMPTY") return _variant_t();
    _variant_t value;
    if (name == L"NULL") {
      V_VT(&value) = VT_NULL;
      return value;
    }
    if (name == L"NOTHING") {
      V_VT(&value) = VT_DISPATCH;
      V_DISPATCH(&value) = nullptr;
      return value;
    }
    return numberValue(word);
  }

  static _variant_t numberValue(std::wstring word) {
    const bool isHexadecimal =
        word.size() > 2 && word.size() <= 10 && folded(word).starts_with(L"&H");
    if (isHexadecimal && word.find_first_not_of(L"0123456789ABCDEFabcdef", 2) == word.npos) {
      return _variant_t(static_cast<LONG>(std::stoul(word.substr(2), nullptr, 16)));
    }
    LONG whole = 0;
    if (SUCCEEDED(VarI4FromStr(word.data(), LOCALE_INVARIANT, 0, &whole)) &&
        word.find_first_of(L".eE") == word.npos) {
      return _variant_t(whole);
    }
    double number = 0;
    const bool isNumber = word.find_first_of(L"0123456789") != word.npos &&
                          SUCCEEDED(VarR8FromStr(word.data(), LOCALE_INVARIANT, 0, &number));
    if (!isNumber) throw Failure{word + L" is no value: texts stand in quotation marks"};
    return _variant_t(number);
  }

  void skipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(L" \t"), rest_.size()));
  }
  std::wstring shown() const { return std::wstring(rest_.substr(0, 60)); }

  std::wstring_view rest_;
};

struct TypeName {
  VARTYPE type;
  const wchar_t* name;
};
constexpr TypeName kTypeNames[] = {
    {VT_EMPTY, L"Empty"},     {VT_NULL, L"Null"},       {VT_I2, L"Integer"},
    {VT_I4, L"Long"},         {VT_R4, L"Single"},       {VT_R8, L"Double"},
    {VT_CY, L"Currency"},     {VT_DATE, L"Date"},       {VT_BSTR, L"String"},
    {VT_DISPATCH, L"Object"}, {VT_ERROR, L"Error"},     {VT_BOOL, L"Boolean"},
    {VT_VARIANT, L"Variant"}, {VT_UNKNOWN, L"Unknown"}, {VT_DECIMAL, L"Decimal"},
    {VT_I1, L"SByte"},        {VT_UI1, L"Byte"},        {VT_UI2, L"UInteger"},
    {VT_UI4, L"ULong"},       {VT_I8, L"LongLong"},     {VT_UI8, L"ULongLong"},
    {VT_INT, L"Int"},         {VT_UINT, L"UInt"},       {VT_RECORD, L"Record"},
};

std::wstring typeName(VARTYPE type) {
  const auto found = std::find_if(std::begin(kTypeNames), std::end(kTypeNames),
                                  [=](const TypeName& each) { return each.type == type; });
  return found != std::end(kTypeNames) ? found->name : L"type " + std::to_wstring(type);
}

std::wstring quoted(std::wstring_view text) {
  const size_t whole = text.size();
  std::wstring result = L"\"";
  result += text.substr(0, kLongestText);
  result += L'"';
  if (whole > kLongestText) result += L"... of " + countText(whole) + L" characters";
  return result;
}

std::wstring describeArray(const VARIANT& value);

// Without its type.
std::wstring valueText(const VARIANT& value) {
  switch (V_VT(&value)) {
    case VT_EMPTY:
    case VT_NULL:
      return typeName(V_VT(&value));
    case VT_BSTR:
      return quoted({V_BSTR(&value), SysStringLen(V_BSTR(&value))});
    case VT_DISPATCH:
    case VT_UNKNOWN: {
      if (!V_UNKNOWN(&value)) return L"Nothing";
      const std::wstring name = typeNameOf(V_UNKNOWN(&value));
      return name.empty() ? L"an object" : name;
    }
    case VT_ERROR:
      return V_ERROR(&value) == DISP_E_PARAMNOTFOUND
                 ? L"missing"
                 : systemText(static_cast<DWORD>(V_ERROR(&value)));
    default:
      break;
  }
  if (V_ISARRAY(&value)) return describeArray(value);
  _variant_t text;
  const HRESULT result = VariantChangeTypeEx(&text, const_cast<VARIANT*>(&value), LOCALE_INVARIANT,
                                             VARIANT_ALPHABOOL, VT_BSTR);
  return SUCCEEDED(result) ? textOf(_bstr_t(text)) : L"?";
}

std::wstring describeArray(const VARIANT& value) {
  SAFEARRAY* const array = V_ISBYREF(&value) ? *V_ARRAYREF(&value) : V_ARRAY(&value);
  const VARTYPE type = static_cast<VARTYPE>(V_VT(&value) & VT_TYPEMASK);
  if (!array) return typeName(type) + L"()";
  std::wstring text = typeName(type) + L"(";
  for (UINT dimension = 1; dimension <= SafeArrayGetDim(array); ++dimension) {
    LONG lower = 0, upper = -1;
    SafeArrayGetLBound(array, dimension, &lower);
    SafeArrayGetUBound(array, dimension, &upper);
    text +=
        (dimension > 1 ? L", " : L"") + std::to_wstring(lower) + L" to " + std::to_wstring(upper);
  }
  text += L")";
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(array, 1, &lower);
  SafeArrayGetUBound(array, 1, &upper);
  const bool isShown = SafeArrayGetDim(array) == 1 && type != VT_RECORD && upper >= lower;
  if (!isShown) return text;
  text += L" {";
  for (LONG index = lower; index <= upper && static_cast<ULONG>(index - lower) < kMostElements;
       ++index) {
    _variant_t element;
    void* const place =
        type == VT_VARIANT || type == VT_DECIMAL ? static_cast<void*>(&element) : &V_I4(&element);
    if (FAILED(SafeArrayGetElement(array, &index, place))) break;
    if (type != VT_VARIANT) V_VT(&element) = type;
    text += (index > lower ? L", " : L"") +
            (type == VT_VARIANT ? describe(element) : valueText(element));
  }
  return text + (static_cast<ULONG>(upper - lower) >= kMostElements ? L", ...}" : L"}");
}

}  // namespace

std::vector<_variant_t> readLiterals(std::wstring_view text) { return Reader(text).all(); }

std::wstring describe(const VARIANT& value) {
  if (V_ISARRAY(&value)) return describeArray(value);
  const VARTYPE type = V_VT(&value);
  if (type == VT_EMPTY || type == VT_NULL) return typeName(type);
  return valueText(value) + L" (" + typeName(type) + L")";
}

std::wstring describeElements(SAFEARRAY* values) {
  LONG lower = 0, upper = -1;
  if (!values || FAILED(SafeArrayGetLBound(values, 1, &lower)) ||
      FAILED(SafeArrayGetUBound(values, 1, &upper))) {
    return {};
  }
  std::wstring text;
  for (LONG index = lower; index <= upper; ++index) {
    _variant_t value;
    if (FAILED(SafeArrayGetElement(values, &index, &value))) break;
    text += (index > lower ? L", " : L"") + describe(value);
  }
  return text;
}

std::wstring typeNameOf(IUnknown* object) {
  try {
    ITypeInfo* found = nullptr;
    if (const Ptr<IProvideClassInfo> provider = object) provider->GetClassInfo(&found);
    const Ptr<IDispatch> dispatch = object;
    if (!found && dispatch) dispatch->GetTypeInfo(0, 0, &found);
    if (!found) return {};
    const Ptr<ITypeInfo> information(found, false);
    _bstr_t name;
    information->GetDocumentation(MEMBERID_NIL, name.GetAddress(), nullptr, nullptr, nullptr);
    return textOf(name);
  } catch (const _com_error&) {  // it has gone, or does not answer
    return {};
  }
}

}  // namespace monitor
