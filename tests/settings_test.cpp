// Settings: which of the layers decides, what is stored where, and the question to the user.
#include <windows.h>

#include "support/answer.h"
#include "support/com.h"
#include "support/files.h"
#include "support/value_object.h"

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
  // A key, and in it a number named "v" unless that is 0.
  static void put(HKEY hive, const wchar_t* path, DWORD value) {
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(hive, path, &key));
    RegCloseKey(key);
    if (value) RegSetKeyValueW(hive, path, L"v", REG_DWORD, &value, 4);
  }
  static void putText(const wchar_t* path, const wchar_t* name, const std::wstring& text) {
    RegSetKeyValueW(HKEY_CURRENT_USER, path, name, REG_EXPAND_SZ, text.c_str(),
                    static_cast<DWORD>(text.size() + 1) * 2);
  }
  static DWORD stored(HKEY hive) {
    DWORD value = 0, size = sizeof value;
    RegGetValueW(hive, kSection, L"v", RRF_RT_REG_DWORD, nullptr, &value, &size);
    return value;
  }
  // Where the default is 9.
  const VARIANT& get(const wchar_t* section = kSection) {
    Text name(L"v"), key{std::wstring_view(section)};
    VARIANT nine = longValue(9);
    EXPECT_EQ(S_OK, support->GetRegistryValue(name.inout(), &nine, key.inout(), &noPolicySet,
                                              found_.put()));
    return found_.get();
  }
  LONG number(const wchar_t* section = kSection) {
    const VARIANT& found = get(section);
    EXPECT_EQ(VT_I4, V_VT(&found));
    return V_I4(&found);
  }
  void write(VARIANT value, VARIANT preset) {
    Text name(L"v"), key{std::wstring_view(kSection)}, prompt(L"the colour");
    EXPECT_EQ(S_OK, support->WriteRegistryValue(name.inout(), &value, &preset, &mode, key.inout(),
                                                prompt.inout()));
  }
  ComPtr<_GZSupport> support = newSupport();
  VARIANT_BOOL noPolicySet = 0x55;
  LONG mode = rwm_User;

 private:
  Variant found_;
};

TEST_F(Settings, AreDecidedByPolicyUserMachineAndDefaultInTurn) {
  const std::pair<HKEY, const wchar_t*> layers[] = {{HKEY_CURRENT_USER, kPolicySection},
                                                    {HKEY_LOCAL_MACHINE, kPolicySection},
                                                    {HKEY_CURRENT_USER, kSection},
                                                    {HKEY_LOCAL_MACHINE, kSection}};
  // Of each layer: no key, an empty one, or one with the number of the layer.
  const std::tuple<std::string, LONG, bool> cases[] = {
      {"--ee", 9, true}, {"--ev", 4, true}, {"vvvv", 1, false}, {"evvv", 2, false},
      {"eevv", 3, true}, {"-vvv", 3, true},  // the machine's policy alone is not asked
  };
  for (const auto& [what, value, noPolicy] : cases) {
    removeAll();
    for (DWORD i = 0; i < 4; ++i) {
      if (what[i] != '-') put(layers[i].first, layers[i].second, what[i] == 'v' ? i + 1 : 0);
    }
    EXPECT_EQ(value, number());
    EXPECT_EQ(flag(noPolicy), noPolicySet) << what;
  }
}

TEST_F(Settings, AreStoredOnlyWhereTheyDifferFromWhatHoldsAnyway) {
  // The default is 9.
  const struct {
    LONG value, mode;
    DWORD user, machine, userAfter, machineAfter;
    int answer = 0;
  } cases[] = {
      {5, rwm_User, 0, 0, 5, 0},          {9, rwm_User, 5, 0, 0, 0},  // the default
      {7, rwm_User, 5, 7, 0, 7},                                      // the machine's
      {9, rwm_User, 0, 7, 9, 7},     // the default, but not what the machine says
      {5, rwm_Machine, 3, 0, 0, 5},  // shows through for this user
      {9, rwm_Machine, 3, 7, 0, 0},       {5, 77, 3, 0, 0, 5},  // any other mode
      {5, rwm_Prompt, 0, 0, 0, 5, IDYES}, {5, rwm_Prompt, 0, 0, 5, 0, IDNO},
  };
  for (const auto& c : cases) {
    removeAll();
    if (c.user) put(HKEY_CURRENT_USER, kSection, c.user);
    if (c.machine) put(HKEY_LOCAL_MACHINE, kSection, c.machine);
    const Answer answer(c.answer);
    mode = c.mode;
    write(longValue(c.value), longValue(9));
    EXPECT_EQ(c.answer ? L"Do you wish to set the colour as a default for all users?" : L"",
              Answer::question);
    EXPECT_EQ(c.answer == IDYES ? LONG{rwm_Machine} : c.answer ? LONG{rwm_User} : c.mode, mode);
    EXPECT_EQ(std::pair(c.userAfter, c.machineAfter),
              std::pair(stored(HKEY_CURRENT_USER), stored(HKEY_LOCAL_MACHINE)))
        << &c - cases;
  }
}

