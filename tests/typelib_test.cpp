// The type library, held against its reference (docs/reference.md).
#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "support/com.h"
#include "support/type_info.h"

namespace {

// What is described, a line each: "Name(First As Type, [ByVal Second As Type = default]) As
// Result", "csidl.CSIDL_DESKTOP = 0", "VersionStamp.Major = Long".
using Description = std::set<std::string>;

std::string narrow(std::wstring_view text) { return std::string(text.begin(), text.end()); }

std::string nameOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
  Text name;
  EXPECT_EQ(S_OK, info->GetDocumentation(member, name.inout(), nullptr, nullptr, nullptr));
  return narrow(name.view());
}

std::string typeName(ITypeInfo* info, const TYPEDESC& type) {
  static const std::map<VARTYPE, const char*> kNames = {
      {VT_BSTR, "String"}, {VT_I4, "Long"},        {VT_I2, "Integer"},      {VT_BOOL, "Boolean"},
      {VT_R8, "Double"},   {VT_DATE, "Date"},      {VT_VARIANT, "Variant"}, {VT_DISPATCH, "Object"},
      {VT_VOID, ""},       {VT_UNKNOWN, "Unknown"}};
  if (type.vt == VT_PTR) return typeName(info, *type.lptdesc);
  if (type.vt == VT_SAFEARRAY) return typeName(info, *type.lptdesc) + "()";
  if (type.vt != VT_USERDEFINED) return kNames.at(type.vt);
  ComPtr<ITypeInfo> described;
  EXPECT_EQ(S_OK, info->GetRefTypeInfo(type.hreftype, described.put()));
  return nameOf(described.get());
}

std::string defaultOf(const VARIANT& value) {
  const std::string text = narrow(zsupport::toText(value).view());
  return " = " + (V_VT(&value) == VT_BSTR ? '"' + text + '"' : text);
}

std::string signatureOf(ITypeInfo* info, const FUNCDESC& function) {
  std::vector<BSTR> names(static_cast<size_t>(function.cParams) + 1);
  UINT count = 0;
  EXPECT_EQ(S_OK,
            info->GetNames(function.memid, names.data(), static_cast<UINT>(names.size()), &count));
  const bool isPut = function.invkind == INVOKE_PROPERTYPUT;
  std::string signature = isPut                                    ? "Property Let "
                          : function.invkind == INVOKE_PROPERTYGET ? "Property Get "
                                                                   : "";
  signature += narrow(names[0]) + "(";
  for (SHORT i = 0; i < function.cParams; ++i) {
    const ELEMDESC& parameter = function.lprgelemdescParam[i];
    const USHORT flags = parameter.paramdesc.wParamFlags;
    const std::string type = typeName(info, parameter.tdesc);
    const bool isArray = type.ends_with("()"), isObject = type == "Object";
    const bool isReference =
        parameter.tdesc.vt == VT_PTR && !(isObject && parameter.tdesc.lptdesc->vt != VT_PTR);
    // The value that a property gets has no name.
    const BSTR name = names[static_cast<size_t>(i) + 1];
    std::string text = (isReference ? "" : "ByVal ") + (name ? narrow(name) : "Value");
    text += (isArray ? "() As " + type.substr(0, type.size() - 2) : " As " + type);
    if (flags & PARAMFLAG_FHASDEFAULT)
      text += defaultOf(parameter.paramdesc.pparamdescex->varDefaultValue);
    signature += (i ? ", " : "") + (flags & PARAMFLAG_FOPT ? "[" + text + "]" : text);
  }
  for (const BSTR name : names) SysFreeString(name);
  const std::string result = typeName(info, function.elemdescFunc.tdesc);
  return signature + (result.empty() ? ")" : ") As " + result);
}

