#include "server/class_factory.h"

#include "ZSupport.h"
#include "automation/boundary.h"
#include "automation/com_object.h"
#include "automation/com_ptr.h"
#include "collection/zollection.h"
#include "frame/thread_state.h"
#include "support/gzsupport.h"

namespace zsupport {
namespace {

// A new object of a class, with the reference of the caller; throws.
using CreateFunction = IUnknown* (*)();

IUnknown* createZollection() {
  auto object = ComPtr<ZollectionObject>::attach(new ZollectionObject());
  object->Class_Initialize();
  return static_cast<_Zollection*>(object.detach());
}

struct CreatableClass {
  const CLSID& id;
  CreateFunction create;
};

IUnknown* createGZSupport() { return createSupportObject().detach(); }

const CreatableClass kClasses[] = {
    {__uuidof(Zollection), createZollection},
    {__uuidof(GZSupport), createGZSupport},
};

// Counts as a living object: a host that keeps a factory needs the library.
class ClassFactory final : public ComObject<IClassFactory> {
 public:
  explicit ClassFactory(CreateFunction create) : create_(create) {}

  // IClassFactory
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    return atBoundary(IID_NULL, [&] {
      threadState();  // what the thread needs when there is no more memory, too
      return ComPtr<IUnknown>::attach(create_())->QueryInterface(id, object);
    });
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    holdModule(lock != FALSE);
    return S_OK;
  }

 private:
  const CreateFunction create_;
};

}  // namespace

HRESULT getClassFactory(REFCLSID classId, REFIID interfaceId, void** factory) noexcept {
  if (!factory) return E_POINTER;
  *factory = nullptr;
  for (const CreatableClass& creatable : kClasses) {
    if (creatable.id != classId) continue;
    return atBoundary(IID_NULL, [&] {
      const auto instance = ComPtr<ClassFactory>::attach(new ClassFactory(creatable.create));
      return instance->QueryInterface(interfaceId, factory);
    });
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace zsupport
