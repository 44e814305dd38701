// The class Zollection: an ordered, keyed collection of event sources, which re-raises every event
// of its items as its own.
#pragma once

#include <exception>
#include <memory>

#include "ZSupport.h"
#include "automation/coclass.h"
#include "automation/connection_point.h"
#include "automation/text.h"
#include "collection/collection_face.h"
#include "collection/held_record.h"
#include "collection/item_store.h"
#include "collection/key_index.h"
#include "events/source_memory.h"

namespace zsupport {

// The collections that an event has come through without a handler in between, last one first.
struct EventRoute {
  const _Zollection* collection;
  const EventRoute* from;
};

class ZollectionObject final : public CoClass<ZollectionObject, Zollection, _Zollection,
                                              __Zollection, IConnectionPointContainer> {
 public:
  ZollectionObject() = default;

  static const MemberTable& members();

  // IUnknown: the Collection face is another object with this one's identity.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;

  // Opens the private heap and the arrays in it; error 7, and an empty collection that tries again
  // when an item comes in. To be called before use.
  void Class_Initialize();
  // Class_Terminate: lets go of all items and clients.
  void onFinalRelease() noexcept;

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override;

  // _Zollection: plain properties
  HRESULT STDMETHODCALLTYPE put_CompareMode(LONG mode) override;
  HRESULT STDMETHODCALLTYPE get_CompareMode(LONG* mode) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
  HRESULT STDMETHODCALLTYPE get_Increment(LONG* increment) override;
  HRESULT STDMETHODCALLTYPE put_Increment(LONG increment) override;
  HRESULT STDMETHODCALLTYPE get_UseDISPID(VARIANT_BOOL* useDispid) override;
  HRESULT STDMETHODCALLTYPE put_UseDISPID(VARIANT_BOOL useDispid) override;

  // _Zollection: insertion and removal
  HRESULT STDMETHODCALLTYPE Add(IDispatch* item, BSTR* sourceIID, BSTR* key, VARIANT* before,
                                VARIANT* after) override;
  HRESULT STDMETHODCALLTYPE Clear() override;
  HRESULT STDMETHODCALLTYPE Remove(VARIANT key) override;
  HRESULT STDMETHODCALLTYPE RemoveByKey(BSTR key) override;
  HRESULT STDMETHODCALLTYPE RemoveByIndex(LONG index) override;

  // _Zollection: access
  HRESULT STDMETHODCALLTYPE get_Item(VARIANT key, IDispatch** item) override;
  HRESULT STDMETHODCALLTYPE ItemByIndex(LONG index, IDispatch** item) override;
  HRESULT STDMETHODCALLTYPE ItemByKey(BSTR* key, IDispatch** item) override;
  HRESULT STDMETHODCALLTYPE get_Exists(VARIANT key, VARIANT_BOOL* exists) override;
  HRESULT STDMETHODCALLTYPE KeyExists(BSTR key, VARIANT_BOOL* exists) override;
  HRESULT STDMETHODCALLTYPE IndexFromKey(BSTR key, LONG* index) override;
  HRESULT STDMETHODCALLTYPE get_Key(LONG index, BSTR* key) override;
  HRESULT STDMETHODCALLTYPE put_Key(LONG index, BSTR key) override;

  HRESULT STDMETHODCALLTYPE NewEnum(IEnumVARIANT** enumerator) override;

  // _Zollection: for the event sinks
  HRESULT STDMETHODCALLTYPE RaiseTheEvent(LONG lPtrItem, LONG dispid, LONG lParams) override;

  // IConnectionPointContainer
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID id, IConnectionPoint** point) override;

 private:
  struct Addition;
  struct Firing;

  // Insertion (zollection_add.cpp)
  void add(Addition& addition, BSTR* sourceIID, const VARIANT& before, const VARIANT& after);
  LONG insertionPoint(const VARIANT& before, const VARIANT& after);
  void connect(IDispatch* item, ItemRecord* record, BSTR* sourceIID);
  void enterKey(BSTR key, ItemRecord* record);

  // Access (zollection_access.cpp)
  bool isListed(LONG position) const { return position >= 1 && position <= store_.count(); }
  ItemRecord* recordAt(LONG position, const wchar_t* source) const;
  ItemRecord* recordByKey(BSTR key, const wchar_t* source);
  bool keyExists(BSTR key);
  LONG indexFromKey(BSTR key);
  void changeKey(LONG index, BSTR newKey);

  // Removal (zollection_remove.cpp)
  void clear();
  void removeByIndex(LONG index);
  void removeByKey(BSTR key);
  template <class Call>
  HRESULT reentrant(Call&& call);
  void dismiss(ItemRecord* record);
  void letGoOf(ItemRecord* record, std::exception_ptr& failure) noexcept;
  void removeKey(ItemRecord* record);
  void pvClear();
  void letGoOfAll(std::exception_ptr& failure) noexcept;
  void closeAll(std::exception_ptr& failure) noexcept;

  // Events (zollection_events.cpp)
  LONG pvIndexFromPtr(const ItemRecord* record);
  void raiseEvent(const ItemRecord* record, DISPID dispid, DISPPARAMS* fired, Firing& firing);
  static bool mayReach(const EventRoute& route, IDispatch* client);
  void raiseConnectionFailed(IDispatch* source, Text& sourceIID, LONG reason) noexcept;

  VARIANT_BOOL useDispid_ = VARIANT_FALSE;
  ItemStore store_;
  KeyIndex index_;
  SourceMemory sources_;
  bool clearing_ = false;  // from pvClear to the next Class_Initialize: no item comes in
  const EventRoute* arriving_ = nullptr;  // of the event that a collection is about to pass here
  CollectionFace collectionFace_{*this};
  ConnectionPoint events_{*this, __uuidof(__Zollection)};
};

}  // namespace zsupport
