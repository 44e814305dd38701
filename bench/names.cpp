// What callers late bound pay beyond the member itself.
#include "late.h"

namespace {

Work asking(IDispatch* object, std::initializer_list<const wchar_t*> names) {
  return {[object, names = std::vector<const wchar_t*>(names)] {
    std::vector<DISPID> ids(names.size());
    for (int i = 0; i < 2'000; ++i) {
      require(object->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR*>(names.data()),
                                    static_cast<UINT>(names.size()), LOCALE_USER_DEFAULT,
                                    ids.data()));
    }
  }};
}

void countAgainstTypeInfo(Report& report, const Both& both) {
  ITypeInfo* info = nullptr;
  require(both.z->GetTypeInfo(0, 0, &info));
  const Member count(both.z, L"Count", DISPATCH_PROPERTYGET);
  const auto late = [&] {
    for (int i = 0; i < 2'000; ++i) count({});
  };
  const auto platform = [&] {
    for (int i = 0; i < 2'000; ++i) {
      VARIANT result;
      VariantInit(&result);
      DISPPARAMS none{};
      require(
          info->Invoke(both.z, count.id(), DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr));
    }
  };
  report.heading("late binding", "ITypeInfo");
  report.row("Count", 2'000, {late}, {platform}, 0.25);
  info->Release();
}

}  // namespace

void benchNames(Report& report) {
  const Both both;
  auto* const support = create<_GZSupport>(L"ZSupport.GZSupport");
  Keys keys(1'000);
  both.fill(keys.all());
  both.fillPeer(keys.all());
  countAgainstTypeInfo(report, both);

  report.heading("late binding (nanoseconds)", "Dictionary");
  const Work peer = asking(both.dictionary, {L"Item"});
  report.row("name Item", 2'000, asking(both.z, {L"Item"}), peer, 0.25);
  report.row("name RemoveByKey", 2'000, asking(both.z, {L"RemoveByKey"}), peer, 0.25);
  report.row("name EnsureDirExists", 2'000, asking(support, {L"EnsureDirExists"}), peer, 0.25);
  report.row("name WriteRegistryValue", 2'000, asking(support, {L"WriteRegistryValue"}), peer,
             0.25);
  report.row("names Add, After, Key", 2'000, asking(both.z, {L"Add", L"After", L"Key"}), peer,
             0.25);
  report.row("keyed hit, its name asked for", 1'000, {[&] {
               for (const BSTR key : keys.all()) both.get.byName({valueOf(key)});
             }},
             {[&] {
               for (const BSTR key : keys.all()) both.getPeer.byName({valueOf(key)});
             }},
             0.35);
  support->Release();
}
