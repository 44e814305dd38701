// Keyed access beside the platform's dictionary, late bound, and the standard library's map.
#include <unordered_map>
#include <utility>

#include "late.h"

namespace {

constexpr size_t kProbes = 1'000;

std::string sized(const char* what, int size) { return what + std::to_string(size); }

void finding(Report& report, int size) {
  const Both both;
  Keys keys(size), others(kProbes, L"", size);
  both.fill(keys.all());
  both.fillPeer(keys.all());
  const std::vector<BSTR> probes = keys.some(kProbes);
  report.row(sized("hit of ", size), kProbes, eachOf(probes, both.get),
             eachOf(probes, both.getPeer), 0.35);
  report.row(sized("miss of ", size), kProbes, eachOf(others.all(), both.exists),
             eachOf(others.all(), both.existsPeer), 0.35);
}

void adding(Report& report, int size) {
  const Both both;
  Keys keys(size);
  report.row(sized("Add of ", size), size, {[&] { both.fill(keys.all()); }, [&] { both.clear(); }},
             {[&] { both.fillPeer(keys.all()); }, [&] { both.clearPeer(); }}, 0.8);
}

// What a round has removed is added again before the next.
void removing(Report& report, int size, double target) {
  const Both both;
  Keys keys(size);
  const std::vector<BSTR> probes = keys.some(500);
  both.fill(keys.all());
  both.fillPeer(keys.all());
  bool removed = false, removedPeer = false;
  const auto refill = [&] {
    if (std::exchange(removed, true)) both.fill(probes);
  };
  const auto refillPeer = [&] {
    if (std::exchange(removedPeer, true)) both.fillPeer(probes);
  };
  report.row(sized("RemoveByKey of ", size), 500, {eachOf(probes, both.remove).round, refill},
             {eachOf(probes, both.removePeer).round, refillPeer}, target);
}

// The key of the map is at hand; a caller who has a BSTR would have to copy it.
void throughTheTable(Report& report, int size) {
  const Both both;
  Keys keys(size);
  both.fill(keys.all());
  std::unordered_map<std::wstring, IDispatch*> map;
  std::vector<std::wstring> texts;
  for (const BSTR key : keys.all()) map.emplace(texts.emplace_back(key), both.item);
  report.row(sized("hit of ", size), size, {[&] {
               for (BSTR& key : keys.all()) {
                 IDispatch* found = nullptr;
                 require(both.z->ItemByKey(&key, &found));
                 found->Release();
               }
             }},
             {[&] {
               for (const std::wstring& text : texts) {
                 IDispatch* const found = map.find(text)->second;
                 found->AddRef();
                 found->Release();
               }
             }},
             1);
}

void otherKeys(Report& report) {
  constexpr int kSize = 10'000;
  const Both binary, text, accented;
  Keys keys(kSize), accents(kSize, L"Caf\u00E9 "), accentedMisses(kProbes, L"Caf\u00E9 ", kSize);
  require(text.z->put_CompareMode(CompareText));
  binary.fill(keys.all());
  text.fill(keys.all());
  accented.fill(accents.all());
  const std::vector<BSTR> probes = keys.some(kProbes);
  report.heading("of 10,000, late bound (nanoseconds)", "binary");
  report.row("hit in text mode", kProbes, eachOf(probes, text.get), eachOf(probes, binary.get),
             1.5);
  report.row("hit of keys with an accent", kProbes, eachOf(accents.some(kProbes), accented.get),
             eachOf(probes, binary.get));
  report.row("miss among keys with an accent", kProbes,
             eachOf(accentedMisses.all(), accented.exists), eachOf(probes, binary.exists));
}

Work steps(IDispatch* object) {
  return {[object] {
    VARIANT value;
    VariantInit(&value);
    DISPPARAMS none{};
    require(object->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none,
                           &value, nullptr, nullptr));
    IEnumVARIANT* items = nullptr;
    require(V_UNKNOWN(&value)->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&items)));
    VariantClear(&value);
    while (items->Next(1, &value, nullptr) == S_OK) VariantClear(&value);
    items->Release();
  }};
}

// What the process has taken from the system.
double committedBytes() {
  MEMORY_BASIC_INFORMATION region;
  double bytes = 0;
  for (char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;
       at = static_cast<char*>(region.BaseAddress) + region.RegionSize) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) {
      bytes += static_cast<double>(region.RegionSize);
    }
  }
  return bytes;
}

void memory(Report& report) {
  constexpr int kSize = 100'000;
  const Both both;
  Keys keys(kSize);
  const double before = committedBytes();
  both.fill(keys.all());
  const double between = committedBytes();
  both.fillPeer(keys.all());
  const double after = committedBytes();
  report.heading("memory (bytes)", "Dictionary");
  report.show("an item with a key, of 100,000",
              {(between - before) / kSize, (after - between) / kSize});
}

}  // namespace

void benchCollection(Report& report) {
  report.heading("late bound (nanoseconds)", "Dictionary");
  for (const int size : {1'000, 10'000, 50'000, 200'000}) finding(report, size);
  for (const int size : {1'000, 10'000, 50'000}) adding(report, size);
  removing(report, 1'000, 1);
  removing(report, 10'000, 1);
  removing(report, 50'000, 2);
  {
    const Both both;
    Keys keys(10'000);
    both.fill(keys.all());
    both.fillPeer(keys.all());
    report.row("enumeration step", 10'000, steps(both.z), steps(both.dictionary), 0.5);
  }
  report.heading("through the vtable (nanoseconds)", "std map");
  for (const int size : {1'000, 10'000}) throughTheTable(report, size);
  otherKeys(report);
  memory(report);
}
