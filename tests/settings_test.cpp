// Settings: which of the layers decides, what is stored where, and the question to the user.
#include <algorithm>
#include <optional>

#include "support/answer.h"
#include "support/com.h"
#include "support/files.h"

namespace {

constexpr wchar_t kSection[] = L"SOFTWARE\\zarnow instruments ltd.\\Test\\Settings";
constexpr wchar_t kPolicySection[] = L"Software\\Policies\\Zarnow Instruments Ltd.\\Test\\Settings";

class Settings : public testing::Test {
 protected:
  Settings() { removeAll(); }
  ~Settings() override { removeAll(); }

  static void removeAll() {
    for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegDeleteTreeW(hive, L"Software\\Zarnow Instruments Ltd.\\Test");
      RegDeleteTreeW(hive, L"Software\\Policies\\Zarnow Instruments Ltd.\\Test");
    }
  }
  // A key, and in it a number named "v" unless there is none.
  static void put(HKEY hive, const wchar_t* path, std::optional<DWORD> value) {
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(hive, path, &key));
    RegCloseKey(key);
    if (value) RegSetKeyValueW(hive, path, L"v", REG_DWORD, &*value, 4);
  }
  static std::optional<DWORD> stored(HKEY hive) {
    DWORD value = 0, size = sizeof value;
    const LSTATUS status =
        RegGetValueW(hive, kSection, L"v", RRF_RT_REG_DWORD, nullptr, &value, &size);
    return status == ERROR_SUCCESS ? std::optional(value) : std::nullopt;
  }
  HRESULT get(Variant& value, VARIANT preset, const wchar_t* section = kSection) {
    Text name(L"v"), key{std::wstring_view(section)};
    return support->GetRegistryValue(name.inout(), &preset, key.inout(), &noPolicySet, value.put());
  }
  HRESULT write(VARIANT value, VARIANT preset, LONG& mode) {
    Text name(L"v"), key{std::wstring_view(kSection)}, prompt(L"the colour");
    return support->WriteRegistryValue(name.inout(), &value, &preset, &mode, key.inout(),
                                       prompt.inout());
  }
  ComPtr<_GZSupport> support = newSupport();
  VARIANT_BOOL noPolicySet = 0x55;
};

TEST_F(Settings, AreDecidedByPolicyUserMachineAndDefaultInTurn) {
  enum Layer { kNoKey, kEmptyKey, kValue };
  const std::tuple<Layer, Layer, Layer, Layer, LONG, bool> cases[] = {
      {kNoKey, kNoKey, kNoKey, kNoKey, 9, true},
      {kNoKey, kNoKey, kEmptyKey, kEmptyKey, 9, true},
      {kNoKey, kNoKey, kNoKey, kValue, 4, true},
      {kNoKey, kNoKey, kEmptyKey, kValue, 4, true},
      {kNoKey, kNoKey, kValue, kValue, 3, true},
      {kValue, kValue, kValue, kValue, 1, false},
      {kValue, kNoKey, kNoKey, kNoKey, 1, false},
      {kEmptyKey, kValue, kValue, kValue, 2, false},
      {kEmptyKey, kEmptyKey, kValue, kValue, 3, true},
      {kEmptyKey, kNoKey, kNoKey, kNoKey, 9, true},
      {kNoKey, kValue, kNoKey, kNoKey, 9, true},  // the machine's policy alone is not asked
      {kNoKey, kValue, kValue, kValue, 3, true},
  };
  for (const auto& [userPolicy, machinePolicy, user, machine, value, noPolicy] : cases) {
    removeAll();
    DWORD number = 0;
    const auto layer = [&](Layer what, HKEY hive, const wchar_t* path) {
      ++number;
      if (what != kNoKey) put(hive, path, what == kValue ? std::optional(number) : std::nullopt);
    };
    layer(userPolicy, HKEY_CURRENT_USER, kPolicySection);
    layer(machinePolicy, HKEY_LOCAL_MACHINE, kPolicySection);
    layer(user, HKEY_CURRENT_USER, kSection);
    layer(machine, HKEY_LOCAL_MACHINE, kSection);
    Variant found;
    EXPECT_EQ(S_OK, get(found, longValue(9)));
    EXPECT_EQ(value, V_I4(&found.get()));
    EXPECT_EQ(flag(noPolicy), noPolicySet);
  }
}

TEST_F(Settings, AreStoredOnlyWhereTheyDifferFromWhatHoldsAnyway) {
  using Stored = std::optional<DWORD>;
  const Stored none;
  // machine: before; machineAfter: the default is 9
  const std::tuple<LONG, LONG, Stored, Stored, Stored, Stored> cases[] = {
      {5, rwm_User, none, none, 5, none}, {9, rwm_User, 5, none, none, none},  // the default
      {7, rwm_User, 5, 7, none, 7},                                            // the machine's
      {9, rwm_User, none, 7, 9, 7},        // the default, but not what the machine says
      {5, rwm_Machine, 3, none, none, 5},  // shows through for this user
      {9, rwm_Machine, 3, 7, none, none}, {5, 77, 3, none, none, 5},  // any other mode
  };
  for (const auto& [value, mode, user, machine, userAfter, machineAfter] : cases) {
    removeAll();
    if (user) put(HKEY_CURRENT_USER, kSection, user);
    if (machine) put(HKEY_LOCAL_MACHINE, kSection, machine);
    LONG changed = mode;
    EXPECT_EQ(S_OK, write(longValue(value), longValue(9), changed));
    EXPECT_EQ(mode, changed);
    EXPECT_EQ(userAfter, stored(HKEY_CURRENT_USER));
    EXPECT_EQ(machineAfter, stored(HKEY_LOCAL_MACHINE));
  }
}

