// What calls cost: each member of a Zollection through its vtable and late bound, next to the
// platform's Scripting.Dictionary late bound, all in one run. Times on a shared machine mean little
// by themselves; the ratios are what to look at.
//
// To run it: ./dev bench
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ZSupport.h"
#include "growth.h"
#include "measure.h"

namespace {

constexpr int kItems = 10'000;

VARIANT longValue(LONG number) {
  VARIANT value;
  V_VT(&value) = VT_I4;
  V_I4(&value) = number;
  return value;
}
VARIANT textValue(BSTR text) {
  VARIANT value;
  V_VT(&value) = VT_BSTR;
  V_BSTR(&value) = text;
  return value;
}
VARIANT objectValue(IDispatch* object) {
  VARIANT value;
  V_VT(&value) = VT_DISPATCH;
  V_DISPATCH(&value) = object;
  return value;
}
VARIANT missing() {
  VARIANT value;
  V_VT(&value) = VT_ERROR;
  V_ERROR(&value) = DISP_E_PARAMNOTFOUND;
  return value;
}

// A late-bound member whose id is known, as a compiler or a script engine keeps it.
class Member {
 public:
  Member(IDispatch* object, const wchar_t* name, WORD flags) : object_(object), flags_(flags) {
    auto* text = const_cast<wchar_t*>(name);
    require(object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id_));
  }
  void operator()(std::initializer_list<VARIANT> lastFirst) const {
    VARIANT result;
    VariantInit(&result);
    DISPPARAMS parameters = {const_cast<VARIANT*>(lastFirst.begin()), nullptr,
                             static_cast<UINT>(lastFirst.size()), 0};
    require(object_->Invoke(id_, IID_NULL, LOCALE_USER_DEFAULT, flags_, &parameters, &result,
                            nullptr, nullptr));
    VariantClear(&result);
  }
  DISPID id() const { return id_; }

 private:
  IDispatch* object_;
  WORD flags_;
  DISPID id_ = DISPID_UNKNOWN;
};

void row(const char* what, double vtable, double late, double dictionary) {
  std::printf("%-22s %9.0f %9.0f %9.0f %12.2f\n", what, vtable, late, dictionary,
              late / dictionary);
}

double measureEnumeration(IUnknown* (*open)(IDispatch*), IDispatch* object) {
  return measure(kItems, [&] {
    IUnknown* unknown = open(object);
    IEnumVARIANT* items = nullptr;
    require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&items)));
    VARIANT value;
    VariantInit(&value);
    while (items->Next(1, &value, nullptr) == S_OK) VariantClear(&value);
    items->Release();
    unknown->Release();
  });
}

IUnknown* openLate(IDispatch* object) {
  VARIANT result;
  VariantInit(&result);
  DISPPARAMS none{};
  require(object->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT,
                         DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr));
  return V_UNKNOWN(&result);
}

