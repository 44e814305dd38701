// Calls late bound, and the objects that the benchmarks fill.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "ZSupport.h"
#include "automation/variant.h"
#include "events/connection.h"
#include "measure.h"

using zsupport::kNoEvents;
using zsupport::valueOf;

inline VARIANT missing() {
  VARIANT value;
  V_VT(&value) = VT_ERROR;
  V_ERROR(&value) = DISP_E_PARAMNOTFOUND;
  return value;
}

inline DISPID idOf(IDispatch* object, const wchar_t* name) {
  auto* text = const_cast<wchar_t*>(name);
  DISPID id = DISPID_UNKNOWN;
  require(object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id));
  return id;
}

// A late-bound member whose id is known, as a compiler keeps it.
class Member {
 public:
  Member(IDispatch* object, const wchar_t* name, WORD flags)
      : object_(object), name_(name), flags_(flags), id_(idOf(object, name)) {}
  void operator()(std::initializer_list<VARIANT> lastFirst) const { call(id_, lastFirst); }
  // As script engines call: the name is asked for each time.
  void byName(std::initializer_list<VARIANT> lastFirst) const {
    call(idOf(object_, name_), lastFirst);
  }
  DISPID id() const { return id_; }

 private:
  void call(DISPID id, std::initializer_list<VARIANT> lastFirst) const {
    VARIANT result;
    VariantInit(&result);
    DISPPARAMS parameters = {const_cast<VARIANT*>(lastFirst.begin()), nullptr,
                             static_cast<UINT>(lastFirst.size()), 0};
    require(object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags_, &parameters, &result,
                            nullptr, nullptr));
    VariantClear(&result);
  }

  IDispatch* object_;
  const wchar_t* name_;
  WORD flags_;
  DISPID id_;
};

// Keys of 20 to 30 characters that differ at the end or in the middle.
class Keys {
 public:
  explicit Keys(int count, const wchar_t* mark = L"", int first = 0) {
    for (int i = first; i < first + count; ++i) {
      const std::wstring number = std::to_wstring(1'000'000 + i);
      keys_.push_back(SysAllocString((i % 2 ? L"Order " + number + L" of " + mark + L"the company"
                                            : mark + (L"Customer Record " + number))
                                         .c_str()));
    }
  }
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys() {
    for (const BSTR key : keys_) SysFreeString(key);
  }
  std::vector<BSTR>& all() { return keys_; }
  // So many of them, from all over.
  std::vector<BSTR> some(size_t count) const {
    std::vector<BSTR> chosen;
    for (size_t i = 0; i < count; ++i) chosen.push_back(keys_[i * 7919 % keys_.size()]);
    return chosen;
  }

 private:
  std::vector<BSTR> keys_;
};

// A collection and a dictionary, to be filled alike; items without events, which a dictionary has
// none of.
class Both {
 public:
  _Zollection* const z = create<_Zollection>(L"ZSupport.Zollection");
  IDispatch* const dictionary = create<IDispatch>(L"Scripting.Dictionary");
  IDispatch* const item = create<IDispatch>(L"ZSupport.Zollection");
  const BSTR noEvents = SysAllocString(kNoEvents);
  const Member add{z, L"Add", DISPATCH_METHOD}, addPeer{dictionary, L"Add", DISPATCH_METHOD};
  const Member get{z, L"Item", DISPATCH_PROPERTYGET},
      getPeer{dictionary, L"Item", DISPATCH_PROPERTYGET};
  const Member exists{z, L"Exists", DISPATCH_PROPERTYGET},
      existsPeer{dictionary, L"Exists", DISPATCH_METHOD};
  const Member remove{z, L"RemoveByKey", DISPATCH_METHOD},
      removePeer{dictionary, L"Remove", DISPATCH_METHOD};
  const Member removeAllPeer{dictionary, L"RemoveAll", DISPATCH_METHOD};

  Both() = default;
  Both(const Both&) = delete;
  Both& operator=(const Both&) = delete;
  ~Both() {
    SysFreeString(noEvents);
    item->Release();
    dictionary->Release();
    z->Release();
  }
  void fill(const std::vector<BSTR>& keys) const {
    for (const BSTR key : keys) add({valueOf(key), valueOf(noEvents), valueOf(item)});
  }
  void fillPeer(const std::vector<BSTR>& keys) const {
    for (const BSTR key : keys) addPeer({valueOf(item), valueOf(key)});
  }
  void clear() const { require(z->Clear()); }
  void clearPeer() const { removeAllPeer({}); }
};

// Calls a member with each of some keys.
inline Work eachOf(const std::vector<BSTR>& keys, const Member& member) {
  return {[&] {
    for (const BSTR key : keys) member({valueOf(key)});
  }};
}
