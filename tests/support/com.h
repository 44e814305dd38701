// What the tests need to talk to the library as its clients do.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <oleauto.h>

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ZSupport.h"
#include "automation/com_ptr.h"
#include "automation/text.h"
#include "automation/variant.h"
#include "events/connection.h"

using zsupport::ComPtr;
using zsupport::kNoEvents;
using zsupport::Text;
using zsupport::Variant;

inline constexpr wchar_t kUnknownSource[] = L"{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7CFF}";

// VARIANTs that own nothing: texts must outlive them.
inline VARIANT valueOfType(VARTYPE type) {
  VARIANT v{};
  V_VT(&v) = type;
  return v;
}
template <class T>
VARIANT makeValue(VARTYPE type, T content) {
  VARIANT v = valueOfType(type);
  memcpy(&V_BYREF(&v), &content, sizeof content);
  return v;
}
inline VARIANT longValue(LONG value) { return zsupport::valueOf(value); }
inline VARIANT doubleValue(double value) { return zsupport::valueOf(value); }
inline VARIANT textValue(const Text& value) { return zsupport::valueOf(value.get()); }
inline VARIANT objectValue(IDispatch* object) { return zsupport::valueOf(object); }
inline VARIANT arrayValue(VARTYPE element, SAFEARRAY* a) {
  return makeValue(static_cast<VARTYPE>(VT_ARRAY | element), a);
}
// By reference to a variable.
inline VARIANT reference(VARTYPE type, void* variable) {
  return makeValue(static_cast<VARTYPE>(type | VT_BYREF), variable);
}
inline VARIANT missing() { return makeValue(VT_ERROR, DISP_E_PARAMNOTFOUND); }
inline VARIANT_BOOL flag(bool value) { return zsupport::toBoolean(value); }
template <class T>
ComPtr<T> newObject(REFCLSID classId) {
  ComPtr<T> object;
  EXPECT_EQ(S_OK, CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(T),
                                   object.putVoid()));
  return object;
}
inline ComPtr<_Zollection> newCollection() { return newObject<_Zollection>(__uuidof(Zollection)); }
inline ComPtr<_GZSupport> newSupport() { return newObject<_GZSupport>(__uuidof(GZSupport)); }
struct Placement {
  std::wstring key = {};
  VARIANT before = missing();
  VARIANT after = missing();
  std::wstring sourceIID = {};
};

inline HRESULT add(_Zollection* z, IDispatch* item, Placement place = {}) {
  Text iid(place.sourceIID);
  Text key(place.key);
  return z->Add(item, iid.inout(), key.inout(), &place.before, &place.after);
}

inline LONG countOf(_Zollection* z) {
  LONG count = -1;
  EXPECT_EQ(S_OK, z->get_Count(&count));
  return count;
}

inline ComPtr<IDispatch> itemAt(_Zollection* z, LONG position) {
  ComPtr<IDispatch> item;
  EXPECT_EQ(S_OK, z->ItemByIndex(position, item.put()));
  return item;
}

inline bool keyExists(_Zollection* z, std::wstring_view key) {
  VARIANT_BOOL exists = 0x55;
  EXPECT_EQ(S_OK, z->KeyExists(Text(key).get(), &exists));
  return exists == VARIANT_TRUE;
}

inline HRESULT runtimeError(LONG number) {
  return static_cast<HRESULT>(0x800A0000u | static_cast<ULONG>(number));
}

// A number that the environment may choose.
inline unsigned setting(const char* name, unsigned usual) {
  const char* const text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

// Runs on a thread of its own, in an apartment of its own: with the library's state fresh.
inline void onFreshThread(const std::function<void()>& body) {
  std::thread([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    body();
    CoUninitialize();
  }).join();
}

// Of GZSupport, on a thread that raises errors.
class SupportTest : public testing::Test {
 protected:
  SupportTest() {
    // An error of a collection's own makes its thread raise all errors.
    EXPECT_EQ(runtimeError(381), newCollection()->RemoveByIndex(7));
  }
  const ComPtr<_GZSupport> support = newSupport();
};
