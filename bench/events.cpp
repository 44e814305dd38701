// What an event costs beyond the calls that it must make, and what connecting does.
#include <memory>

#include "source.h"

namespace {

constexpr int kEvents = 1'000, kItems = 500;

// The array made, the arguments copied, the client called, the array freed.
void hand(BareDispatch& client, DISPPARAMS& arguments) {
  SAFEARRAYBOUND bound = {arguments.cArgs, 0};
  SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bound);
  for (UINT i = 0; i < arguments.cArgs; ++i) {
    require(VariantCopyInd(static_cast<VARIANT*>(array->pvData) + i,
                           &arguments.rgvarg[arguments.cArgs - 1 - i]));
  }
  VARIANT byReference = valueOf(LONG{0});
  V_VT(&byReference) = VT_BYREF | VT_ARRAY | VT_VARIANT;
  V_ARRAYREF(&byReference) = &array;
  VARIANT lastFirst[] = {byReference, valueOf(LONG{2}), valueOf<IDispatch*>(&client),
                         valueOf(LONG{1})};
  DISPPARAMS parameters = {lastFirst, nullptr, 4, 0};
  client.Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                nullptr);
  SafeArrayDestroy(array);
}

Work firing(const Source& source, DISPPARAMS& arguments, int count = kEvents) {
  return {[&source, &arguments, count] {
    for (int i = 0; i < count; ++i) source.fire(arguments);
  }};
}

void oneEvent(Report& report) {
  Heard heard, named;
  Source byId, byName;
  heard.add(&byId);
  named.add(&byName);
  require(heard.z->put_UseDISPID(VARIANT_TRUE));
  const BSTR text = SysAllocString(L"an argument");
  VARIANT values[] = {valueOf(LONG{1}), valueOf(text), valueOf(LONG{3})};
  for (const UINT count : {0u, 1u, 3u}) {
    DISPPARAMS arguments = {values, nullptr, count, 0};
    const std::string with = std::to_string(count) + " arguments";
    report.row("event by id, " + with, kEvents, firing(byId, arguments), {[&] {
                 for (int i = 0; i < kEvents; ++i) hand(heard.client, arguments);
               }},
               1.5);
  }
  report.heading("events (nanoseconds)", "by id");
  for (const UINT count : {0u, 1u, 3u}) {
    DISPPARAMS arguments = {values, nullptr, count, 0};
    report.row("event by name, " + std::to_string(count) + " arguments", kEvents,
               firing(byName, arguments), firing(byId, arguments), 1.15);
  }
  SysFreeString(text);
}

void lastOfMany(Report& report) {
  Heard heard;
  Source first, last;
  BareDispatch silent;
  DISPPARAMS none{};
  heard.add(&first);
  heard.addUnconnected(20'000 - 2, create<IDispatch>(L"ZSupport.Zollection"));
  heard.add(&last);
  report.heading("events (nanoseconds)", "of first");
  report.row("event of the last of 20,000", 200, firing(last, none, 200), firing(first, none, 200),
             1.3);
}

// The calls that no connecting can do without.
struct Connection {
  explicit Connection(Source& source, IUnknown* sink) : source_(source) {
    ITypeInfo* info = nullptr;
    ITypeLib* library = nullptr;
    UINT index = 0;
    DWORD cookie = 0;
    IConnectionPoint* const point = find();
    require(source_.GetTypeInfo(0, 0, &info));
    require(info->GetContainingTypeLib(&library, &index));
    for (HGLOBAL& block : blocks_) block = GlobalAlloc(GPTR, 32);
    require(point->Advise(sink, &cookie));
    library->Release();
    info->Release();
    point->Release();
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    IConnectionPoint* const point = find();
    require(point->Unadvise(1));
    point->Release();
    for (const HGLOBAL block : blocks_) GlobalFree(block);
  }

 private:
  IConnectionPoint* find() const {
    IConnectionPointContainer* container = nullptr;
    IConnectionPoint* point = nullptr;
    require(source_.QueryInterface(IID_IConnectionPointContainer,
                                   reinterpret_cast<void**>(&container)));
    require(container->FindConnectionPoint(__uuidof(__Zollection), &point));
    container->Release();
    return point;
  }

  Source& source_;
  HGLOBAL blocks_[2];
};

void connecting(Report& report) {
  Heard heard;
  std::vector<Source> sources(kItems), peers(kItems);
  std::vector<std::unique_ptr<Connection>> connections;
  const auto add = [&] {
    for (Source& source : sources) heard.add(&source);
  };
  const auto connect = [&] {
    for (Source& source : peers) {
      connections.push_back(std::make_unique<Connection>(source, &heard.client));
    }
  };
  const auto clear = [&] { require(heard.z->Clear()); };
  const auto disconnect = [&] { connections.clear(); };
  report.heading("connecting (nanoseconds)", "its calls");
  report.row("Add of a class seen before", kItems, {add, clear}, {connect, disconnect}, 4);
  // From the end, so that nothing moves.
  report.row("removal", kItems,
             {[&] {
                for (LONG i = kItems; i > 0; --i) require(heard.z->RemoveByIndex(i));
              },
              [&] { clear(), add(); }},
             {disconnect, [&] { disconnect(), connect(); }}, 3);
}

}  // namespace

void benchEvents(Report& report) {
  report.heading("events (nanoseconds)", "its calls");
  oneEvent(report);
  lastOfMany(report);
  connecting(report);
}
