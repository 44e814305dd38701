// GZSupport as its type library describes it, member by member, and a late-bound call of each.
#include "support/answer.h"
#include "support/late_call.h"

namespace {

std::wstring typeName(ITypeInfo* info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_PTR: return typeName(info, *type.lptdesc) + L"&";
    case VT_SAFEARRAY: return typeName(info, *type.lptdesc) + L"()";
    case VT_USERDEFINED: {
      ComPtr<ITypeInfo> described;
      Text name;
      EXPECT_EQ(S_OK, info->GetRefTypeInfo(type.hreftype, described.put()));
      EXPECT_EQ(S_OK, described->GetDocumentation(MEMBERID_NIL, name.inout(), nullptr, nullptr, nullptr));
      return std::wstring(name.view());
    }
    case VT_BSTR: return L"String";
    case VT_I4: return L"Long";
    case VT_I2: return L"Integer";
    case VT_BOOL: return L"Boolean";
    case VT_R8: return L"Double";
    case VT_DATE: return L"Date";
    case VT_VARIANT: return L"Variant";
    case VT_DISPATCH: return L"Object";
    case VT_VOID: return L"nothing";
    default: return L"?" + std::to_wstring(type.vt);
  }
}

// "Name(Type& First, [Type Second = default]): Result". References are marked, & after the type.
std::wstring signatureOf(ITypeInfo* info, const FUNCDESC& function) {
  std::vector<BSTR> names(static_cast<size_t>(function.cParams) + 1);
  UINT count = 0;
  EXPECT_EQ(S_OK, info->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count));
  std::wstring signature = std::wstring(names[0]) + L"(";
  for (SHORT i = 0; i < function.cParams; ++i) {
    const ELEMDESC& parameter = function.lprgelemdescParam[i];
    const USHORT flags = parameter.paramdesc.wParamFlags;
    const bool isReference = parameter.tdesc.vt == VT_PTR;
    EXPECT_EQ(isReference ? PARAMFLAG_FIN | PARAMFLAG_FOUT : PARAMFLAG_FIN, flags & (PARAMFLAG_FIN | PARAMFLAG_FOUT));
    std::wstring text = typeName(info, parameter.tdesc) + L" " + names[static_cast<size_t>(i) + 1];
    if (flags & PARAMFLAG_FHASDEFAULT) {
      text += L" = " + std::wstring(zsupport::toText(parameter.paramdesc.pparamdescex->varDefaultValue).view());
    }
    signature += (i ? L", " : L"") + (flags & PARAMFLAG_FOPT ? L"[" + text + L"]" : text);
  }
  for (const BSTR name : names) SysFreeString(name);
  return signature + L"): " + typeName(info, function.elemdescFunc.tdesc);
}

