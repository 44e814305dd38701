#include "event_session.h"

#include <algorithm>
#include <utility>

#include "event_sources.h"
#include "failure.h"
#include "literals.h"
#include "text.h"

namespace monitor {

const wchar_t EventSession::kNoInterface[] = L"{00000000-0000-0000-0000-000000000000}";

namespace {

// As the events of Zollection are numbered in its type library.
constexpr DISPID kEventRaised = 1;
constexpr DISPID kConnectionFailed = 2;

bool hasKey(const std::wstring& path, REGSAM view) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_QUERY_VALUE | view, &key)) return false;
  RegCloseKey(key);
  return true;
}

// A DLL that a program of 32 bits cannot load.
bool isOnlyIn64Bit(REFCLSID classId) {
  const std::wstring server = L"CLSID\\" + formatGuid(classId) + L"\\InprocServer32";
  return hasKey(server, KEY_WOW64_64KEY) && !hasKey(server, KEY_WOW64_32KEY);
}

std::wstring interfaceName(const std::wstring& id) {
  wchar_t name[256];
  DWORD size = sizeof name;
  const LSTATUS result = RegGetValueW(HKEY_CLASSES_ROOT, (L"Interface\\" + id).c_str(), nullptr,
                                      RRF_RT_REG_SZ, nullptr, name, &size);
  return result == ERROR_SUCCESS ? name : std::wstring();
}

std::vector<SourceInterface> enumerateSources(IDispatch* object) {
  std::vector<SourceInterface> sources;
  const Ptr<IConnectionPointContainer> container = object;
  IEnumConnectionPoints* found = nullptr;
  if (!container || FAILED(container->EnumConnectionPoints(&found)) || !found) return sources;
  const Ptr<IEnumConnectionPoints> points(found, false);
  IConnectionPoint* next = nullptr;
  while (points->Next(1, &next, nullptr) == S_OK) {
    const Ptr<IConnectionPoint> point(next, false);
    IID id;
    if (FAILED(point->GetConnectionInterface(&id))) break;
    const std::wstring text = formatGuid(id);
    const bool isKnown = std::any_of(sources.begin(), sources.end(),
                                     [&text](const auto& each) { return each.id == text; });
    if (isKnown) break;  // there are enumerations that begin again
    sources.push_back({text, interfaceName(text)});
  }
  return sources;
}

std::wstring reasonText(LONG reason) {
  switch (reason) {
    case wecErrSourceNotDispinterface:
      return L"its default event interface is of a kind that cannot be heard";
    case wecErrSourceInterfaceNotFound:
      return L"it has no connection point for the interface";
    case wecErrCannotCreateSinkObject:
      return L"there is no memory to listen with";
    default:
      return systemText(static_cast<DWORD>(reason));
  }
}

// Texts and messages of an object's own refusal.
std::wstring exceptionText(EXCEPINFO& exception) {
  if (exception.pfnDeferredFillIn) exception.pfnDeferredFillIn(&exception);
  const _bstr_t description(exception.bstrDescription, false), source(exception.bstrSource, false);
  const _bstr_t help(exception.bstrHelpFile, false);
  if (description.length()) return textOf(description);
  const HRESULT code =
      exception.wCode ? MAKE_HRESULT(1, FACILITY_CONTROL, exception.wCode) : exception.scode;
  return systemText(static_cast<DWORD>(code));
}

_variant_t invoke(IDispatch* object, WORD flags, const std::wstring& member,
                  std::vector<_variant_t> arguments) {
  LPOLESTR name = const_cast<LPOLESTR>(member.c_str());
  DISPID id = 0;
  const HRESULT known = object->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
  if (known == DISP_E_UNKNOWNNAME) throw Failure{L"It has no member \"" + member + L"\""};
  require(known, member);
  std::reverse(arguments.begin(), arguments.end());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  if (flags == DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  _variant_t answer;
  EXCEPINFO exception{};
  const HRESULT result =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                     flags == DISPATCH_PROPERTYPUT ? nullptr : &answer, &exception, nullptr);
  if (result == DISP_E_EXCEPTION) throw Failure{member + L": " + exceptionText(exception)};
  require(result, member);
  return answer;
}

}  // namespace

// The one handler of all events, alive as long as the collection holds it.
class EventSession::Handler final : public IDispatch {
 public:
  explicit Handler(EventSession* session) : session_(session) {}

