#include "growth.h"

#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "ZSupport.h"
#include "measure.h"

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
  Growth() : support_(create<_GZSupport>(L"ZSupport.GZSupport", __uuidof(_GZSupport))) {}
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
    return measure(
        size, round, [] {}, size == kSmall ? 20 : 3);
  }

  _GZSupport* support_;
};

}  // namespace

int showGrowth() {
  const struct {
    const char* member;
    double (Growth::*cost)(int) const;
  } rows[] = {{"StringArray, element", &Growth::stringArray},
              {"JoinLongs, element", &Growth::joinLongs},
              {"MakeLegalPath, letter", &Growth::makeLegalPath},
              {"VersionStamp, letter", &Growth::versionStamp}};
  const Growth growth;
  int result = 0;
  std::printf("\n%-22s %9s %9s %9s\n", "nanoseconds", "of 10,000", "of 10^6", "ratio");
  for (const auto& [member, cost] : rows) {
    const double small = (growth.*cost)(kSmall), large = (growth.*cost)(kLarge);
    std::printf("%-22s %9.1f %9.1f %9.2f\n", member, small, large, large / small);
    if (large / small > kMost) result = 1;
  }
  return result;
}