TEST_F(Settings, AskForAllUsers) {
  for (const auto& [button, chosen] : {std::pair(IDYES, rwm_Machine), std::pair(IDNO, rwm_User)}) {
    removeAll();
    LONG mode = rwm_Prompt;
    const Answer answer(button);
    EXPECT_EQ(S_OK, write(longValue(5), longValue(9), mode));
    EXPECT_EQ(L"Do you wish to set the colour as a default for all users?", Answer::question);
    EXPECT_EQ(chosen, mode);
    EXPECT_EQ(5u, stored(mode == rwm_User ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE));
  }
}

// All the way: the settings in the registry, a failing member, a line in the file.
TEST_F(Settings, OfTheLibraryItselfSendErrorsToTheLogFile) {
  constexpr wchar_t kDebug[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
  constexpr wchar_t kFile[] = L"%TEMP%\\ZSupportTest\\settings.log";
  wchar_t path[MAX_PATH];
  ExpandEnvironmentStringsW(kFile, path, MAX_PATH);
  DeleteFileW(path);
  const DWORD level = 1 + 16 + 256, action = 1;
  RegSetKeyValueW(HKEY_CURRENT_USER, kDebug, L"LogFile", REG_EXPAND_SZ, kFile, sizeof kFile);
  RegSetKeyValueW(HKEY_CURRENT_USER, kDebug, L"Debug Level", REG_DWORD, &level, 4);
  RegSetKeyValueW(HKEY_CURRENT_USER, kDebug, L"Default Action", REG_DWORD, &action, 4);
  onFreshThread([] { EXPECT_EQ(runtimeError(381), newCollection()->RemoveByIndex(7)); });
  RegDeleteTreeW(HKEY_CURRENT_USER, kDebug);
  const std::string content = contentOf(path);
  EXPECT_NE(std::string::npos,
            content.find("\tZollection\tSub RemoveByIndex\t381\tZollection.RemoveByIndex\t"
                         "Invalid property array index\tin zsupport_tests.exe\r\n"))
      << content;
  EXPECT_EQ(1, std::count(content.begin(), content.end(), '\n'));
}

TEST_F(Settings, ComeBackInTheTypeOfTheirKind) {
  const Text text(L"caf\u00e9 \u4e2d");
  const VARIANT yes = makeValue(VT_BOOL, VARIANT_TRUE), byte = makeValue(VT_UI1, BYTE{200});
  const VARIANT money = makeValue(VT_CY, CY{.int64 = 15000});
  LONG number = 77;
  const std::tuple<VARIANT, VARTYPE, std::wstring> cases[] = {
      {longValue(-1), VT_I4, L"-1"}, {yes, VT_I4, L"-1"},
      {byte, VT_I4, L"200"},         {textValue(text), VT_BSTR, std::wstring(text.view())},
      {money, VT_BSTR, L"1.5"},      {reference(VT_I4, &number), VT_I4, L"77"}};
  for (const auto& [value, type, shown] : cases) {
    LONG mode = rwm_User;
    EXPECT_EQ(S_OK, write(value, valueOfType(VT_NULL), mode));
    Variant found, asText;
    EXPECT_EQ(S_OK, get(found, valueOfType(VT_NULL)));
    EXPECT_EQ(type, V_VT(&found.get()));
    EXPECT_EQ(S_OK, VariantChangeType(asText.put(), found.operator->(), 0, VT_BSTR));
    EXPECT_EQ(shown, V_BSTR(&asText.get()));
  }
}

TEST_F(Settings, RememberWhereEachMemberWorkedLast) {
  put(HKEY_CURRENT_USER, kSection, 5);
  Variant found;
  EXPECT_EQ(S_OK, get(found, longValue(9)));
  EXPECT_EQ(S_OK, get(found, longValue(9), L""));
  EXPECT_EQ(5, V_I4(&found.get())) << "the section of the last read";
  support = newSupport();
  EXPECT_EQ(S_OK, get(found, longValue(9), L""));
  EXPECT_EQ(9, V_I4(&found.get())) << "a new instance reads from the hive's root";
  LONG mode = rwm_User;
  EXPECT_EQ(S_OK, write(longValue(6), longValue(9), mode));
  EXPECT_EQ(S_OK, get(found, longValue(9), L""));
  EXPECT_EQ(9, V_I4(&found.get())) << "writing says nothing of where to read";
  EXPECT_EQ(S_OK, get(found, longValue(9), L"Software\\NoSuchCompany"));
  EXPECT_EQ(VARIANT_TRUE, noPolicySet);
  EXPECT_EQ(E_POINTER, support->GetRegistryValue(nullptr, nullptr, nullptr, nullptr, nullptr));
}

}  // namespace