// What an object stands for is the value of its default member, read once.
TEST_F(Settings, ComeBackInTheTypeOfTheirKind) {
  const Text text(L"caf\u00e9 \u4e2d");
  const VARIANT null = valueOfType(VT_NULL), money = makeValue(VT_CY, CY{.int64 = 15000});
  const std::tuple<VARIANT, VARTYPE, std::wstring> cases[] = {
      {makeValue(VT_BOOL, VARIANT_TRUE), VT_I4, L"-1"},
      {textValue(text), VT_BSTR, std::wstring(text.view())},
      {money, VT_BSTR, L"1.5"}};
  for (const auto& [value, type, shown] : cases) {
    const auto object = ValueObject::of(value), preset = ValueObject::of(null);
    for (const auto& [given, standard] :
         {std::pair(value, null), {objectValue(object.get()), objectValue(preset.get())}}) {
      write(given, standard);
      EXPECT_EQ(type, V_VT(&get()));
      EXPECT_EQ(shown, zsupport::toText(get()).view());
    }
    EXPECT_EQ(std::pair(1L, 1L), std::pair(object->reads, preset->reads));
    write(value, objectValue(object.get()));
    EXPECT_EQ(9, number()) << "the default is not stored";
  }
}

TEST_F(Settings, KeepBytesAndLongTextsWhole) {
  SAFEARRAY* const bytes = SafeArrayCreateVector(VT_UI1, 0, 5);
  memcpy(bytes->pvData, "a\0\xFFz", 5);
  write(arrayValue(VT_UI1, bytes), valueOfType(VT_NULL));
  const VARIANT& found = get();
  ASSERT_EQ(VT_ARRAY | VT_UI1, V_VT(&found));
  EXPECT_EQ(5u, V_ARRAY(&found)->rgsabound[0].cElements);
  EXPECT_EQ(0, memcmp(bytes->pvData, V_ARRAY(&found)->pvData, 5));
  SafeArrayDestroy(bytes);

  const std::wstring rest(40'000, L'x');
  SetEnvironmentVariableW(L"ZSupportTest", L"value");
  for (const auto& [text, expanded] : {std::pair(L"%ZSupportTest%%ZSupportTest%", L"valuevalue"),
                                       {L"%NoSuch%ZSupportTest%", L"%NoSuchvalue"},
                                       {L"%%", L"%%"}}) {
    putText(kSection, L"v", rest + text);
    ASSERT_EQ(VT_BSTR, V_VT(&get()));
    EXPECT_TRUE(rest + expanded == V_BSTR(&found)) << text;
  }
}

// All the way: a failing member, a line in the file. One bad setting silences nothing.
TEST_F(Settings, OfTheLibraryItselfSendErrorsToTheLogFile) {
  constexpr wchar_t kDebug[] = L"Software\\Zarnow Instruments Ltd.\\System\\ZSupport\\Debug";
  const std::wstring own = L"%TEMP%\\ZSupportTest\\settings.log",
                     usual =
                         L"%LOCALAPPDATA%\\Zarnow Instruments Ltd.\\System\\ZSupport\\ZSupport.log";
  const std::tuple<const wchar_t*, std::wstring, std::wstring> cases[] = {
      {L"LogFile", own, own},
      {L"Debug Level", L"garbage", usual},
      {L"Default Action", L"garbage", usual}};
  for (const auto& [name, value, file] : cases) {
    wchar_t path[MAX_PATH];
    ExpandEnvironmentStringsW(file.c_str(), path, MAX_PATH);
    DeleteFileW(path);
    putText(kDebug, name, value);
    onFreshThread([] { EXPECT_EQ(runtimeError(381), newCollection()->RemoveByIndex(7)); });
    RegDeleteTreeW(HKEY_CURRENT_USER, kDebug);
    EXPECT_NE(std::string::npos,
              contentOf(path).find("\tZollection\tSub RemoveByIndex\t381\tZollection.RemoveByIndex"
                                   "\tInvalid property array index\t"))
        << name;
  }
}

TEST_F(Settings, RememberWhereEachMemberWorkedLast) {
  put(HKEY_CURRENT_USER, kSection, 5);
  EXPECT_EQ(5, number());
  EXPECT_EQ(5, number(L"")) << "the section of the last read";
  support = newSupport();
  EXPECT_EQ(9, number(L"")) << "a new instance reads from the hive's root";
  EXPECT_EQ(9, number(L"Software\\NoSuchCompany"));
  EXPECT_EQ(VARIANT_TRUE, noPolicySet);
}

}  // namespace