class Bench {
 public:
  Bench()
      : z_(create<_Zollection>(L"ZSupport.Zollection", __uuidof(_Zollection))),
        item_(create<IDispatch>(L"ZSupport.Zollection", IID_IDispatch)),
        dictionary_(create<IDispatch>(L"Scripting.Dictionary", IID_IDispatch)),
        noEvents_(SysAllocString(L"{00000000-0000-0000-0000-000000000000}")) {
    for (int i = 0; i < kItems; ++i) {
      keys_.push_back(SysAllocString((L"key " + std::to_wstring(i)).c_str()));
    }
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  ~Bench() {
    for (const BSTR key : keys_) SysFreeString(key);
    SysFreeString(noEvents_);
    dictionary_->Release();
    item_->Release();
    z_->Release();
  }

  int run() {
    std::printf("%-22s %9s %9s %9s %12s\n", "nanoseconds a call", "vtable", "late", "Dictionary",
                "late/Dict.");
    adding();
    counting();
    items();
    row("enumeration step", measureEnumeration(openVtable, z_), measureEnumeration(openLate, z_),
        measureEnumeration(openLate, dictionary_));
    return typeInfo();
  }

 private:
  static IUnknown* openVtable(IDispatch* object) {
    IEnumVARIANT* enumerator = nullptr;
    require(static_cast<_Zollection*>(object)->NewEnum(&enumerator));
    return enumerator;
  }

  // Without events, which a dictionary has none of: finding and connecting an item's event
  // interface costs far more than all else.
  void adding() {
    const Member add(z_, L"Add", DISPATCH_METHOD);
    const Member addToDictionary(dictionary_, L"Add", DISPATCH_METHOD);
    const Member removeAll(dictionary_, L"RemoveAll", DISPATCH_METHOD);
    VARIANT none = missing();
    const double vtable = measure(
        kItems,
        [&] {
          for (BSTR& key : keys_) require(z_->Add(item_, &noEvents_, &key, &none, &none));
        },
        [&] { z_->Clear(); });
    const double late = measure(
        kItems,
        [&] {
          for (const BSTR key : keys_) {
            add({textValue(key), textValue(noEvents_), objectValue(item_)});
          }
        },
        [&] { z_->Clear(); });
    const double dictionary = measure(
        kItems,
        [&] {
          for (const BSTR key : keys_) addToDictionary({objectValue(item_), textValue(key)});
        },
        [&] { removeAll({}); });
    row("Add", vtable, late, dictionary);
  }

  void counting() {
    const Member count(z_, L"Count", DISPATCH_PROPERTYGET);
    const Member countOfDictionary(dictionary_, L"Count", DISPATCH_PROPERTYGET);
    LONG result;
    row("Count",
        measure(kItems,
                [&] {
                  for (int i = 0; i < kItems; ++i) z_->get_Count(&result);
                }),
        late_ = measure(kItems,
                        [&] {
                          for (int i = 0; i < kItems; ++i) count({});
                        }),
        measure(kItems, [&] {
          for (int i = 0; i < kItems; ++i) countOfDictionary({});
        }));
  }

  void items() {
    const Member item(z_, L"Item", DISPATCH_PROPERTYGET);
    const Member itemOfDictionary(dictionary_, L"Item", DISPATCH_PROPERTYGET);
    const auto get = [&](const VARIANT& key) {
      IDispatch* found = nullptr;
      require(z_->get_Item(key, &found));
      found->Release();
    };
    const double byKeyInDictionary = measure(kItems, [&] {
      for (const BSTR key : keys_) itemOfDictionary({textValue(key)});
    });
    row("Item by key",
        measure(kItems,
                [&] {
                  for (const BSTR key : keys_) get(textValue(key));
                }),
        measure(kItems,
                [&] {
                  for (const BSTR key : keys_) item({textValue(key)});
                }),
        byKeyInDictionary);
    row("Item by position",
        measure(kItems,
                [&] {
                  for (LONG i = 1; i <= kItems; ++i) get(longValue(i));
                }),
        measure(kItems,
                [&] {
                  for (LONG i = 1; i <= kItems; ++i) item({longValue(i)});
                }),
        byKeyInDictionary);
  }

  // The same call through the platform's own late binding.
  int typeInfo() const {
    ITypeInfo* info = nullptr;
    require(z_->GetTypeInfo(0, 0, &info));
    const DISPID id = Member(z_, L"Count", DISPATCH_PROPERTYGET).id();
    const double platform = measure(kItems, [&] {
      for (int i = 0; i < kItems; ++i) {
        VARIANT result;
        VariantInit(&result);
        DISPPARAMS none{};
        require(info->Invoke(z_, id, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr));
      }
    });
    info->Release();
    std::printf(
        "\nCount late bound %.0f, through ITypeInfo::Invoke %.0f: ratio %.3f (at most 0.333)\n",
        late_, platform, late_ / platform);
    return late_ / platform <= 1.0 / 3 ? 0 : 1;
  }

  _Zollection* z_;
  IDispatch* item_;
  IDispatch* dictionary_;
  BSTR noEvents_;
  std::vector<BSTR> keys_;
  double late_ = 0;
};

}  // namespace

int wmain() {
  require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  const int calls = Bench().run();
  const int growth = showGrowth();
  CoUninitialize();
  return calls | growth;
}