  void leave() { session_ = nullptr; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    const bool isKnown = id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(__Zollection);
    *object = isKnown ? this : nullptr;
    if (isKnown) AddRef();
    return isKnown ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count) *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* given, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    if (!session_ || !given) return S_OK;
    const VARIANTARG* const last = given->rgvarg;  // the last parameter is the first
    try {
      if (event == kEventRaised && given->cArgs == 4) {
        session_->raised(V_I4(&last[3]), V_DISPATCH(&last[2]), last[1], *V_ARRAYREF(&last[0]));
      } else if (event == kConnectionFailed && given->cArgs == 3) {
        session_->failed(V_DISPATCH(&last[2]), V_I4(&last[0]));
      }
    } catch (...) {
      // No event is worth the object's or the collection's way.
    }
    return S_OK;
  }

 private:
  ~Handler() = default;

  ULONG references_ = 0;
  EventSession* session_;
};

EventSession::EventSession(std::function<void(Row)> show)
    : show_(std::move(show)), collection_(createCollection()), handler_(new Handler(this)) {
  const Ptr<IConnectionPointContainer> container = collection_;
  IConnectionPoint* point = nullptr;
  require(container->FindConnectionPoint(__uuidof(__Zollection), &point), L"Zollection");
  events_.Attach(point);
  require(events_->Advise(handler_, &cookie_), L"Zollection");
}

EventSession::~EventSession() {
  static_cast<Handler*>(handler_.GetInterfacePtr())->leave();
  collection_->Clear();
  events_->Unadvise(cookie_);
}

void EventSession::setIds(bool ids) {
  require(collection_->put_UseDISPID(ids ? VARIANT_TRUE : VARIANT_FALSE), L"UseDISPID");
}

void EventSession::watch(const std::wstring& name, bool isRunning, const std::wstring& key,
                         const std::wstring& interfaceId) {
  alternatives_.clear();
  const Ptr<IDispatch> before = std::exchange(refused_, nullptr);
  forgetErrors();
  const bool isSame = before && refusedName_ == name && wasRunning_ == isRunning;
  const Ptr<IDispatch> object = isSame      ? before
                                : isRunning ? runningObject(name)
                                            : createObject(name);
  forgetErrors();
  if (const Ptr<IConnectionPointContainer> container = object; !container) {
    throw Failure{name + L" is no event source: it has no connection points"};
  }
  add(object, isRunning, name, key, interfaceId);
}

void EventSession::add(const Ptr<IDispatch>& object, bool isRunning, const std::wstring& name,
                       const std::wstring& key, const std::wstring& interfaceId) {
  refusal_.clear();
  _bstr_t sourceId = bstrOf(interfaceId), keyText = bstrOf(key);
  _variant_t before, after;
  V_VT(&before) = V_VT(&after) = VT_ERROR;
  V_ERROR(&before) = V_ERROR(&after) = DISP_E_PARAMNOTFOUND;
  const HRESULT result =
      collection_->Add(object, &sourceId.GetBSTR(), &keyText.GetBSTR(), &before, &after);
  if (FAILED(result)) {
    const std::wstring why = refusal_.empty() ? automationText(result) : refusal_;
    if (!refusal_.empty()) {
      refused_ = object;
      refusedName_ = name;
      wasRunning_ = isRunning;
    }
    throw Failure{name + L" cannot be heard: " + why};
  }
  items_.push_back({name, key});
  const bool isHeard = interfaceId != kNoInterface;
  note(Kind::kInformation, std::to_wstring(items_.size()), key.empty() ? name : key, L"(added)",
       isHeard ? name : name + L", without events");
}

void EventSession::failed(IDispatch* source, LONG reason) {
  refusal_ = reasonText(reason);
  alternatives_ = enumerateSources(source);
  note(Kind::kError, L"", typeNameOf(source), L"ConnectionFailed", reasonText(reason));
}

void EventSession::raised(LONG position, IDispatch* source, const VARIANT& event,
                          SAFEARRAY* arguments) {
  const bool isListed = position > 0 && static_cast<size_t>(position) <= items_.size();
  // Copied: describing objects may let in what changes the items.
  WatchedItem item;
  if (isListed) {
    ++items_[static_cast<size_t>(position) - 1].events;
    item = items_[static_cast<size_t>(position) - 1];
  } else if (source) {
    item.name = typeNameOf(source);
  }
  const std::wstring name = V_VT(&event) == VT_BSTR
                                ? std::wstring(V_BSTR(&event), SysStringLen(V_BSTR(&event)))
                                : std::to_wstring(V_VT(&event) == VT_I4 ? V_I4(&event) : 0);
  show_(
      Row(Kind::kEvent, {now(), std::to_wstring(position), item.key.empty() ? item.name : item.key,
                         name, describeElements(arguments), item.name}));
}

