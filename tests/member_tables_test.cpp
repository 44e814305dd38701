// The tables behind late binding, held against the type library as the platform reads it.
#include <windows.h>
#include <oaidl.h>

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "automation/text.h"
#include "collection/collection_face.h"
#include "collection/zollection.h"
#include "support/gzsupport.h"
#include "support/type_info.h"

using namespace zsupport;

namespace {

VARTYPE typeIn(ITypeInfo* info, const TYPEDESC& description) {
  if (description.vt == VT_PTR) {
    const VARTYPE type = typeIn(info, *description.lptdesc);
    return type == VT_UNKNOWN ? type : static_cast<VARTYPE>(type | VT_BYREF);
  }
  if (description.vt == VT_SAFEARRAY)
    return static_cast<VARTYPE>(typeIn(info, *description.lptdesc) | VT_ARRAY);
  if (description.vt != VT_USERDEFINED) return description.vt;
  ComPtr<ITypeInfo> type;
  TYPEATTR* attributes;
  info->GetRefTypeInfo(description.hreftype, type.put());
  type->GetTypeAttr(&attributes);
  const TYPEKIND kind = attributes->typekind;
  type->ReleaseTypeAttr(attributes);
  return kind == TKIND_RECORD ? VT_RECORD : kind == TKIND_ENUM ? VT_I4 : VT_UNKNOWN;
}

std::tuple<VARTYPE, LONG, std::wstring_view> defaultOf(const PARAMDESC& described) {
  if (!(described.wParamFlags & PARAMFLAG_FHASDEFAULT))
    return {VT_ERROR, DISP_E_PARAMNOTFOUND, L""};
  const VARIANT& value = described.pparamdescex->varDefaultValue;
  if (V_VT(&value) == VT_BSTR) return {VT_BSTR, 0, viewOf(V_BSTR(&value))};
  return {V_VT(&value), V_VT(&value) == VT_BOOL ? V_BOOL(&value) : V_I4(&value), L""};
}

// What the build listed of an interface is what the platform reads in the type library. That the
// C++ methods have these types is the compiler's to say.
void expectListed(const Member& member, ITypeInfo* info, const FUNCDESC& function) {
  SCOPED_TRACE(function.memid);
  EXPECT_EQ(std::tuple(function.memid, function.invkind, static_cast<size_t>(function.cParams)),
            std::tuple(member.id, static_cast<INVOKEKIND>(member.kind), member.parameters));
  std::vector<BSTR> names(1 + member.parameterNames.size());
  UINT count = 0;
  info->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count);
  ASSERT_EQ(names.size(), count);
  for (UINT i = 0; i < count; ++i) {
    EXPECT_EQ(viewOf(names[i]), i == 0 ? member.name : member.parameterNames[i - 1]);
    SysFreeString(names[i]);
  }
  EXPECT_EQ(typeIn(info, function.elemdescFunc.tdesc), member.resultType);
  const size_t required = member.parameters - member.defaults.size();
  for (size_t p = 0; p < member.parameters; ++p) {
    const ELEMDESC& parameter = function.lprgelemdescParam[p];
    EXPECT_EQ(typeIn(info, parameter.tdesc), member.types[p]) << p;
    EXPECT_EQ(p >= required, (parameter.paramdesc.wParamFlags & PARAMFLAG_FOPT) != 0) << p;
    if (p < required) continue;
    const Default& preset = member.defaults[p - required];
    EXPECT_EQ(defaultOf(parameter.paramdesc),
              std::tuple(preset.type, preset.number, preset.text ? preset.text : L""))
        << p;
  }
}

class MemberTables : public testing::TestWithParam<const MemberTable*> {
 protected:
  MemberTables() { EXPECT_EQ(S_OK, GetParam()->typeInfo(0, info.put())); }
  const std::span<const Member> members = GetParam()->members();
  ComPtr<ITypeInfo> info;
};
INSTANTIATE_TEST_SUITE_P(Of, MemberTables,
                         testing::Values(&ZollectionObject::members(), &CollectionFace::members(),
                                         &GZSupportObject::members()));

TEST_P(MemberTables, AreWhatTheTypeLibrarySays) {
  UINT described = 0;
  forEachMember(info.get(), [&](const FUNCDESC& function) {
    ASSERT_LT(described, members.size());
    expectListed(members[described++], info.get(), function);
  });
  EXPECT_EQ(members.size(), described);
}

// A name and a parameter, as they are, by a slip, by case, and with characters that the platform
// may ignore or fold.
TEST_P(MemberTables, KnowTheNamesThatThePlatformKnows) {
  for (const Member& member : members) {
    const std::wstring name = member.name;
    for (const std::wstring& start : {std::wstring{name[0]},
                                      {wchar_t(name[0] ^ 0x20)},
                                      {wchar_t(name[0] + 0xFEE0)},
                                      {name[0], L'_'},
                                      {name[0], 0xAD},
                                      {}}) {
      std::wstring varied = start + name.substr(1), key = L"KEY";
      LPOLESTR names[] = {varied.data(), key.data()};
      DISPID known[] = {77, 77}, found[] = {77, 77};
      EXPECT_EQ(info->GetIDsOfNames(names, 2, known), GetParam()->idsOfNames(names, 2, found));
      EXPECT_EQ(std::pair(known[0], known[1]), std::pair(found[0], found[1])) << varied;
    }
  }
}

}  // namespace
