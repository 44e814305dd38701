// What members cost when what they work on grows.
#include "source.h"

namespace {

constexpr int kSmall = 10'000, kLarge = 100 * kSmall;
// Caches make large things dearer, but a cost that grows with the size would be a hundredfold.
constexpr double kMost = 10;

BSTR textOf(const std::wstring& text) {
  return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

// Nanoseconds an element of one member at one size.
class Growth {
 public:
  Growth() : support_(create<_GZSupport>(L"ZSupport.GZSupport")) {}
  Growth(const Growth&) = delete;
  Growth& operator=(const Growth&) = delete;
  ~Growth() { support_->Release(); }

  double stringArray(int size) const {
    SAFEARRAY* values = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(size));
    auto* const elements = static_cast<VARIANT*>(values->pvData);
    for (int i = 0; i < size; ++i) {
      V_VT(&elements[i]) = VT_BSTR;
      V_BSTR(&elements[i]) = SysAllocString(L"a text");
    }
    const double cost = timed(size, [&] {
      SAFEARRAY* texts = nullptr;
      require(support_->StringArray(&values, &texts));
      SafeArrayDestroy(texts);
    });
    SafeArrayDestroy(values);
    return cost;
  }

  double joinLongs(int size) const {
    SAFEARRAY* numbers = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(size));
    for (int i = 0; i < size; ++i) static_cast<LONG*>(numbers->pvData)[i] = 12'345;
    BSTR delimiter = SysAllocString(L",");
    const double cost = timed(size, [&] {
      BSTR text = nullptr;
      require(support_->JoinLongs(&numbers, &delimiter, &text));
      SysFreeString(text);
    });
    SysFreeString(delimiter);
    SafeArrayDestroy(numbers);
    return cost;
  }

  double makeLegalPath(int size) const {
    std::wstring name;
    while (name.size() < static_cast<size_t>(size)) name += L"folder: * what?\\";
    const BSTR text = textOf(name);
    const double cost = timed(size, [&] {
      BSTR path = nullptr;
      require(support_->MakeLegalPath(text, &path));
      SysFreeString(path);
    });
    SysFreeString(text);
    return cost;
  }

  double versionStamp(int size) const {
    std::wstring version = L"1";
    while (version.size() < static_cast<size_t>(size)) version += L".25";
    BSTR text = textOf(version);
    const double cost = timed(size, [&] {
      VersionStampRecord stamp;
      require(support_->VersionStamp(&text, &stamp));
    });
    SysFreeString(text);
    return cost;
  }

 private:
  static double timed(int size, const std::function<void()>& round) {
    return measure(size, {round}, size == kSmall ? 20 : 3);
  }

  _GZSupport* support_;
};

struct Costs {
  double hit, anyHit, add, remove, event;
};

// Late bound but for the event; the removed are all over, and the one that fires is the last.
Costs collectionOf(int size) {
  constexpr int kProbes = 500;
  const Both both;
  Keys keys(size);
  Costs costs = {};
  costs.add = measure(size, {[&] { both.fill(keys.all()); }, [&] { both.clear(); }}, 3);
  const std::vector<BSTR> probes = keys.some(kProbes);
  // A caller who asks for the same thousand again and again, and one who asks for all.
  costs.hit = measure(1'000, eachOf(keys.some(1'000), both.get), 20);
  costs.anyHit = measure(size, eachOf(keys.some(static_cast<size_t>(size)), both.get));
  costs.remove = measure(kProbes, eachOf(probes, both.remove), 1);
  for (int again = 0; again < 2; ++again) {
    both.fill(probes);
    costs.remove = std::min(costs.remove, measure(kProbes, eachOf(probes, both.remove), 1));
  }
  Heard heard;
  Source last;
  DISPPARAMS none{};
  heard.addUnconnected(size - 1, both.item);
  heard.add(&last);
  costs.event = measure(100, {[&] {
                          for (int i = 0; i < 100; ++i) last.fire(none);
                        }});
  return costs;
}

void showCollection(Report& report) {
  std::printf("\n%-22s %9s %9s %9s %9s %9s\n", "collection (ns)", "hit", "of all", "Add", "remove",
              "event");
  double least = 0, most = 0;
  for (const int size : {1'000, 10'000, 50'000, 200'000}) {
    const Costs costs = collectionOf(size);
    std::printf("%-22d %9.0f %9.0f %9.0f %9.0f %9.0f\n", size, costs.hit, costs.anyHit, costs.add,
                costs.remove, costs.event);
    if (least == 0) least = costs.hit;
    most = costs.hit;
  }
  report.heading("growth (nanoseconds)", "small");
  report.show("hit of 200,000 against 1,000", {most, least}, 3);
}

}  // namespace

void benchGrowth(Report& report) {
  showCollection(report);
  const struct {
    const char* what;
    double (Growth::*cost)(int) const;
  } rows[] = {{"StringArray, element of a million", &Growth::stringArray},
              {"JoinLongs, element of a million", &Growth::joinLongs},
              {"MakeLegalPath, letter of a million", &Growth::makeLegalPath},
              {"VersionStamp, letter of a million", &Growth::versionStamp}};
  const Growth growth;
  for (const auto& [what, cost] : rows) {
    report.show(what, {(growth.*cost)(kLarge), (growth.*cost)(kSmall)}, kMost);
  }
}