void EventSession::note(Kind kind, const std::wstring& position, const std::wstring& source,
                        const std::wstring& event, const std::wstring& text) {
  show_(Row(kind, {now(), position, source, event, text, L""}));
}

void EventSession::remove(size_t position) {
  forgetErrors();
  if (position == 0 || position > items_.size()) throw Failure{L"No object is chosen"};
  const WatchedItem gone = items_[position - 1];
  const HRESULT result = collection_->RemoveByIndex(static_cast<LONG>(position));
  LONG left = 0;
  collection_->get_Count(&left);
  if (static_cast<size_t>(left) < items_.size()) {
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position) - 1);
    note(Kind::kInformation, std::to_wstring(position), gone.key.empty() ? gone.name : gone.key,
         L"(removed)", gone.name);
  }
  require(result, L"Its connection could not be ended");
}

void EventSession::clear() {
  forgetErrors();
  refused_ = nullptr;
  alternatives_.clear();
  const size_t count = items_.size();
  const HRESULT result = collection_->Clear();
  items_.clear();
  note(Kind::kInformation, L"", L"", L"(cleared)", std::to_wstring(count) + L" objects");
  require(result, L"A connection could not be ended");
}

std::wstring EventSession::use(size_t position, Access access, const std::wstring& member,
                               const std::wstring& arguments) {
  if (position == 0 || position > items_.size()) throw Failure{L"No object is chosen"};
  if (member.empty()) throw Failure{L"A property or method needs a name"};
  forgetErrors();
  std::vector<_variant_t> values = readLiterals(arguments);
  if (access == Access::kSet && values.empty()) throw Failure{L"A property is set to a value"};
  IDispatch* found = nullptr;
  require(collection_->ItemByIndex(static_cast<LONG>(position), &found), L"ItemByIndex");
  if (!found) throw Failure{L"The object has gone"};
  const Ptr<IDispatch> object(found, false);
  const WORD flags = access == Access::kGet   ? DISPATCH_PROPERTYGET
                     : access == Access::kSet ? DISPATCH_PROPERTYPUT
                                              : DISPATCH_METHOD;
  const _variant_t answer = invoke(object, flags, member, std::move(values));
  if (access == Access::kSet) return member + L" is set";
  return V_VT(&answer) == VT_EMPTY ? member + L" is done" : member + L" = " + describe(answer);
}

Ptr<IDispatch> createObject(const std::wstring& className) {
  CLSID classId;
  if (className.empty()) throw Failure{L"A class needs a name, such as Shell.Explorer.2"};
  if (FAILED(CLSIDFromString(className.c_str(), &classId))) {
    throw Failure{L"There is no class " + className};
  }
  Ptr<IUnknown> object;
  const HRESULT result =
      object.CreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER);
  if (FAILED(result) && isOnlyIn64Bit(classId)) {
    throw Failure{className + L" is there in 64 bits only, and this is a program of 32"};
  }
  require(result, className + L" cannot be created");
  const Ptr<IDispatch> dispatch = object;
  if (!dispatch) throw Failure{className + L" is no automation object"};
  return dispatch;
}

Ptr<IDispatch> runningObject(const std::wstring& name) {
  if (name.empty()) throw Failure{L"A running object needs the name of its class"};
  _bstr_t className = bstrOf(name);
  VARIANT_BOOL always = VARIANT_FALSE, create = VARIANT_FALSE;
  IDispatch* byClass = nullptr;
  createSupport()->GetROTObject(&className.GetBSTR(), &always, &create, &byClass);
  if (byClass) return Ptr<IDispatch>(byClass, false);
  for (const RunningObject& each : runningObjects()) {
    if (compareFolded(each.name, name) == 0) {
      if (const Ptr<IDispatch> dispatch = each.object()) return dispatch;
      throw Failure{name + L" is no automation object"};
    }
  }
  throw Failure{L"No object " + name + L" is running"};
}

}  // namespace monitor