void describe(ITypeInfo* info, Description& described) {
  forEachMember(info,
                [&](const FUNCDESC& function) { described.insert(signatureOf(info, function)); });
  TYPEATTR* attributes;
  ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
  for (UINT i = 0; i < attributes->cVars; ++i) {
    VARDESC* variable;
    ASSERT_EQ(S_OK, info->GetVarDesc(i, &variable));
    const std::string value = variable->varkind == VAR_CONST
                                  ? narrow(zsupport::toText(*variable->lpvarValue).view())
                                  : typeName(info, variable->elemdescVar.tdesc);
    described.insert(nameOf(info) + "." + nameOf(info, variable->memid) + " = " + value);
    info->ReleaseVarDesc(variable);
  }
  info->ReleaseTypeAttr(attributes);
}

// A signature is a line of its own in backquotes; a value or field is a row of a table below the
// name of its type.
Description referenceOf(const std::string& path) {
  Description described;
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::string heading;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) heading = line.substr(line.find_last_of(' ') + 1);
    if (line.starts_with("`") && !line.starts_with("``") && line.ends_with("`"))
      described.insert(line.substr(1, line.size() - 2));
    if (!line.starts_with("| `")) continue;
    const size_t nameEnd = line.find("` | "), valueEnd = line.find(" |", nameEnd + 4);
    if (valueEnd == std::string::npos) continue;
    described.insert(heading + "." + line.substr(3, nameEnd - 3) + " = " +
                     line.substr(nameEnd + 4, valueEnd - nameEnd - 4));
  }
  return described;
}

template <class Body>
void forEachType(Body&& body) {
  ComPtr<ITypeInfo> any;
  ComPtr<ITypeLib> library;
  ASSERT_EQ(S_OK, newSupport()->GetTypeInfo(0, 0, any.put()));
  UINT index;
  ASSERT_EQ(S_OK, any->GetContainingTypeLib(library.put(), &index));
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(S_OK, library->GetTypeInfo(i, info.put()));
    body(info.get());
  }
}

void expectHelp(ITypeInfo* info, MEMBERID member) {
  Text name, help, file;
  DWORD context = 0;
  EXPECT_EQ(S_OK,
            info->GetDocumentation(member, name.inout(), help.inout(), &context, file.inout()));
  EXPECT_FALSE(help.view().empty()) << narrow(name.view());
  EXPECT_NE(0u, context) << narrow(name.view());
  EXPECT_EQ(L"ZSupport.chm", file.view()) << narrow(name.view());
}

TEST(TypeLibrary, HelpsWhileTypingAndRefusesWhatIsMisspelt) {
  forEachType([](ITypeInfo* info) {
    expectHelp(info, MEMBERID_NIL);
    forEachMember(info, [&](const FUNCDESC& function) {
      expectHelp(info, function.memid);
      const bool isForSinks = nameOf(info, function.memid) == "RaiseTheEvent";
      EXPECT_TRUE(!isForSinks || (function.wFuncFlags & FUNCFLAG_FHIDDEN));
    });
    TYPEATTR* attributes;
    ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
    const bool isDual = (attributes->wTypeFlags & TYPEFLAG_FDUAL) != 0;
    EXPECT_EQ(isDual, (attributes->wTypeFlags & TYPEFLAG_FNONEXTENSIBLE) != 0) << nameOf(info);
    info->ReleaseTypeAttr(attributes);
  });
}

TEST(TypeLibrary, SaysWhatTheReferenceSays) {
  Description described, missing, surplus;
  forEachType([&](ITypeInfo* info) { describe(info, described); });
  char self[MAX_PATH];
  GetModuleFileNameA(nullptr, self, MAX_PATH);
  const std::string folder(self, strrchr(self, '\\'));
  const Description reference = referenceOf(folder + "\\reference.md");
  std::ranges::set_difference(described, reference, std::inserter(missing, missing.end()));
  std::ranges::set_difference(reference, described, std::inserter(surplus, surplus.end()));
  for (const std::string& line : missing) ADD_FAILURE() << "not in the reference: " << line;
  for (const std::string& line : surplus) ADD_FAILURE() << "not in the library: " << line;
}

}  // namespace
