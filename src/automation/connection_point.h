// The outgoing side of a class of ours: one connection point for its event interface.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <span>
#include <vector>

#include "automation/com_ptr.h"

namespace zsupport {

// Part of the object that fires: it lives inside it and shares its reference count.
class ConnectionPoint final : public IConnectionPoint {
 public:
  ConnectionPoint(IConnectionPointContainer& owner, REFIID eventInterface)
      : owner_(owner), eventInterface_(eventInterface) {}
  ConnectionPoint(const ConnectionPoint&) = delete;
  ConnectionPoint& operator=(const ConnectionPoint&) = delete;

  // The owner's IConnectionPointContainer, for a container of this one point.
  HRESULT findFor(REFIID eventInterface, IConnectionPoint** point) noexcept;
  HRESULT enumerate(IEnumConnectionPoints** points) noexcept;

  // Says of a client whether it is to hear an event.
  using Admits = bool (*)(void* context, IDispatch* client);

  // Calls every client that is connected when the event starts and still is when its turn comes.
  // Each gets the arguments (last one first, four at most) as they are after the clients before it;
  // what a client answers is not looked at. The caller holds the owner, and gives back what he
  // holds when a client leaves by a structured exception. Needs no memory.
  void fire(DISPID event, std::span<const VARIANTARG> arguments, Admits admits,
            void* context) noexcept;

  // Lets go of all clients.
  void disconnectAll() noexcept;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }

  // IConnectionPoint
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override;
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override;
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* client, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

  struct Client {
    ComPtr<IDispatch> sink;
    DWORD cookie;
  };

 private:
  using Clients = std::vector<Client>;
  // In the order of connecting, which is that of the cookies.
  Clients::iterator find(DWORD cookie);
  Clients::iterator firstAfter(DWORD cookie);

  IConnectionPointContainer& owner_;
  const IID& eventInterface_;
  Clients clients_;
  DWORD lastCookie_ = 0;
};

}  // namespace zsupport
