// Path names and identity.
#include "support/com.h"

namespace {

using Names = SupportTest;

TEST_F(Names, OfPathsLoseWhatAPathCannotHold) {
  const std::pair<std::wstring, std::wstring> cases[] = {{L"", L""},
                                                         {L"a|b?c", L"a b c"},
                                                         {L" a  ||  b ", L"a b"},
                                                         {L"*?*", L""},
                                                         {L"C:\\Data:Old\\x", L"C:\\Data Old\\x"},
                                                         {L":::a",
                                                          L"::"
                                                          L" a"},
                                                         {L"a\tb\x01", L"a b"},
                                                         {L"caf\u00e9", L"caf\u00e9"},
                                                         {L"\u4e2d\u6587.txt", L".txt"}};
  for (const auto& [text, legal] : cases) {
    Text path;
    EXPECT_EQ(S_OK, support->MakeLegalPath(Text(text).get(), path.inout()));
    EXPECT_EQ(legal, path.view()) << text;
  }
}

TEST_F(Names, OfExistingPathsGrowLongAndEndInAZero) {
  Text path, shortPath(L"C:\\WINDOWS\\system32"), missing(L"C:\\no\\such\\path");
  EXPECT_EQ(S_OK, support->GetLongPathName(shortPath.inout(), path.inout()));
  EXPECT_EQ(0, _wcsicmp(path.get(), L"C:\\windows\\system32"));
  EXPECT_EQ(shortPath.view().size() + 1, path.view().size());
  EXPECT_EQ(runtimeError(9), support->GetLongPathName(missing.inout(), path.inout()));
  EXPECT_EQ(E_POINTER, support->GetLongPathName(nullptr, path.inout()));
}

TEST_F(Names, OfUserAndComputerAreThePlatforms) {
  Text user, computer;
  wchar_t name[256];
  DWORD size = 256;
  EXPECT_TRUE(GetUserNameW(name, &size));
  EXPECT_EQ(S_OK, support->GetUserName(user.inout()));
  EXPECT_EQ(name, user.view());
  size = 256;
  EXPECT_TRUE(GetComputerNameW(name, &size));
  EXPECT_EQ(S_OK, support->GetComputerName(computer.inout()));
  EXPECT_EQ(std::wstring(name).substr(0, 31), computer.view());
}

}  // namespace
