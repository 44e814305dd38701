// Path names.
#include "support/com.h"

namespace {

using Names = SupportTest;

TEST_F(Names, OfPathsLoseWhatAPathCannotHold) {
  const std::pair<std::wstring, std::wstring> cases[] = {{L"", L""},
                                                         {L"a|b?c", L"a b c"},
                                                         {L" a  ||  b ", L"a b"},
                                                         {L"*?*", L""},
                                                         {L"C:\\Data:Old\\x", L"C:\\Data Old\\x"},
                                                         {L"a/b//c|d", L"a/b//c d"},
                                                         {L":::a", L":: a"},
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

}  // namespace