void expectEveryMemberToAnswer() {
  const Text nothing(L""), version(L"1.2.3"), nobody(L"{00000000-1111-2222-3333-444444444444}");
  const Text section(L"Software\\Zarnow Instruments Ltd.\\Test\\TypeLibrary"), place(L"C:\\windows\\");
  const auto support = newSupport();
  Call stamp{};
  call(stamp, support.get(), idOf(support.get(), L"VersionStamp"), DISPATCH_METHOD, {textValue(version)});
  VARIANT texts = valueOfType(VT_ARRAY | VT_BSTR), values = valueOfType(VT_ARRAY | VT_VARIANT);
  VARIANT numbers = valueOfType(VT_ARRAY | VT_I4), empty = valueOfType(VT_EMPTY);
  V_ARRAY(&texts) = SafeArrayCreateVector(VT_BSTR, 0, 1);
  V_ARRAY(&values) = SafeArrayCreateVector(VT_VARIANT, 0, 1);
  V_ARRAY(&numbers) = SafeArrayCreateVector(VT_I4, 0, 1);
  const VARIANT address = longValue(reinterpret_cast<LONG>(&V_ARRAY(&numbers))), any = textValue(nothing);
  const struct {
    std::wstring signature;
    std::vector<VARIANT> arguments;
    VARTYPE result;
  } members[] = {
      {L"GetRegistryValue(String& ValueKey, Variant& Default, [String& SectionKey = ], [Boolean& bNoPolicySet = "
       L"False]): Variant",
       {any, longValue(1), textValue(section)},
       VT_I4},
      {L"WriteRegistryValue(String& ValueKey, Variant& Value, Variant& Default, RegWriteMode& mode, [String& "
       L"SectionKey "
       L"= ], [String& Prompt = this]): nothing",
       {any, longValue(1), longValue(1), longValue(rwm_User), textValue(section)},
       VT_EMPTY},
      {L"VersionStamp(String& strVersionString): VersionStamp", {textValue(version)}, VT_RECORD},
      {L"VersionString(VersionStamp& vs, [Boolean& bFull = True], [Boolean& bIncludeRT = True], [Boolean& "
       L"bHideRevision = False]): String",
       {stamp.value.get()},
       VT_BSTR},
      {L"CompareVersionStamps(VersionStamp& VS1, VersionStamp& VS2): Long",
       {stamp.value.get(), stamp.value.get()},
       VT_I4},
      {L"OSVersion(): VersionStamp", {}, VT_RECORD},
      {L"MakeLegalPath(String strUnrestricted): String", {any}, VT_BSTR},
      {L"GetLongPathName(String& strShortPathName): String", {textValue(place)}, VT_BSTR},
      {L"GetUserName(): String", {}, VT_BSTR},
      {L"GetComputerName(): String", {}, VT_BSTR},
      {L"GetFolderPath(csidl& ePath, [String strSubDir = ]): String", {longValue(26)}, VT_BSTR},
      {L"GetMyDocumentsPath(): String", {}, VT_BSTR},
      {L"GetAppDataPath(): String", {}, VT_BSTR},
      {L"GetCommonAppDataPath(): String", {}, VT_BSTR},
      {L"GetTempPath(): String", {}, VT_BSTR},
      {L"GetTempFileName2([String& strDir = ], [String& strPrefix = ]): String", {}, VT_BSTR},
      {L"EnsureDirExists(String& strDir): Boolean", {textValue(place)}, VT_BOOL},
      {L"StringArray(Variant()& Strings): String()", {values}, VT_ARRAY | VT_BSTR},
      {L"StringArray2(Variant()& v): String()", {values}, VT_ARRAY | VT_BSTR},
      {L"JoinLongs(Long()& l, [String& strDelimiter = ,]): String", {numbers}, VT_BSTR},
      {L"AddSVParameter(String()& strStrings, Variant()& vValues, String& strString, Variant& vValue): nothing",
       {texts, values, any, longValue(1)},
       VT_EMPTY},
      {L"IsEqualVariant(Variant& v1, Variant& v2): Boolean", {any, any}, VT_BOOL},
      {L"IsEqualDate(Date& d1, Date& d2): Boolean", {longValue(1), longValue(1)}, VT_BOOL},
      {L"DateMultiple(Date& d1, Date& d2): Double", {longValue(1), longValue(1)}, VT_R8},
      {L"NotImplemented(String& NIID, [String& strText = Not Implemented]): nothing", {any}, VT_EMPTY},
      {L"VBoost(): Object", {}, VT_DISPATCH},
      {L"ArrayDescriptor(Long ppSA): ArrayHeader", {address}, VT_RECORD},
      {L"ArrayDescriptor1D(Long ppSA): ArrayHeader1D", {address}, VT_RECORD},
      {L"ArrayBounds(Long ppSA, SAFEARRAYBOUND()& Bounds): Integer", {address, reference(VT_VARIANT, &empty)}, VT_I2},
      {L"GetComponentProductID(String& CompID): String", {textValue(nobody)}, VT_BSTR},
      {L"GetComponentLocation2(String& CompID, String& ProductID, [InstallMode& Action = 2], [String& Prompt = ], "
       L"[Boolean& bIgnoreProduct = False]): String",
       {textValue(nobody), any, longValue(im_Fail)},
       VT_BSTR},
      {L"GetProductInfo(String& ProductID, String& strProperty): String", {textValue(nobody), any}, VT_BSTR},
      {L"GetProductSummaryInfo(String& ProductID, sisPropertyID& eProperty): String",
       {textValue(nobody), longValue(2)},
       VT_BSTR},
      {L"CenterWindow(Long& hwnd, [Long& hWndOwner = 0], [Boolean& bMaximize = False]): nothing",
       {longValue(0)},
       VT_EMPTY},
      {L"BoundingBox(Long hwnd): RECT", {longValue(0)}, VT_RECORD},
      {L"GetTaggedWindow2(String AppID): Long", {any}, VT_I4},
      {L"SendData(Long hWndTo, String strString, Long lData): nothing", {longValue(0), any, longValue(0)}, VT_EMPTY},
      {L"GetROTObject(String& strClass, [Boolean& bAllwaysUseROT = False], [Boolean& bCreateIfNotRunning = True]): "
       L"Object",
       {any},
       VT_DISPATCH},
  };

  ComPtr<ITypeInfo> info;
  ASSERT_EQ(S_OK, support->GetTypeInfo(0, 0, info.put()));
  TYPEATTR* attributes;
  ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
  UINT described = 0;
  const Answer answer(IDOK);
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function;
    ASSERT_EQ(S_OK, info->GetFuncDesc(i, &function));
    if (!(function->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
      ASSERT_LT(described, std::size(members));
      const auto& [signature, arguments, result] = members[described++];
      EXPECT_EQ(signature, signatureOf(info.get(), *function));
      Text help;
      EXPECT_EQ(S_OK, info->GetDocumentation(function->memid, nullptr, help.inout(), nullptr, nullptr));
      EXPECT_FALSE(help.view().empty()) << signature;
      Call outcome{};
      call(outcome, support.get(), function->memid, DISPATCH_METHOD | DISPATCH_PROPERTYGET, arguments);
      EXPECT_EQ(S_OK, outcome.result) << signature << outcome.description;
      EXPECT_EQ(result, V_VT(&outcome.value.get())) << signature;
      if (signature.starts_with(L"GetTempFileName2")) DeleteFileW(V_BSTR(&outcome.value.get()));
    }
    info->ReleaseFuncDesc(function);
  }
  EXPECT_EQ(std::size(members), described);
  info->ReleaseTypeAttr(attributes);
  for (VARIANT* const array : {&texts, &values, &numbers, &empty}) VariantClear(array);
  RegDeleteTreeW(HKEY_CURRENT_USER, section.get());
}

// On a thread that does not raise errors yet: each member has its empty result then.
TEST(TypeLibrary, DescribesEveryMemberOfGZSupportAndEachAnswers) { onFreshThread(expectEveryMemberToAnswer); }

}  // namespace
