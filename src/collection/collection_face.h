// The face of a Zollection that serves clients of VBA's collections. A separate object, because its
// dispatch ids mean other members than those of the default interface.
#pragma once

#include <windows.h>

#include "ZSupport.h"
#include "automation/coclass.h"

namespace zsupport {

// Part of the collection: it lives inside it and shares its identity and reference count. Its
// members have no error frame of their own; errors of the members they call travel on as they are.
class CollectionFace final : public DispatchFace<CollectionFace, _Collection> {
 public:
  explicit CollectionFace(_Zollection& owner) : owner_(owner) {}
  CollectionFace(const CollectionFace&) = delete;
  CollectionFace& operator=(const CollectionFace&) = delete;

  static const MemberTable& members();

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    return owner_.QueryInterface(id, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }

  // _Collection
  HRESULT STDMETHODCALLTYPE Item(VARIANT* index, VARIANT* item) override;
  HRESULT STDMETHODCALLTYPE Add(VARIANT* item, VARIANT* key, VARIANT* before,
                                VARIANT* after) override;
  HRESULT STDMETHODCALLTYPE Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE Remove(VARIANT* index) override;
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** enumerator) override;

 private:
  _Zollection& owner_;
};

}  // namespace zsupport
