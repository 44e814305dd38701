#include "automation/connection_point.h"

#include <oleauto.h>
#include <olectl.h>

#include <algorithm>
#include <new>

#include "automation/foreign_object.h"
#include "automation/foreign_unwind.h"
#include "automation/snapshot_enumerator.h"

namespace zsupport {
namespace {

void givePoint(const ComPtr<IConnectionPoint>& held, IConnectionPoint** handed) {
  *handed = ComPtr(held).detach();
}

void giveConnection(const ConnectionPoint::Client& held, CONNECTDATA* handed) {
  *handed = {ComPtr(held.sink).detach(), held.cookie};
}

using PointEnumerator = SnapshotEnumerator<IEnumConnectionPoints, ComPtr<IConnectionPoint>,
                                           IConnectionPoint*, givePoint>;
using ConnectionEnumerator =
    SnapshotEnumerator<IEnumConnections, ConnectionPoint::Client, CONNECTDATA, giveConnection>;

}  // namespace

HRESULT ConnectionPoint::findFor(REFIID eventInterface, IConnectionPoint** point) noexcept {
  if (!point) return E_POINTER;
  *point = nullptr;
  if (eventInterface != eventInterface_) return CONNECT_E_NOCONNECTION;
  *point = ComPtr<IConnectionPoint>(this).detach();
  return S_OK;
}

HRESULT ConnectionPoint::enumerate(IEnumConnectionPoints** points) noexcept {
  if (!points) return E_POINTER;
  *points = nullptr;
  return unlessOutOfMemory(
      [&] { *points = new PointEnumerator({ComPtr<IConnectionPoint>(this)}); });
}

void ConnectionPoint::fire(DISPID event, std::span<const VARIANTARG> arguments, Admits admits,
                           void* context) noexcept {
  constexpr size_t kMostArguments = 4;
  VARIANTARG own[kMostArguments];
  const DWORD last = lastCookie_;
  auto client = clients_.begin();
  while (client != clients_.end() && client->cookie <= last) {
    const DWORD cookie = client->cookie;
    ComPtr<IDispatch> sink = client->sink;
    if (admits(context, sink.get())) {
      // A copy each, so that a client that scribbles on its arguments spoils only its own.
      const auto end = std::copy(arguments.begin(), arguments.end(), own);
      DISPPARAMS parameters = {own, nullptr, static_cast<UINT>(end - own), 0};
      CallFailure failure;  // of the handler: its own business
      UINT badArgument = 0;
      passingExceptions(
          [&] {
            sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                         nullptr, &failure, &badArgument);
          },
          [&] { sink.reset(); });
    }
    // The handler may have connected and disconnected any.
    client = firstAfter(cookie);
  }
}

void ConnectionPoint::disconnectAll() noexcept {
  // Taken out first: a client's Release may call back.
  const auto clients = std::move(clients_);
  clients_.clear();
}

HRESULT ConnectionPoint::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  *object = id == IID_IUnknown || id == IID_IConnectionPoint ? this : nullptr;
  if (!*object) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* id) {
  if (!id) return E_POINTER;
  *id = eventInterface_;
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  if (!container) return E_POINTER;
  *container = ComPtr<IConnectionPointContainer>(&owner_).detach();
  return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* client, DWORD* cookie) {
  if (!cookie) return E_POINTER;
  *cookie = 0;
  if (!client) return E_POINTER;
  auto sink = ComPtr<IDispatch>::from(client, eventInterface_);
  if (!sink) sink = ComPtr<IDispatch>::from(client);
  if (!sink) return CONNECT_E_CANNOTCONNECT;
  return unlessOutOfMemory([&] {
    clients_.push_back({std::move(sink), lastCookie_ + 1});
    *cookie = ++lastCookie_;
  });
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
  const auto found = find(cookie);
  if (found == clients_.end()) return CONNECT_E_NOCONNECTION;
  const Client leaving = std::move(*found);  // released last: its Release may call back
  clients_.erase(found);
  return S_OK;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) {
  if (!connections) return E_POINTER;
  *connections = nullptr;
  return unlessOutOfMemory([&] { *connections = new ConnectionEnumerator(clients_); });
}

ConnectionPoint::Clients::iterator ConnectionPoint::firstAfter(DWORD cookie) {
  return std::upper_bound(
      clients_.begin(), clients_.end(), cookie,
      [](DWORD sought, const Client& client) { return sought < client.cookie; });
}

ConnectionPoint::Clients::iterator ConnectionPoint::find(DWORD cookie) {
  const auto found = cookie == 0 ? clients_.end() : firstAfter(cookie - 1);
  return found != clients_.end() && found->cookie == cookie ? found : clients_.end();
}

}  // namespace zsupport
