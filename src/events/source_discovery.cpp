#include "events/source_discovery.h"

#include <ocidl.h>

#include <string>

#include "ZSupport.h"
#include "automation/text.h"
#include "events/procedure.h"
#include "events/type_information.h"

namespace zsupport {
namespace {

SourceKind kindOf(const TypeAttributes& attributes) {
  if (!attributes || attributes->typekind != TKIND_DISPATCH) return SourceKind::kCustom;
  return attributes->wTypeFlags & TYPEFLAG_FDUAL ? SourceKind::kDual : SourceKind::kDispatch;
}

std::wstring nameOf(ITypeInfo* info) {
  Text name;
  if (FAILED(info->GetDocumentation(MEMBERID_NIL, name.inout(), nullptr, nullptr, nullptr))) {
    return {};
  }
  return std::wstring(name.view());
}

// The first interface of a coclass that carries all the wanted flags and none of the others.
ComPtr<ITypeInfo> findInterface(ITypeInfo* coclass, INT wanted, INT unwanted) {
  const TypeAttributes attributes(coclass);
  if (!attributes) return {};
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    INT flags = 0;
    if (FAILED(coclass->GetImplTypeFlags(i, &flags))) continue;
    if ((flags & (wanted | unwanted)) == wanted) return implementedType(coclass, i);
  }
  return {};
}

// The first class in the library for which the test answers true.
template <class Test>
ComPtr<ITypeInfo> findClass(ITypeLib* library, Test&& test) {
  const UINT count = library->GetTypeInfoCount();
  for (UINT i = 0; i < count; ++i) {
    TYPEKIND kind;
    if (FAILED(library->GetTypeInfoType(i, &kind)) || kind != TKIND_COCLASS) continue;
    auto candidate =
        obtain<ITypeInfo>([&](ITypeInfo** out) { return library->GetTypeInfo(i, out); });
    if (candidate && test(candidate.get())) return candidate;
  }
  return {};
}

std::wstring withoutUnderscore(const std::wstring& name) {
  return name.starts_with(L'_') ? name.substr(1) : name;
}

// The class in the library whose default interface is the given one; of several, the one that is
// named as the interface, or else the first.
std::wstring classNameByInterface(ITypeLib* library, ITypeInfo* interfaceInfo) {
  const TypeAttributes sought(interfaceInfo);
  if (!sought) return {};
  const std::wstring likely = withoutUnderscore(nameOf(interfaceInfo));
  std::wstring first;
  findClass(library, [&](ITypeInfo* candidate) {
    const auto face = findInterface(candidate, IMPLTYPEFLAG_FDEFAULT, IMPLTYPEFLAG_FSOURCE);
    const TypeAttributes found(face.get());
    if (!found || found->guid != sought->guid) return false;
    const std::wstring name = nameOf(candidate);
    if (first.empty() || name == likely) first = name;
    return name == likely;
  });
  return first;
}

ComPtr<ITypeInfo> classInfoOf(IDispatch* item) {
  const auto provider = ComPtr<IProvideClassInfo>::from(item);
  if (!provider) return {};
  return obtain<ITypeInfo>([&](ITypeInfo** out) { return provider->GetClassInfo(out); });
}

// The name of an object's class as its type library lists it: told by the object, or found by the
// interface that it shows, or, failing both, that interface's own name less a leading "_".
std::wstring classNameOf(ITypeInfo* classInfo, ITypeInfo* info) {
  if (classInfo) return nameOf(classInfo);
  if (const auto library = libraryOf(info)) {
    std::wstring name = classNameByInterface(library.get(), info);
    if (!name.empty()) return name;
  }
  return withoutUnderscore(nameOf(info));
}

// The class of that name. False when the library knows none, or several things, of the name. A
// library of another apartment does not carry the question over: then its classes are gone through.
bool findByName(ITypeLib* library, std::wstring name, ComPtr<ITypeInfo>& coclass) {
  MEMBERID member = MEMBERID_NIL;
  USHORT found = 1;
  HRESULT asked = S_OK;
  coclass = obtain<ITypeInfo>([&](ITypeInfo** out) {
    asked = library->FindName(name.data(), 0, out, &member, &found);
    return asked;
  });
  if (SUCCEEDED(asked) || found != 1) return found == 1;
  coclass = findClass(library, [&](ITypeInfo* candidate) { return nameOf(candidate) == name; });
  return true;
}

// The default event interface of a class.
std::optional<LONG> findSource(ITypeInfo* classInfo, ITypeInfo* info, IID& iid) {
  if (!info) return _wecErrNoTypelib;
  const std::wstring className = classNameOf(classInfo, info);
  const auto library = libraryOf(info);
  if (!library) return _wecErrNoTypelib;

  ComPtr<ITypeInfo> coclass;
  if (!findByName(library.get(), className, coclass)) return 0;
  if (!coclass) return _wecErrNoDefaultSource;
  const auto source = findInterface(coclass.get(), IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE, 0);
  if (!source) return _wecErrNoDefaultSource;
  const TypeAttributes attributes(source.get());
  if (kindOf(attributes) != SourceKind::kDispatch) return wecErrSourceNotDispinterface;
  iid = attributes->guid;
  return 0;
}

}  // namespace

bool pvIsEventSource(IDispatch* item) {
  return framed(procedure(L"Function pvIsEventSource"),
                [&] { return static_cast<bool>(ComPtr<IConnectionPointContainer>::from(item)); });
}

std::optional<LONG> pvGetDefaultSourceInterface(IDispatch* item, SourceMemory& memory, IID& iid) {
  return framed(procedure(L"Function pvGetDefaultSourceInterface"), [&]() -> std::optional<LONG> {
    const auto classInfo = classInfoOf(item);
    const auto info = typeInfoOfItem(item);
    const auto known = info ? memory.classOf(info.get()) : ComPtr<KnownClass>();
    if (const IID* const source = known ? known->sourceOf(classInfo.get()) : nullptr) {
      iid = *source;
      return 0;
    }
    const std::optional<LONG> code = findSource(classInfo.get(), info.get(), iid);
    if (known && code == 0 && iid != IID_NULL) known->rememberSource(classInfo.get(), iid);
    return code;
  });
}

SourceInterface describeSource(IDispatch* item, REFIID iid) {
  if (iid == IID_IPropertyNotifySink) return {SourceKind::kCustom, {}};
  SourceInterface source;
  source.description = describedBeside(typeInfoOfItem(item).get(), iid);
  if (source.description) source.kind = kindOf(TypeAttributes(source.description.get()));
  return source;
}

}  // namespace zsupport
