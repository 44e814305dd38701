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

  // Calls every client that is connected when the event starts and still is when its turn comes.
  // Each gets the arguments (last one first) as they are after the clients before it; what a
  // client answers is not looked at.
  void fire(DISPID event, std::span<const VARIANTARG> arguments) noexcept;

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

 private:
  struct Client {
    ComPtr<IDispatch> sink;
    DWORD cookie;
  };

  std::vector<Client>::iterator find(DWORD cookie);

  IConnectionPointContainer& owner_;
  const IID& eventInterface_;
  std::vector<Client> clients_;
  DWORD lastCookie_ = 0;
};

}  // namespace zsupport
